tolvane_add_test(tst_run_hostile ${CMAKE_CURRENT_LIST_DIR}/HostileCardTest.cpp)
add_dependencies(tst_run_hostile tolvane-cli)
target_compile_definitions(tst_run_hostile PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>")
