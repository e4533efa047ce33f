# GoogleTest compiled for the target from the build machine's source package.
#
#   pyx_add_test(NAME <ctest name> TARGET <program> [ARGS ...] [TIMEOUT seconds] [SUITES <filter> ...])
#
# One CTest entry per program, or one per given suite filter: starting a Windows program costs about half a second
# under Wine, so a process per single case would be slower than all the cases together. CTest runs entries side by side.

set(PYX_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Source folder of GoogleTest")
if(NOT EXISTS ${PYX_GOOGLETEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's source is not in ${PYX_GOOGLETEST_SOURCE}: install the package googletest, "
                        "or configure with -DPYX_TESTS=OFF")
endif()

set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
add_subdirectory(${PYX_GOOGLETEST_SOURCE} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

function(pyx_add_test)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "NAME;TARGET;TIMEOUT" "ARGS;SUITES")
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    set(names ${arg_NAME})
    if(arg_SUITES)
        set(names ${arg_SUITES})
    endif()
    foreach(name IN LISTS names)
        if(arg_SUITES)
            add_test(NAME ${arg_NAME}/${name} COMMAND ${arg_TARGET} --gtest_filter=${name} ${arg_ARGS})
            # A filter that meets no case would pass and prove nothing.
            set_tests_properties(${arg_NAME}/${name} PROPERTIES
                TIMEOUT ${arg_TIMEOUT} FAIL_REGULAR_EXPRESSION "Running 0 tests")
        else()
            add_test(NAME ${name} COMMAND ${arg_TARGET} ${arg_ARGS})
            set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} FAIL_REGULAR_EXPRESSION "Running 0 tests")
        endif()
    endforeach()
endfunction()
