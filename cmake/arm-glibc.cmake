# The controller's processor with glibc and libstdc++, which GoogleTest needs. Debian's cross compiler.
include(${CMAKE_CURRENT_LIST_DIR}/controller.cmake)
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_C_FLAGS_INIT "${processor_flags}")
set(CMAKE_CXX_FLAGS_INIT "${processor_flags}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabi)
