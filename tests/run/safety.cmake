tolvane_add_test(tst_run_safety ${CMAKE_CURRENT_LIST_DIR}/SafetyTest.cpp)
add_dependencies(tst_run_safety tolvane-cli)
target_compile_definitions(tst_run_safety PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>")
