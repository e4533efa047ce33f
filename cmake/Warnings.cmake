# pyx-warnings: what every target of this project is compiled with, on either compiler. A warning is an error.
# Linked PRIVATE, so that other people's code (GoogleTest, FFmpeg's headers) is left alone.

add_library(pyx-warnings INTERFACE)

if(MSVC)
    set(options /W4 /permissive- /Zc:preprocessor /Zc:__cplusplus /utf-8 /WX)
else()
    set(options -Wall -Wextra -Wpedantic -Wconversion -Werror)
endif()
# The resource compiler understands none of them.
target_compile_options(pyx-warnings INTERFACE "$<$<COMPILE_LANGUAGE:C,CXX>:${options}>")
