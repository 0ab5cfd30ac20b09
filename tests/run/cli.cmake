tolvane_add_test(tst_run_cli ${CMAKE_CURRENT_LIST_DIR}/CliDebugReportTest.cpp)
add_dependencies(tst_run_cli tolvane-cli)
target_compile_definitions(tst_run_cli PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>")
