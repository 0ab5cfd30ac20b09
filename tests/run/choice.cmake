tolvane_add_test(tst_run_choice ${CMAKE_CURRENT_LIST_DIR}/ClipChoiceTest.cpp)
