tolvane_add_test(tst_run_cli_description ${CMAKE_CURRENT_LIST_DIR}/CliDescriptionTest.cpp)
add_dependencies(tst_run_cli_description tolvane_cli_docs)
target_compile_definitions(tst_run_cli_description PRIVATE
    TOLVANE_CLI_COMPLETION="${CMAKE_BINARY_DIR}/src/run/tolvane-cli.bash"
    TOLVANE_CLI_MANPAGE="${CMAKE_BINARY_DIR}/src/run/tolvane-cli.1")
target_compile_definitions(tst_run_cli_description PRIVATE TOLVANE_VERSION_FOR_TEST="${PROJECT_VERSION}")
