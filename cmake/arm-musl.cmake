# What ships: clang and musl. Of libc++ only the headers are used, and they leave no template to its
# library: a program that needs more does not link. All of that is Debian's for armel, fetched once.
include(${CMAKE_CURRENT_LIST_DIR}/controller.cmake)
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH top)
set(CMAKE_SYSROOT ${top}/build/musl)
execute_process(
    COMMAND ${top}/tools/fetch_packages.sh armel ${CMAKE_SYSROOT}
        musl-dev libgcc-12-dev gcc-12-base libc++-14-dev
    COMMAND_ERROR_IS_FATAL ANY)
set(linked_in musl-dev gcc-12-base libc++-14-dev)  # whose notices the package carries

set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET armv6-linux-musleabi)
set(CMAKE_AR arm-linux-gnueabi-ar)
set(CMAKE_RANLIB arm-linux-gnueabi-ranlib)
set(CMAKE_STRIP arm-linux-gnueabi-strip)

# musl's headers come last: libc++ wraps some of them. Nothing makes RELRO take effect in a static
# program; it would only pad the file.
string(CONCAT CMAKE_CXX_FLAGS_INIT "${processor_flags} -stdlib=libc++ -D_LIBCPP_HAS_MUSL_LIBC"
    " -D_LIBCPP_DISABLE_EXTERN_TEMPLATE -idirafter \"${CMAKE_SYSROOT}/usr/include/arm-linux-musleabi\"")
set(libraries ${CMAKE_SYSROOT}/usr/lib/arm-linux-musleabi)
string(CONCAT CMAKE_EXE_LINKER_FLAGS_INIT "${link_flags} -Wl,-z,norelro -nostdlib++"
    " --ld-path=arm-linux-gnueabi-ld -B\"${libraries}\" -L\"${libraries}\"")
