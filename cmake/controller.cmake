# The controller's computer, whichever C library is linked: an ARM1136JF-S (ARMv6), soft-float calls.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv6)
# ARM state, not Thumb: Thumb-1 has no ldrex, so every atomic would become a call.
set(processor_flags "-marm -mcpu=arm1136jf-s -mfloat-abi=soft -ffunction-sections -fdata-sections")
set(link_flags "-static -Wl,--gc-sections")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -cpu arm1136)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
