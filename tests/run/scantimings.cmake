tolvane_add_test(tst_run_scan_timings ${CMAKE_CURRENT_LIST_DIR}/ScanTimingsTest.cpp)
