tolvane_add_test(tst_debug_report ${CMAKE_CURRENT_LIST_DIR}/DebugReportTest.cpp)
