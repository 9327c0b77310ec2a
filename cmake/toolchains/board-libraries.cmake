# Where a cross build looks for the board's libraries: in TESTMODE_SYSROOT, a folder laid out like the board's root file system.
set(TESTMODE_SYSROOT "" CACHE PATH "The board's libraries and their headers: its root file system, or packages unpacked into a folder")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESTMODE_SYSROOT)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
if(TESTMODE_SYSROOT)
  set(CMAKE_FIND_ROOT_PATH ${TESTMODE_SYSROOT})
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${TESTMODE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
  set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${TESTMODE_SYSROOT})
  set(ENV{PKG_CONFIG_LIBDIR} ${TESTMODE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig:${TESTMODE_SYSROOT}/usr/lib/pkgconfig)
endif()
