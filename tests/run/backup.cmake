tolvane_add_test(tst_run_backup ${CMAKE_CURRENT_LIST_DIR}/CliBackupTest.cpp
    ${PROJECT_SOURCE_DIR}/tests/backup/BackupCardTree.cpp)
add_dependencies(tst_run_backup tolvane-cli)
target_include_directories(tst_run_backup PRIVATE ${PROJECT_SOURCE_DIR}/tests/backup)
target_compile_definitions(tst_run_backup PRIVATE TOLVANE_CLI_PATH="$<TARGET_FILE:tolvane-cli>"
    TOLVANE_MHL_SCHEMAS="${PROJECT_SOURCE_DIR}/tests/backup/schemas")
