# Manual pages, made of what the programs say themselves, so only where they run.

find_program(HELP2MAN help2man)

# Makes <name>.1 from the help of a program and <name>.h2m beside its CMakeLists.txt, and installs it with the tools. The
# other arguments are options of help2man.
function(kiv_manual_page name target)
  if(NOT HELP2MAN OR KIV_SANITIZE OR (CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR))
    message(STATUS "${name}'s manual page is not made: help2man is not found, or the program does not run here")
    return()
  endif()
  set(page ${CMAKE_CURRENT_BINARY_DIR}/${name}.1)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " command)
  string(STRIP "${command} ./$<TARGET_FILE_NAME:${target}>" command) # a shell takes it apart at blanks
  add_custom_command(OUTPUT ${page}
      COMMAND ${HELP2MAN} --no-info --section=1 --include=${CMAKE_CURRENT_SOURCE_DIR}/${name}.h2m ${ARGN}
          --output=${page} ${command}
      DEPENDS ${target} ${name}.h2m
      WORKING_DIRECTORY $<TARGET_FILE_DIR:${target}>
      VERBATIM)
  if(KIV_DEBIAN_PACKAGES)
    add_custom_command(OUTPUT ${page}.gz COMMAND gzip -9nfk ${page} DEPENDS ${page} VERBATIM)
    set(page ${page}.gz)
  endif()
  add_custom_target(${name}-manual ALL DEPENDS ${page})
  if(KIV_INSTALL)
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  endif()
endfunction()
