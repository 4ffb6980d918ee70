# Compiles FILE, without making code of it, as C++17 and C++20 with each of COMPILERS (the first must
# be there, the others are tried where they are).
include("${CMAKE_CURRENT_LIST_DIR}/compilers.cmake")
separate_arguments(FLAGS UNIX_COMMAND "${FLAGS}")
set(includes "")
foreach(dir velext/inc velbase/inc velstd/services velstd/strlibsrc korkit/korbase/inc capi)
  list(APPEND includes "-I${SOURCE}/${dir}")
endforeach()
list(REMOVE_ITEM INCLUDES /usr/include)  # searched anyway, and last
foreach(dir IN LISTS INCLUDES)
  list(APPEND includes -isystem "${dir}")
endforeach()
velstd_compilers(known "${COMPILERS}")
foreach(found IN LISTS known)
  foreach(standard c++17 c++20)
    execute_process(
      COMMAND "${found}" -std=${standard} -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion
              -Wshadow -Werror ${FLAGS} ${includes} "${FILE}"
      RESULT_VARIABLE status ERROR_VARIABLE text)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "${found} -std=${standard}:\n${text}")
    endif()
    message("${found} -std=${standard}: compiles")
  endforeach()
endforeach()
