tolvane_add_test(tst_run_queue ConversionQueueTest.cpp ${CMAKE_CURRENT_SOURCE_DIR}/../media/MediaTestSupport.cpp)
