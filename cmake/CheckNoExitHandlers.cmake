# Fails when LIBRARY needs a function that registers work for the end of the process or a thread.
execute_process(COMMAND "${NM}" -D --undefined-only "${LIBRARY}"
                OUTPUT_VARIABLE symbols RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${NM} could not read ${LIBRARY}")
endif()
if(NOT symbols MATCHES "__cxa_finalize")
  message(FATAL_ERROR "The symbol list of ${LIBRARY} looks incomplete:\n${symbols}")
endif()
if(symbols MATCHES "[^\n]*(__cxa_atexit|__cxa_thread_atexit|atexit)[^\n]*")
  message(FATAL_ERROR "${LIBRARY} registers an exit handler: ${CMAKE_MATCH_0}")
endif()
