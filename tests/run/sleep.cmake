tolvane_add_test(tst_run_sleep ${CMAKE_CURRENT_LIST_DIR}/SleepInhibitTest.cpp)
add_dependencies(tst_run_sleep tolvane-cli)
target_compile_definitions(tst_run_sleep PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>")
