# GoogleTest for a cross build, from the sources in Debian's package googletest.
function(add_googletest)
    set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
    set(BUILD_GMOCK OFF CACHE INTERNAL "")
    set(INSTALL_GTEST OFF CACHE INTERNAL "")
    add_subdirectory(${GTest_SOURCES} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    # Linked statically, it would warn of a network look-up that no test makes.
    target_link_options(gtest INTERFACE LINKER:--no-warnings)
endfunction()

set(GTest_SOURCES /usr/src/googletest)
include(FindPackageHandleStandardArgs)
if(EXISTS ${GTest_SOURCES}/CMakeLists.txt)
    set(GTest_USABLE ON)
    if(NOT TARGET gtest)
        add_googletest()
    endif()
endif()
find_package_handle_standard_args(GTest
    REQUIRED_VARS GTest_USABLE
    REASON_FAILURE_MESSAGE "no ${GTest_SOURCES}: install the package googletest")
