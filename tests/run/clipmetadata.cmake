tolvane_add_test(tst_run_clip_metadata ${CMAKE_CURRENT_LIST_DIR}/ClipMetadataTest.cpp)
tolvane_add_test(tst_run_clip_metadata_movies ${CMAKE_CURRENT_LIST_DIR}/ClipMetadataMovieTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DriverSession.cpp ${CMAKE_CURRENT_LIST_DIR}/MovieTags.cpp)
