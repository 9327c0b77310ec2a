# 32-bit ARM boards with a hardware floating-point unit and NEON: Cortex-A7 and up.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a7 -mfpu=neon-vfpv4 -mfloat-abi=hard -Wno-psabi")  # the note is about compilers before GCC 7
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

include(${CMAKE_CURRENT_LIST_DIR}/board-libraries.cmake)
