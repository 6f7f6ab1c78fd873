# What `cmake --install` puts where: the library (component runtime), headers, package files and documents (component development),
# the udev rule (component tools, to which the programs belong).

include(CMakePackageConfigHelpers)

set(KIV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kiv)
set(KIV_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS kiv
    EXPORT KivTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(FILES ${KIV_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kiv COMPONENT development)

# find_package(Kiv)
install(EXPORT KivTargets NAMESPACE Kiv:: DESTINATION ${KIV_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KivConfig.cmake.in ${PROJECT_BINARY_DIR}/KivConfig.cmake
    INSTALL_DESTINATION ${KIV_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KivConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/KivConfig.cmake
    ${PROJECT_BINARY_DIR}/KivConfigVersion.cmake
    ${CMAKE_CURRENT_LIST_DIR}/FindKivLog4cplus.cmake
    DESTINATION ${KIV_CMAKE_DIR} COMPONENT development)

# pkg-config: the prefix is found from the place of kiv.pc, so that an installation can be moved as a whole.
file(RELATIVE_PATH KIV_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" KIV_PC_PREFIX "${KIV_PC_PREFIX}")
file(RELATIVE_PATH KIV_PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH KIV_PC_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/kiv.pc.in ${PROJECT_BINARY_DIR}/kiv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kiv.pc DESTINATION ${KIV_PKGCONFIG_DIR} COMPONENT development)

# udev looks for rules in /usr/lib/udev and /usr/local/lib/udev; the helper is named by its full path.
set(KIV_HARDWARE_GROUP gpio CACHE STRING "The group that the udev rule gives GPIO and PWM to")
set(KIV_UDEV_DIR lib/udev)
cmake_path(ABSOLUTE_PATH KIV_UDEV_DIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE KIV_FULL_UDEV_DIR)
configure_file(${PROJECT_SOURCE_DIR}/packaging/udev/60-kiv.rules.in ${PROJECT_BINARY_DIR}/60-kiv.rules @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/60-kiv.rules DESTINATION ${KIV_UDEV_DIR}/rules.d COMPONENT tools)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/packaging/udev/kiv-sysfs-access DESTINATION ${KIV_UDEV_DIR} COMPONENT tools)

# The documents, the examples' sources, and what one starts from: where the packages have them, too.
set(kivDevDocs ${CMAKE_INSTALL_DATADIR}/doc/libkiv-dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples DESTINATION ${kivDevDocs} COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/sim/board.ini DESTINATION ${kivDevDocs}/sim COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/kiv-controller.service ${PROJECT_SOURCE_DIR}/packaging/journald.properties
    DESTINATION ${kivDevDocs}/examples COMPONENT development)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/crash-names DESTINATION ${kivDevDocs}/examples COMPONENT development)
