# Installation: headers, the shared library, a CMake package (find_package(tarvixsdk) gives
# tarvix::tarvixsdk) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS tarvixsdk EXPORT tarvixsdkTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/tarvixsdk DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT tarvixsdkTargets
  NAMESPACE tarvix::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarvixsdk)
configure_package_config_file(cmake/tarvixsdkConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/tarvixsdkConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarvixsdk)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/tarvixsdkConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/tarvixsdkConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/tarvixsdkConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/tarvixsdk)

configure_file(cmake/tarvixsdk.pc.in ${CMAKE_CURRENT_BINARY_DIR}/tarvixsdk.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/tarvixsdk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
