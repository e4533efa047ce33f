# GoogleTest compiled for the target from the build machine's source package.

set(PYX_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Source folder of GoogleTest")
if(NOT EXISTS ${PYX_GOOGLETEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's source is not in ${PYX_GOOGLETEST_SOURCE}: install the package googletest, "
                        "or configure with -DPYX_TESTS=OFF")
endif()

set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
add_subdirectory(${PYX_GOOGLETEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
target_compile_options(gtest PRIVATE $<$<CXX_COMPILER_ID:GNU>:-O0>) # compiles in half the time
