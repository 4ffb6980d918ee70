# Flags that this project's own targets share; consumers never see them.

# Warnings for one target, errors with VELSTD_WERROR.
function(velstd_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(VELSTD_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(VELSTD_COVERAGE AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  message(FATAL_ERROR "VELSTD_COVERAGE needs GCC")
endif()

# Flags of VELSTD_COVERAGE, VELSTD_FUZZ and VELSTD_SANITIZE, for the compiler and the linker. Templates are
# compiled into the programs that use them, so the tests need these as much as the library.
set(VELSTD_INSTRUMENT_COMPILE "")
set(VELSTD_INSTRUMENT_LINK "")
if(VELSTD_COVERAGE)
  # Threads count too: a lost update can make a counter negative.
  list(APPEND VELSTD_INSTRUMENT_COMPILE --coverage -O0 -fprofile-abs-path -fprofile-update=atomic)
  list(APPEND VELSTD_INSTRUMENT_LINK --coverage)
endif()
if(VELSTD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VELSTD_FUZZ needs Clang")
  endif()
  list(APPEND VELSTD_INSTRUMENT_COMPILE -fsanitize=fuzzer-no-link)
endif()
if(VELSTD_SANITIZE)
  list(JOIN VELSTD_SANITIZE "," velstd_sanitizers)
  list(APPEND VELSTD_INSTRUMENT_COMPILE
       "-fsanitize=${velstd_sanitizers}" -fno-sanitize-recover=all -fno-omit-frame-pointer)
  list(APPEND VELSTD_INSTRUMENT_LINK "-fsanitize=${velstd_sanitizers}")
  if("unsigned-integer-overflow" IN_LIST VELSTD_SANITIZE)
    # What C++ alone needs is not in the runtime of the programs that are C.
    list(APPEND VELSTD_INSTRUMENT_COMPILE -fno-sanitize=vptr,function
         "-fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/wrap-ignored.txt")
  endif()
endif()

function(velstd_instrument target)
  target_compile_options(${target} PRIVATE ${VELSTD_INSTRUMENT_COMPILE})
  target_link_options(${target} PRIVATE ${VELSTD_INSTRUMENT_LINK})
endfunction()
