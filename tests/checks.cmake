# Tests that run a script of the project: the exported symbols, and with label `check` what scripts/check looks at.

add_test(NAME exported_symbols COMMAND ${PROJECT_SOURCE_DIR}/scripts/exported-symbols --check $<TARGET_FILE:kiv>)

