# Compiles velstd_c.h alone, twice in one file, as C99 and as C++17 with each of COMPILERS (the first
# must be there, the others are tried where they are).
include("${CMAKE_CURRENT_LIST_DIR}/compilers.cmake")
file(WRITE "${SCRATCH}/header.c" "#include <velstd_c.h>\n#include <velstd_c.h>\n\
enum __xanykind kind = xanyNil;\n\
int isKind(const __xany_c *any) { return any->kind == (__xanykind)kind; }\n")
velstd_compilers(known "${COMPILERS}")
foreach(found IN LISTS known)
  foreach(language "-xc;-std=c99;-pedantic" "-xc++;-std=c++17;-pedantic" "-xc;-std=c11;-pedantic-errors")
    execute_process(
      COMMAND "${found}" ${language} -fsyntax-only -Wall -Wextra -Werror
              "-I${SOURCE}/capi" "-I${SOURCE}/velbase/inc" "${SCRATCH}/header.c"
      RESULT_VARIABLE status ERROR_VARIABLE text)
    if(NOT status EQUAL 0)
      message(FATAL_ERROR "${found} ${language}:\n${text}")
    endif()
  endforeach()
endforeach()
