# Runs PROGRAM and fails unless it ends with an error after printing a match of REPORT.
execute_process(COMMAND ${PROGRAM} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(result EQUAL 0)
  message(FATAL_ERROR "The planted fault was not reported:\n${output}")
endif()
if(NOT output MATCHES "${REPORT}")
  message(FATAL_ERROR "Ended with ${result}, without the report '${REPORT}':\n${output}")
endif()
