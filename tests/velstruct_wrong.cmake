# Compiles small programs with one mistake each, by g++ and clang++ where they are there: none
# compiles, and the message names what is wrong: each of the texts between
# "...". Where the type of a member is wrong, it fits a screen or two. The program without a
# mistake compiles.
set(cases
  # name | what must be in the message | what stands in the program
  "good||class Right : public velStruct<Right> { int fine = 0[] public: VEL_STRUCT(Right, \"w::Right\", fine) }[]"
  "type|the type of a member cannot be that of an attribute ... &Wrong::badOne|class Wrong : public velStruct<Wrong> { std::vector<int> badOne[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badOne) }[]"
  "pointer|the type of a member cannot be that of an attribute ... &Wrong::badTwo|class Wrong : public velStruct<Wrong> { int* badTwo = nullptr[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badTwo) }[]"
  "wide_real|the type of a member cannot be that of an attribute ... &Wrong::badThree|class Wrong : public velStruct<Wrong> { int fine = 0[] long double badThree = 0[] public: VEL_STRUCT(Wrong, \"w::Wrong\", fine, badThree) }[]"
  "reference|badFour|class Wrong : public velStruct<Wrong> { int fine = 0[] int& badFour = fine[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badFour) }[]"
  "optional|the type of a member cannot be that of an attribute ... &Wrong::badFive|class Wrong : public velStruct<Wrong> { std::optional<std::vector<int>> badFive[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badFive) }[]"
  "plain_enum|the type of a member cannot be that of an attribute ... &Wrong::badSix|enum class Plain { a }[] class Wrong : public velStruct<Wrong> { Plain badSix = Plain::a[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badSix) }[]"
  "name|badSeven|class Wrong : public velStruct<Wrong> { int fine = 0[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badSeven) }[]"
  "static|badEight|class Wrong : public velStruct<Wrong> { static int badEight[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badEight) }[]"
  "function|badNine|class Wrong : public velStruct<Wrong> { int badNine() { return 1[] } public: VEL_STRUCT(Wrong, \"w::Wrong\", badNine) }[]"
  "bits|bit-field|class Wrong : public velStruct<Wrong> { int badTen : 3[] public: VEL_STRUCT(Wrong, \"w::Wrong\", badTen) }[]"
  "base|badBase|class badBase {}[] class Wrong : public velStruct<Wrong, badBase> { int fine = 0[] public: VEL_STRUCT(Wrong, \"w::Wrong\", fine) }[]"
  "plain_inheritance|'Second' must derive from velStruct<Second, bases...>|class First : public velStruct<First> { int one = 0[] public: VEL_STRUCT(First, \"w::First\", one) }[] class Second : public First { int two = 0[] public: VEL_STRUCT(Second, \"w::Second\", two) }[]"
  "copied_base|'Second' must derive from velStruct<Second, bases...>|class First : public velStruct<First> { int one = 0[] public: VEL_STRUCT(First, \"w::First\", one) }[] class Second : public velStruct<First> { int two = 0[] public: VEL_STRUCT(Second, \"w::Second\", two) }[]"
  "copied_union|'Second' must derive from velUnion<Second, bases...>|class First : public velUnion<First> { int kind = 0, one = 0[] public: VEL_UNION(First, \"w::First\", kind, (1, one)) }[] class Second : public velUnion<First> { int kind = 0, two = 0[] public: VEL_UNION(Second, \"w::Second\", kind, (1, two)) }[]"
  "branch|the type of a member cannot be that of an attribute ... &Wrong::badBranch|class Wrong : public velUnion<Wrong> { int kind = 0[] void* badBranch = nullptr[] public: VEL_UNION(Wrong, \"w::Wrong\", kind, (1, badBranch)) }[]"
  "discriminator|the discriminator 'badKind' must be an integer or an enumeration of VEL_ENUM|class Wrong : public velUnion<Wrong> { xstring badKind[] int fine = 0[] public: VEL_UNION(Wrong, \"w::Wrong\", badKind, (1, fine)) }[]"
  "label|the label 'Other::badLabel' is not of the type of the discriminator|VEL_ENUM(One, \"w::One\", a) VEL_ENUM(Other, \"w::Other\", badLabel) class Wrong : public velUnion<Wrong> { One kind = One::a[] int fine = 0[] public: VEL_UNION(Wrong, \"w::Wrong\", kind, (Other::badLabel, fine)) }[]"
  "enumerator|the enumerators of 'BadEnum' cannot be given values|VEL_ENUM(BadEnum, \"w::BadEnum\", a, b = 5)"
  "getter|what this getter returns cannot be an attribute|class Wrong : public velStruct<Wrong> { public: void* badGetter() { return nullptr[] } static void velDescribe(xrttistruct* r) { velDescription<Wrong>(\"w::Wrong\").attribute<&Wrong::badGetter>(\"x\").install(r)[] } }[]"
  "described_member|badField|class Wrong : public velStruct<Wrong> { public: void* badField = nullptr[] static void velDescribe(xrttistruct* r) { velDescription<Wrong>(\"w::Wrong\").attribute<&Wrong::badField>(\"x\").install(r)[] } }[]"
  "element|elements are bool, int, double, xstring, xany|void use() { velSequenceOf<std::string>::create()[] }"
  "element_of_dictionary|elements are bool, int, double, xstring, xany|void use() { velDictionaryOf<float>::create()[] }"
  "element_of_array|elements are bool, int, double, xstring, xany|void use() { velArrayOf<unsigned char, 2>::create()[] }"
  "empty_array|at least one element|void use() { velArrayOf<int, 0>::create()[] }"
  "cell|one index per dimension|void use() { velArrayOf<int, 2, 2>::create()->at(1) = 5[] }"
)

