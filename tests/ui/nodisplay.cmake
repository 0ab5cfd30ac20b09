# scripts/run without DISPLAY or WAYLAND_DISPLAY: one clear line and exit status 2.
execute_process(COMMAND env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM ${RUN}
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
set(expected "Tolvane needs a desktop session (neither DISPLAY nor WAYLAND_DISPLAY is set); without one, 'scripts/run convert CARD' converts a card.\n")
if(NOT result EQUAL 2 OR NOT output STREQUAL expected)
    message(FATAL_ERROR "exit ${result}, said: ${output}")
endif()
