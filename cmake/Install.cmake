# What `cmake --install` puts where: the libraries, the public headers, a CMake package and a pkg-config file. Each component
# becomes a package, see packaging/.
include(CMakePackageConfigHelpers)

set(ostrel_cflags "")
set(ostrel_libs "-lOstrel")
if(TESTMODE_OSTREL_ROOT)
  install(FILES cmake/OstrelExternal.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode COMPONENT libtestmode-dev)
  set(ostrel_cflags "-I${TESTMODE_OSTREL_ROOT}/include")
  set(ostrel_libs "-L${TESTMODE_OSTREL_ROOT}/lib -lOstrel")
else()
  install(TARGETS ostrel EXPORT testmodeTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libostrel0 NAMELINK_COMPONENT libostrel-dev)
  install(DIRECTORY framework/ostrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/libostrel COMPONENT libostrel-dev FILES_MATCHING PATTERN *.h)
  set(ostrel_cflags "-I\${includedir}/libostrel")
endif()

install(TARGETS testmode EXPORT testmodeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libtestmode0 NAMELINK_COMPONENT libtestmode-dev)
# The headers of a folder are public, those of its internal/ are not.
install(DIRECTORY common ioctl uart DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/testmode COMPONENT libtestmode-dev
  FILES_MATCHING PATTERN *.h PATTERN internal EXCLUDE)

install(EXPORT testmodeTargets NAMESPACE testmode:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode COMPONENT libtestmode-dev)
configure_package_config_file(cmake/testmodeConfig.cmake.in testmodeConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode)
write_basic_package_version_file(testmodeConfigVersion.cmake COMPATIBILITY SameMajorVersion)  # the soname's number
install(FILES ${PROJECT_BINARY_DIR}/testmodeConfig.cmake ${PROJECT_BINARY_DIR}/testmodeConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode COMPONENT libtestmode-dev)

file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/testmode.pc.in testmode.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/testmode.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libtestmode-dev)