# As many members as the macro takes, and one more.
set(members m0)
foreach(number RANGE 1 1091)
  string(APPEND members ", m${number}")
endforeach()
set(many "class Many : public velStruct<Many> { int ${members}[] public: VEL_STRUCT(Many, \"w::Many\", ${members}) }[]")
list(APPEND cases "many||${many}")
string(REPLACE "m1091" "m1091, m1092" many "${many}")
list(APPEND cases "too_many|VEL_MEMBER_INFO|${many}")

include("${CMAKE_CURRENT_LIST_DIR}/compilers.cmake")
set(includes "")
foreach(folder velext/inc velbase/inc velstd/services velstd/strlibsrc korkit/korbase/inc capi)
  list(APPEND includes "-I${SOURCE}/${folder}")
endforeach()
separate_arguments(FLAGS UNIX_COMMAND "${FLAGS}")
velstd_compilers(known "${COMPILERS}")
foreach(compiler IN LISTS known)
  # The headers once, for all programs.
  get_filename_component(folder "${compiler}" NAME)
  set(folder "${SCRATCH}/${folder}")
  set(suffix gch)
  if(compiler MATCHES "clang")
    set(suffix pch)
  endif()
  file(WRITE "${folder}/all.h" "#include <vector>\n#include \"velext.h\"\n")
  execute_process(
    COMMAND "${compiler}" -std=c++17 ${FLAGS} ${includes} -x c++-header "${folder}/all.h"
            -o "${folder}/all.h.${suffix}"
    RESULT_VARIABLE status ERROR_VARIABLE text)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${compiler}:\n${text}")
  endif()
  foreach(case IN LISTS cases)
    string(REGEX MATCH "^([a-z_]*)[|]([^|]*)[|](.*)$" matched "${case}")
    if(NOT matched)
      message(FATAL_ERROR "Unreadable: ${case}")
    endif()
    set(name "${CMAKE_MATCH_1}")
    set(wanted "${CMAKE_MATCH_2}")
    string(REPLACE "[]" ";" program "${CMAKE_MATCH_3}")
    set(file "${folder}/${name}.cpp")
    file(WRITE "${file}" "${program}\n")
    execute_process(
      COMMAND "${compiler}" -std=c++17 -fsyntax-only ${FLAGS} ${includes} -include "${folder}/all.h" "${file}"
      RESULT_VARIABLE status ERROR_VARIABLE text OUTPUT_QUIET)
    if(wanted STREQUAL "")
      if(NOT status EQUAL 0)
        message(SEND_ERROR "${compiler} ${name} does not compile:\n${text}")
      endif()
      continue()
    endif()
    if(status EQUAL 0)
      message(SEND_ERROR "${compiler} ${name} compiles")
      continue()
    endif()
    string(REGEX MATCHALL "\n" ends "${text}")
    list(LENGTH ends length)
    if(wanted MATCHES "the type of a member" AND length GREATER 60)
      message(SEND_ERROR "${compiler} ${name} says ${length} lines:\n${text}")
    endif()
    # The errors alone, not the lines of the program that are shown with them.
    string(REGEX MATCHALL "[^\n]*(error|note|instantiation|required|In)[^\n]*" lines "${text}")
    string(REPLACE " ... " ";" texts "${wanted}")
    foreach(part IN LISTS texts)
      string(FIND "${lines}" "${part}" at)
      if(at EQUAL -1)
        message(SEND_ERROR "${compiler} ${name} does not say \"${part}\":\n${text}")
      endif()
    endforeach()
  endforeach()
endforeach()
