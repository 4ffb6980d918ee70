# Runs PROGRAM, with ARGUMENTS if there are any, keeps its standard output in ACTUAL, fails when it differs from EXPECTED.
execute_process(COMMAND "${PROGRAM}" ${ARGUMENTS} OUTPUT_FILE "${ACTUAL}" RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ended with ${status}")
endif()
execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${EXPECTED}" "${ACTUAL}"
                RESULT_VARIABLE differs OUTPUT_QUIET ERROR_QUIET)
if(differs)
  execute_process(COMMAND diff -u "${EXPECTED}" "${ACTUAL}")
  message(FATAL_ERROR "${PROGRAM} did not print ${EXPECTED}")
endif()
