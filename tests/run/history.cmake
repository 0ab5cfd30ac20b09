tolvane_add_test(tst_run_history ${CMAKE_CURRENT_LIST_DIR}/HistoryCommandTest.cpp)
add_dependencies(tst_run_history tolvane-cli)
target_compile_definitions(tst_run_history PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>")
