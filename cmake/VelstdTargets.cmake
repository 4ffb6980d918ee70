# velstd_test(stem), velstd_bench(stem), velstd_example(stem), velstd_tool(name sources...).

# Seconds a test may run; instrumented programs are several times slower.
if(VELSTD_SANITIZE OR VELSTD_COVERAGE)
  set(VELSTD_TEST_SECONDS 480)
else()
  set(VELSTD_TEST_SECONDS 120)
endif()

# What all libraries have in common: their names carry a version, as do their symbols; and they are
# never unloaded, for descriptors and registries live as long as the process.
function(velstd_library target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}  # before 1.0, a minor version may change it
    CXX_STANDARD 17
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    C_VISIBILITY_PRESET hidden
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN OFF  # class inlines are shared with the consumer
    LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/velstd.map")
  target_link_options(${target} PRIVATE LINKER:-z,nodelete
    "LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/velstd.map")
  velstd_warnings(${target})
  velstd_instrument(${target})
endfunction()

# A library beside the core, from inc/ and src/ of the current folder: velstd_<name>, alias
# velstd::<name>, on top of the library `base`. Installed as a component of its own.
function(velstd_side_library name base)
  set(target velstd_${name})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/src/*.cpp")
  add_library(${target} SHARED ${sources})
  add_library(velstd::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    INSTALL_RPATH "$ORIGIN")  # the library below lies beside it
  velstd_library(${target})
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/inc>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velstd>")
  target_link_libraries(${target} PUBLIC ${base})
  if(VELSTD_INSTALL)
    install(TARGETS ${target} EXPORT velstd${name}Targets
            LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    install(DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/inc/"
            DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/velstd" FILES_MATCHING PATTERN "*.h")
    install(EXPORT velstd${name}Targets NAMESPACE velstd:: DESTINATION "${velstdPackageDir}")
    set(velstdPcName ${name})
    string(REGEX REPLACE "^velstd::" "velstd-" velstdPcRequires "${base}")
    string(REGEX REPLACE "-velstd$" "" velstdPcRequires "${velstdPcRequires}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/velstd-side.pc.in"
                   "${PROJECT_BINARY_DIR}/velstd-${name}.pc" @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/velstd-${name}.pc"
            DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  endif()
endfunction()

# What every program of this project gets.
function(velstd_program target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    C_STANDARD 99 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
  target_link_libraries(${target} PRIVATE velstd::velstd Threads::Threads)
  velstd_warnings(${target})
  velstd_instrument(${target})
endfunction()

# Common properties of one ctest entry.
function(velstd_ctest name)
  set_tests_properties(${name} PROPERTIES TIMEOUT ${VELSTD_TEST_SECONDS})
  if(VELSTD_SANITIZE)
    set_tests_properties(${name} PROPERTIES ENVIRONMENT
      "ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=1;UBSAN_OPTIONS=print_stacktrace=1;TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1")
  endif()
endfunction()

# The ctest entry `name`: runs the program `target` and compares what it writes to standard output
# with the file `expected`, byte by byte.
function(velstd_output_test name target expected)
  add_test(NAME ${name}
    COMMAND "${CMAKE_COMMAND}"
      "-DPROGRAM=$<TARGET_FILE:${target}>"
      "-DEXPECTED=${expected}"
      "-DACTUAL=${CMAKE_CURRENT_BINARY_DIR}/${name}.actual"
      -P "${PROJECT_SOURCE_DIR}/cmake/CompareOutput.cmake")
endfunction()

# The program begins as all tests do, in the locale that is asked for.
function(velstd_test_start target)
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:veltest_start>)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
endfunction()

# One test program, and one ctest entry of the same name, from the files of the current folder
# that exist:
#   <stem>_test.cpp    GoogleTest suites
#   <stem>_test.c      C99: part of that program, or without the .cpp a program with its own main
#   <stem>_test.expected  what the program must write to standard output, byte by byte
#   <stem>_plugin.cpp  a shared library <stem>_plugin that the program is linked with
# The program knows VELSTD_SOURCE_DIR, the root of the checkout, VELSTD_BINARY_DIR, a folder it may
# write to, and VELSTD_LIBRARY_FILE, the library under test.
function(velstd_test stem)
  set(dir "${CMAKE_CURRENT_SOURCE_DIR}")
  set(target "${stem}_test")
  set(sources "")
  foreach(extension cpp c)
    if(EXISTS "${dir}/${stem}_test.${extension}")
      list(APPEND sources "${stem}_test.${extension}")
    endif()
  endforeach()
  add_executable(${target} ${sources})
  velstd_program(${target})
  target_include_directories(${target} PRIVATE "${dir}")
  target_compile_definitions(${target} PRIVATE
    "VELSTD_SOURCE_DIR=\"${PROJECT_SOURCE_DIR}\""
    "VELSTD_BINARY_DIR=\"${CMAKE_CURRENT_BINARY_DIR}\""
    "VELSTD_LIBRARY_FILE=\"$<TARGET_FILE:velstd>\"")
  if(EXISTS "${dir}/${stem}_test.cpp")
    target_link_libraries(${target} PRIVATE GTest::gtest_main GTest::gmock ${CMAKE_DL_LIBS})
  endif()
  velstd_test_start(${target})
  if(EXISTS "${dir}/${stem}_plugin.cpp")
    add_library(${stem}_plugin SHARED "${stem}_plugin.cpp")
    velstd_program(${stem}_plugin)
    target_link_libraries(${target} PRIVATE ${stem}_plugin)
  endif()
  if(EXISTS "${dir}/${stem}_test.expected")
    velstd_output_test(${stem} ${target} "${dir}/${stem}_test.expected")
  else()
    add_test(NAME ${stem} COMMAND ${target})
  endif()
  velstd_ctest(${stem})
endfunction()

# The program <stem>_bench from <stem>_bench.cpp, with the main and the peers of `velbench`.
function(velstd_bench stem)
  add_executable(${stem}_bench "${stem}_bench.cpp")
  velstd_program(${stem}_bench)
  target_link_libraries(${stem}_bench PRIVATE velbench)
endfunction()

# The program example_<stem> from <stem>.cpp or, in C99, <stem>.c; its ctest entry compares what it
# writes to standard output with <stem>.expected, byte by byte.
function(velstd_example stem)
  set(source "${stem}.cpp")
  if(NOT EXISTS "${CMAKE_CURRENT_SOURCE_DIR}/${source}")
    set(source "${stem}.c")
  endif()
  add_executable(example_${stem} "${source}")
  velstd_program(example_${stem})
  velstd_output_test(example_${stem} example_${stem} "${CMAKE_CURRENT_SOURCE_DIR}/${stem}.expected")
  velstd_ctest(example_${stem})
endfunction()

# A command line tool, installed with the library.
function(velstd_tool name)
  add_executable(${name} ${ARGN})
  velstd_program(${name})
  if(VELSTD_INSTALL)
    # Found next to the library wherever the prefix is moved to.
    file(RELATIVE_PATH toLibrary "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/${toLibrary}")
    install(TARGETS ${name} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  endif()
endfunction()
