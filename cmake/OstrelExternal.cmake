# The board platform's framework in place of the stand-in: TESTMODE_OSTREL_ROOT holds include/ostrel/*.h and lib/libOstrel.so.
foreach(file include/ostrel/EventException.h include/ostrel/EventHandler.h include/ostrel/EventHost.h
    include/ostrel/EventHostGeneric.h include/ostrel/EventMessage.h include/ostrel/Exception.h include/ostrel/Thread.h
    lib/libOstrel.so)
  if(NOT EXISTS ${TESTMODE_OSTREL_ROOT}/${file})
    message(FATAL_ERROR "TESTMODE_OSTREL_ROOT is incomplete:\n  there is no ${TESTMODE_OSTREL_ROOT}/${file}")
  endif()
endforeach()

add_library(testmode::ostrel SHARED IMPORTED)
set_target_properties(testmode::ostrel PROPERTIES
  IMPORTED_LOCATION ${TESTMODE_OSTREL_ROOT}/lib/libOstrel.so
  IMPORTED_NO_SONAME ON  # or a library without one would be looked for at the place where it is now
  INTERFACE_INCLUDE_DIRECTORIES ${TESTMODE_OSTREL_ROOT}/include)
