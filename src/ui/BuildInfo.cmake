# The about panel's build number and the help menu's links.
#
# The build number is the count of commits leading to the checked-out one, so
# each commit builds with its own, larger number; the build is reconfigured when
# a commit is made or checked out. Set TOLVANE_BUILD_NUMBER to override it, for
# example when building from a source archive without git history (there it is
# otherwise left out, and the panel shows the version alone).
set(TOLVANE_BUILD_NUMBER "" CACHE STRING "Build number shown in the about panel (default: git commit count)")
set(TOLVANE_WEBSITE_URL "https://github.com/tolvane/tolvane#readme" CACHE STRING
    "The project's home page, opened by Help > Tolvane Website")
set(TOLVANE_ISSUE_TRACKER_URL "https://github.com/tolvane/tolvane/issues" CACHE STRING
    "Where users report problems, opened by Help > Report a Problem…")

set(TOLVANE_BUILD_NUMBER_RESOLVED "${TOLVANE_BUILD_NUMBER}")
if(TOLVANE_BUILD_NUMBER_RESOLVED STREQUAL "")
    find_package(Git QUIET)
    if(GIT_FOUND)
        execute_process(COMMAND ${GIT_EXECUTABLE} rev-list --count HEAD
            WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
            OUTPUT_VARIABLE TOLVANE_BUILD_NUMBER_RESOLVED
            RESULT_VARIABLE tolvane_git_result
            OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        execute_process(COMMAND ${GIT_EXECUTABLE} rev-parse --absolute-git-dir
            WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
            OUTPUT_VARIABLE tolvane_git_dir
            OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
        if(NOT tolvane_git_result EQUAL 0)
            set(TOLVANE_BUILD_NUMBER_RESOLVED "")
        elseif(EXISTS "${tolvane_git_dir}/logs/HEAD")
            # Every commit and checkout appends to this log.
            set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${tolvane_git_dir}/logs/HEAD")
        endif()
    endif()
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/BuildInfo.h.in ${CMAKE_CURRENT_BINARY_DIR}/generated/ui/BuildInfo.h @ONLY)
target_include_directories(tolvane_ui PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/generated)
