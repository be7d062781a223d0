# tarvix_install_pkgconfig(<library> <description>) writes <library>.pc, for "-l<library>" and the
# installed headers, and installs it to <libdir>/pkgconfig. The file finds the prefix from its
# own place, so an installed tree can be moved; the way up from <libdir>/pkgconfig follows
# CMAKE_INSTALL_LIBDIR (lib, lib64, lib/x86_64-linux-gnu).
function(tarvix_install_pkgconfig library description)
  set(PC_NAME ${library})
  set(PC_DESCRIPTION ${description})
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    message(FATAL_ERROR "tarvix_install_pkgconfig: CMAKE_INSTALL_LIBDIR must be relative to the prefix")
  endif()
  file(RELATIVE_PATH PC_PREFIX_FROM_PCFILEDIR /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
