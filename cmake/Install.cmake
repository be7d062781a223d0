# Installation: headers, the shared library, a CMake package (find_package(tarvixsdk) gives
# tarvix::tarvixsdk, and tarvix::virtual when the virtual adapter was built) and a pkg-config
# file. The virtual adapter installs its own files (virtual/CMakeLists.txt).
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

tarvix_install_pkgconfig(tarvixsdk "${PROJECT_DESCRIPTION}")

# The udev rule that lets users other than root open the adapters (see README, "Permissions on
# Linux"). udev reads /usr/lib/udev/rules.d and /etc/udev/rules.d, not /usr/local: packagers
# install to the default under /usr; others point TARVIX_UDEV_RULES_DIR at /etc/udev/rules.d.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(TARVIX_UDEV_RULES_DIR "lib/udev/rules.d" CACHE STRING
    "Where cmake --install puts 70-tarvix.rules (relative paths are under the install prefix)")
  install(FILES udev/70-tarvix.rules DESTINATION ${TARVIX_UDEV_RULES_DIR})
endif()

# The examples' sources with their CMakeLists.txt, which builds them against the installed
# package: cmake -S <prefix>/share/doc/tarvixsdk/examples -B build -DCMAKE_PREFIX_PATH=<prefix>
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  PATTERN "__pycache__" EXCLUDE)
