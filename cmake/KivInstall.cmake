# What `cmake --install` puts where: the library (component runtime), headers and package files (component development).

include(CMakePackageConfigHelpers)

set(KIV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Kiv)
set(KIV_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS kiv
    EXPORT KivTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
list(TRANSFORM KIV_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/src/kiv/ OUTPUT_VARIABLE kivHeaders)
install(FILES ${kivHeaders} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kiv COMPONENT development)

# find_package(Kiv)
install(EXPORT KivTargets NAMESPACE Kiv:: DESTINATION ${KIV_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KivConfig.cmake.in ${PROJECT_BINARY_DIR}/KivConfig.cmake
    INSTALL_DESTINATION ${KIV_CMAKE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KivConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KivConfig.cmake ${PROJECT_BINARY_DIR}/KivConfigVersion.cmake
    DESTINATION ${KIV_CMAKE_DIR} COMPONENT development)

# pkg-config: the prefix is found from the place of kiv.pc, so that an installation can be moved as a whole.
file(RELATIVE_PATH KIV_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" KIV_PC_PREFIX "${KIV_PC_PREFIX}")
file(RELATIVE_PATH KIV_PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH KIV_PC_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/kiv.pc.in ${PROJECT_BINARY_DIR}/kiv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kiv.pc DESTINATION ${KIV_PKGCONFIG_DIR} COMPONENT development)
