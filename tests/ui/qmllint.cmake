# Runs the generated all_qmllint target and fails on any warning it prints.
execute_process(
    COMMAND ${CMAKE_COMMAND} --build ${BUILD_DIR} --target all_qmllint
    OUTPUT_VARIABLE output
    ERROR_VARIABLE output
    RESULT_VARIABLE result)
message("${output}")
if(NOT result EQUAL 0 OR output MATCHES "Warning:|Error:")
    message(FATAL_ERROR "qmllint reported problems in the Tolvane module")
endif()
