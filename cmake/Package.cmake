# What script/package puts into its archives: `cmake --install build/release --component package --prefix FOLDER`, and
# `--component trial` for programs that run as they are.
#
# In the package, folders have the names that they have in the checkout, so that the documents' links lead somewhere. Its
# README comes from cmake/package/: the checkout's describes commands that are not in the archive.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME package)

install(FILES $<TARGET_FILE:ring-buffer> DESTINATION bin)
install(FILES CHANGELOG.md DESTINATION .)
install(DIRECTORY docs DESTINATION .)

# The boundary: interfaces, variants, the smart pointer, the host contract, and what they include.
set(boundary Component.h HostContract.h Interface.h InterfacePtr.h Platform.h PropertyNames.h PropertyStorage.h RefCounted.h
    Types.h Variant.h)
# What the libraries of the CMake package have of the framework core.
list(APPEND boundary Handles.h KeyPacket.cpp KeyPacket.h ModuleLoading.h PropertyReader.cpp PropertyReader.h Variant.cpp
    VariantText.cpp VariantText.h)
list(TRANSFORM boundary PREPEND public/common/)
install(FILES ${boundary} DESTINATION public/common)

install(DIRECTORY companions/host companions/recorder DESTINATION companions PATTERN CMakeLists.txt EXCLUDE)
install(DIRECTORY companions/example DESTINATION companions)

# Names of properties that the host guide refers to.
install(FILES companions/media/ClipProperties.h DESTINATION companions/media)

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pyx-ring-buffer-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/pyx-ring-buffer-config.cmake ${PROJECT_BINARY_DIR}/pyx-ring-buffer-config-version.cmake
        DESTINATION lib/cmake/pyx-ring-buffer)

if(PYX_COMPANIONS)
    add_executable(example-recorder companions/example/Recorder.cpp)
    target_link_libraries(example-recorder PRIVATE pyx-recorder pyx-warnings)
    add_executable(example-bare companions/example/Bare.cpp)
    target_link_libraries(example-bare PRIVATE pyx-host pyx-warnings)
    install(PROGRAMS $<TARGET_FILE:example-recorder> $<TARGET_FILE:example-bare> $<TARGET_FILE:replay>
                     $<TARGET_FILE:companion-muxer> $<TARGET_FILE:companion-runtime>
            DESTINATION . COMPONENT trial)
endif()
