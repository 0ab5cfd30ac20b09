tolvane_add_test(tst_run_backup_first ${CMAKE_CURRENT_LIST_DIR}/BackupFirstTest.cpp)
tolvane_add_test(tst_run_backup_first_history ${CMAKE_CURRENT_LIST_DIR}/BackupFirstRunTest.cpp ${CMAKE_CURRENT_LIST_DIR}/DriverSession.cpp)
