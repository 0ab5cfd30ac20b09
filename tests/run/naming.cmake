tolvane_add_test(tst_run_naming
    ${CMAKE_CURRENT_LIST_DIR}/tst_run_naming.cpp
    ${CMAKE_CURRENT_LIST_DIR}/OutputNamingTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/LogWriterTest.cpp
)
