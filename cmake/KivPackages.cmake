# The Debian packages: libkiv1, libkiv-dev, kiv-tools and their -dbgsym. scripts/package builds and tries them.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libkiv)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development tools)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(kivDebianVersion ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(KIV_PACKAGE_MAINTAINER "libkiv maintainers <libkiv@example.org>" CACHE STRING "Who answers for the packages")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${KIV_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE libkiv)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_STRIP_FILES OFF) # the debug packages take the symbols out
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src/kiv)
# The first line of a description is its summary.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libkiv${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"base library for controller applications
State machines, alarm timers, INI files, GPIO, PWM and ADC through sysfs,
error codes and diagnostics, for machines that run for years unattended.
.
This package holds the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkiv-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_DEBUGINFO_PACKAGE OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${kivDebianVersion}), liblog4cplus-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS kiv-tools)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"base library for controller applications - development files
State machines, alarm timers, INI files, GPIO, PWM and ADC through sysfs,
error codes and diagnostics, for machines that run for years unattended.
.
This package holds the headers, what CMake and pkg-config look for, the
documentation and examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kiv-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${kivDebianVersion}), adduser")
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS fuse3)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"command-line tools for controllers and a simulated board
The program kiv explains error codes, checks INI files and uses GPIO, PWM
and ADC; kiv-board runs a program on a simulated board whose files answer
like the kernel's.
.
A udev rule gives the group ${KIV_HARDWARE_GROUP} access to GPIO and PWM.")
set(KIV_MAINTAINER_SCRIPTS ${PROJECT_BINARY_DIR}/debian)
configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/kiv-tools.postinst.in ${KIV_MAINTAINER_SCRIPTS}/postinst
    @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_TOOLS_PACKAGE_CONTROL_EXTRA ${KIV_MAINTAINER_SCRIPTS}/postinst)

# Debian's policy asks for changelog and copyright in each package, and for compressed ones.
if(KIV_DEBIAN_PACKAGES)
  set(kivDocs ${CMAKE_INSTALL_DATADIR}/doc)
  string(TIMESTAMP kivDate "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, where it is set
  file(WRITE ${KIV_MAINTAINER_SCRIPTS}/changelog.Debian
      "libkiv (${kivDebianVersion}) unstable; urgency=medium\n\n  * Release ${PROJECT_VERSION}, see changelog.gz.\n\n"
      " -- ${KIV_PACKAGE_MAINTAINER}  ${kivDate}\n")
  configure_file(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${KIV_MAINTAINER_SCRIPTS}/changelog COPYONLY)
  execute_process(COMMAND gzip -9nf changelog changelog.Debian
      WORKING_DIRECTORY ${KIV_MAINTAINER_SCRIPTS} COMMAND_ERROR_IS_FATAL ANY)
  foreach(component runtime development tools)
    string(TOUPPER ${component} upper)
    install(FILES
        ${KIV_MAINTAINER_SCRIPTS}/changelog.gz
        ${KIV_MAINTAINER_SCRIPTS}/changelog.Debian.gz
        ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
        DESTINATION ${kivDocs}/${CPACK_DEBIAN_${upper}_PACKAGE_NAME} COMPONENT ${component})
  endforeach()
endif()

include(CPack)
