# The controller's processor: an ARM1136JF-S (ARMv6), soft-float calls. Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv6)
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)

# ARM state, not Thumb: Thumb-1 has no ldrex, so every atomic would become a call.
set(arm_flags "-marm -march=armv6 -mtune=arm1136jf-s -mfloat-abi=soft")
set(CMAKE_C_FLAGS_INIT "${arm_flags}")
set(CMAKE_CXX_FLAGS_INIT "${arm_flags} -ffunction-sections -fdata-sections")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,--gc-sections")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -cpu arm1136)

set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabi)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
