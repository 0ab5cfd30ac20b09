tolvane_add_test(tst_run_rules ${CMAKE_CURRENT_LIST_DIR}/SessionRulesTest.cpp)
