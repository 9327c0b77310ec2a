# What `cmake --install` puts where: the libraries, the public headers, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(public_headers
  common/CChecksum.h common/CEventRoute.h common/CFileLogger.h common/Export.h
  ioctl/CFBLib.h ioctl/CFileTest.h ioctl/CGPIOTest.h ioctl/CNetTest.h ioctl/CPWMOutTest.h ioctl/CSysTime.h ioctl/CTouchTest.h
  ioctl/CUARTTest.h ioctl/CVersion.h
  uart/CUARTMgr.h uart/CUARTReceiver.h uart/CUARTSender.h uart/UARTFrame.h)
set(ostrel_cflags "")
set(ostrel_libs "-lOstrel")
if(TESTMODE_OSTREL_ROOT)
  install(FILES cmake/OstrelExternal.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode)
  set(ostrel_cflags "-I${TESTMODE_OSTREL_ROOT}/include")
  set(ostrel_libs "-L${TESTMODE_OSTREL_ROOT}/lib -lOstrel")
else()
  install(TARGETS ostrel EXPORT testmodeTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  file(GLOB ostrel_headers RELATIVE ${PROJECT_SOURCE_DIR} ostrel/*.h)
  list(APPEND public_headers ${ostrel_headers})
endif()

install(TARGETS testmode EXPORT testmodeTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(header IN LISTS public_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/testmode/${folder})
endforeach()

install(EXPORT testmodeTargets NAMESPACE testmode:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode)
configure_package_config_file(cmake/testmodeConfig.cmake.in testmodeConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode)
write_basic_package_version_file(testmodeConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/testmodeConfig.cmake ${PROJECT_BINARY_DIR}/testmodeConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/testmode)

file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/testmode.pc.in testmode.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/testmode.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
