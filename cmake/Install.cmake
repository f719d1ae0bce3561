# What `cmake --install` lays down: the program, the static library, its headers under their own paths, and the two
# files by which other projects find it, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(OBG_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/obg_manifest)

# A header that no other project may rely on is left out here by name.
file(GLOB_RECURSE OBG_HEADERS CONFIGURE_DEPENDS vpn/*.h)
target_sources(obg_manifest PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${OBG_HEADERS})
set_target_properties(obg_manifest PROPERTIES EXPORT_NAME manifest VERIFY_INTERFACE_HEADER_SETS ON)
install(TARGETS obg_manifesttool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(
  TARGETS obg_manifest
  EXPORT obg_manifest
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

install(
  EXPORT obg_manifest
  FILE obg_manifestTargets.cmake
  NAMESPACE obg::
  DESTINATION ${OBG_CMAKE_DIR}
  COMPONENT development)
configure_package_config_file(cmake/obg_manifestConfig.cmake.in obg_manifestConfig.cmake
                              INSTALL_DESTINATION ${OBG_CMAKE_DIR})
write_basic_package_version_file(obg_manifestConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/obg_manifestConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/obg_manifestConfigVersion.cmake
  DESTINATION ${OBG_CMAKE_DIR}
  COMPONENT development)

# The .pc file finds its prefix from where it lies, so that `cmake --install --prefix` needs no second configuration.
file(RELATIVE_PATH OBG_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" OBG_PC_TO_PREFIX ${OBG_PC_TO_PREFIX})
configure_file(cmake/obg_manifest.pc.in obg_manifest.pc @ONLY)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/obg_manifest.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)

install(FILES packaging/man/obg_manifesttool.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
install(FILES packaging/man/obg-manifest.5 packaging/man/VPNManifest.dat.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5
        COMPONENT tool)
