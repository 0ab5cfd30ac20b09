tolvane_add_test(tst_run_backup_first ${CMAKE_CURRENT_LIST_DIR}/BackupFirstTest.cpp)
