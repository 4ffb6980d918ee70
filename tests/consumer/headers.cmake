# Compiles every header below INCLUDE on its own, as C++17 and C++20, with the warnings of a
# careful consumer: each must include what it needs and nothing that was not installed.
separate_arguments(FLAGS UNIX_COMMAND "${FLAGS}")
file(GLOB headers "${INCLUDE}/*.h")
list(LENGTH headers count)
if(count EQUAL 0)
  message(FATAL_ERROR "No header in ${INCLUDE}")
endif()
set(failed "")
foreach(header IN LISTS headers)
  get_filename_component(name "${header}" NAME)
  file(WRITE "${INCLUDE}/../only.cpp" "#include <${name}>\n")
  foreach(standard c++17 c++20)
    execute_process(
      COMMAND "${COMPILER_CXX}" -std=${standard} -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion
              -Wshadow -Werror ${FLAGS} "-I${INCLUDE}" "${INCLUDE}/../only.cpp"
      RESULT_VARIABLE status ERROR_VARIABLE text)
    if(NOT status EQUAL 0)
      message("${name} as ${standard}:\n${text}")
      list(APPEND failed "${name}")
      break()
    endif()
  endforeach()
endforeach()
if(failed)
  message(FATAL_ERROR "These headers do not stand alone: ${failed}")
endif()
