# Installs into a scratch prefix and checks the app's files are where a
# desktop looks for them, and that the desktop entry is valid.
set(prefix ${BUILD_DIR}/install-check)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed")
endif()
foreach(path bin/tolvane bin/tolvane-cli share/applications/tolvane.desktop
             share/icons/hicolor/scalable/apps/tolvane.svg)
    if(NOT EXISTS ${prefix}/${path})
        message(FATAL_ERROR "not installed: ${path}")
    endif()
endforeach()
find_program(validate desktop-file-validate REQUIRED)
execute_process(COMMAND ${validate} ${prefix}/share/applications/tolvane.desktop
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0 OR NOT output STREQUAL "")
    message(FATAL_ERROR "desktop-file-validate: ${output}")
endif()
file(REMOVE_RECURSE ${prefix})
