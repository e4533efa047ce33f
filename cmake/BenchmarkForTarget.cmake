# Google Benchmark compiled for the target (benchmark::benchmark) from the source that script/lib/benchmark.sh fetched.

set(PYX_BENCHMARK_SOURCE "" CACHE PATH "Source folder of Google Benchmark")
if(NOT EXISTS ${PYX_BENCHMARK_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "Google Benchmark's source is not in '${PYX_BENCHMARK_SOURCE}': script/bench fetches it")
endif()

set(BENCHMARK_ENABLE_TESTING OFF)
set(BENCHMARK_ENABLE_GTEST_TESTS OFF)
set(BENCHMARK_ENABLE_INSTALL OFF)
set(BENCHMARK_INSTALL_DOCS OFF)
set(BENCHMARK_ENABLE_WERROR OFF)
set(GIT_VERSION 0.0.0) # Debian's package passes it in; three zeros mean the version in the source
add_subdirectory(${PYX_BENCHMARK_SOURCE} ${PROJECT_BINARY_DIR}/benchmark EXCLUDE_FROM_ALL SYSTEM)
target_compile_options(benchmark PRIVATE -UUNICODE -U_UNICODE) # it calls Windows with 8-bit texts
