# ffmpeg-windows: FFmpeg's libavformat, libavcodec and libavutil for the target, static, as script/lib/ffmpeg.sh
# builds them once into the cache folder. The scripts pass PYX_FFMPEG_ROOT; a build by hand finds the cached one.

if(NOT PYX_FFMPEG_ROOT OR NOT EXISTS ${PYX_FFMPEG_ROOT}/lib/libavformat.a)
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/script/lib/ffmpeg.sh --where
                    OUTPUT_VARIABLE PYX_FFMPEG_FOUND OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    set(PYX_FFMPEG_ROOT "${PYX_FFMPEG_FOUND}" CACHE PATH "FFmpeg's libraries for the target" FORCE)
endif()
if(NOT EXISTS ${PYX_FFMPEG_ROOT}/lib/libavformat.a)
    message(FATAL_ERROR "FFmpeg's libraries for the target are not built: run script/lib/ffmpeg.sh, "
                        "or configure with -DPYX_COMPANIONS=OFF for the module alone")
endif()

add_library(ffmpeg-windows INTERFACE)
target_include_directories(ffmpeg-windows SYSTEM INTERFACE ${PYX_FFMPEG_ROOT}/include)
target_link_libraries(ffmpeg-windows INTERFACE
    ${PYX_FFMPEG_ROOT}/lib/libavformat.a
    ${PYX_FFMPEG_ROOT}/lib/libavcodec.a
    ${PYX_FFMPEG_ROOT}/lib/libavutil.a
    bcrypt)
