# Installs into a scratch prefix and checks the app's files are where a
# desktop, a software centre, man and bash look for them, and that the
# desktop entry and the AppStream data are valid.
set(prefix ${BUILD_DIR}/install-check)
set(id org.tolvane.Tolvane)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed")
endif()
set(expected bin/tolvane bin/tolvane-cli share/applications/${id}.desktop
    share/metainfo/${id}.metainfo.xml share/icons/hicolor/scalable/apps/${id}.svg
    share/man/man1/tolvane.1.gz share/man/man1/tolvane-cli.1.gz
    share/bash-completion/completions/tolvane-cli
    share/doc/tolvane/copyright share/doc/tolvane/changelog.gz)
foreach(size 16 24 32 48 64 128 256)
    list(APPEND expected share/icons/hicolor/${size}x${size}/apps/${id}.png)
endforeach()
foreach(path ${expected})
    if(NOT EXISTS ${prefix}/${path})
        message(FATAL_ERROR "not installed: ${path}")
    endif()
endforeach()
# Nothing else: every installed file is one the package is known to hold.
file(GLOB_RECURSE installed RELATIVE ${prefix} ${prefix}/*)
list(REMOVE_ITEM installed ${expected})
if(installed)
    message(FATAL_ERROR "installed but not expected: ${installed}")
endif()

# Each PNG is as large as the folder it is in says (the IHDR width and height).
foreach(size 16 24 32 48 64 128 256)
    file(READ ${prefix}/share/icons/hicolor/${size}x${size}/apps/${id}.png header OFFSET 16 LIMIT 8 HEX)
    string(SUBSTRING ${header} 0 8 width)
    string(SUBSTRING ${header} 8 8 height)
    math(EXPR width "0x${width}")
    math(EXPR height "0x${height}")
    if(NOT width EQUAL size OR NOT height EQUAL size)
        message(FATAL_ERROR "${size}x${size} icon is ${width}x${height}")
    endif()
endforeach()

find_program(validate desktop-file-validate REQUIRED)
execute_process(COMMAND ${validate} ${prefix}/share/applications/${id}.desktop
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0 OR NOT output STREQUAL "")
    message(FATAL_ERROR "desktop-file-validate: ${output}")
endif()
# No error and no warning; notes of the lowest level ("I:", pedantic "P:") are allowed.
find_program(appstreamcli appstreamcli REQUIRED)
execute_process(COMMAND ${appstreamcli} validate --no-net ${prefix}/share/metainfo/${id}.metainfo.xml
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0 OR output MATCHES "(^|\n)[EW]: ")
    message(FATAL_ERROR "appstreamcli validate: ${output}")
endif()
file(REMOVE_RECURSE ${prefix})
