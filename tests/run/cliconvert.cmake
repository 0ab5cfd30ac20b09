tolvane_add_test(tst_run_cli_convert ${CMAKE_CURRENT_LIST_DIR}/CliConvertTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MovieTags.cpp)
add_dependencies(tst_run_cli_convert tolvane-cli)
target_compile_definitions(tst_run_cli_convert PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>")
tolvane_add_test(tst_run_progress_text ${CMAKE_CURRENT_LIST_DIR}/ProgressTextTest.cpp)
