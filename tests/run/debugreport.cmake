tolvane_add_test(tst_debug_report
    ${CMAKE_CURRENT_LIST_DIR}/DebugReportTest.cpp
    ${PROJECT_SOURCE_DIR}/tests/media/MediaTestSupport.cpp
)
target_include_directories(tst_debug_report PRIVATE ${PROJECT_SOURCE_DIR}/tests/media)
