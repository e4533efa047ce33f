# What script/package puts into its archive: `cmake --install build/release --component package --prefix FOLDER`.
# Folders have the names that they have in the checkout, so that the documents' links lead somewhere. The archive's own
# README comes from cmake/package/README.md: the checkout's tells of commands that are not in the archive.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME package)

install(FILES $<TARGET_FILE:ring-buffer> DESTINATION bin)
install(FILES CHANGELOG.md DESTINATION .)
install(DIRECTORY docs DESTINATION .)

# The boundary: interfaces, variants, the smart pointer, the host contract, and what they include.
set(headers Component.h HostContract.h Interface.h InterfacePtr.h Platform.h PropertyNames.h PropertyStorage.h RefCounted.h
    Types.h Variant.h)
list(TRANSFORM headers PREPEND public/common/)
install(FILES ${headers} DESTINATION public/common)

# An example that builds as it stands, the host's objects that it uses, and the functions on variants that these call.
install(DIRECTORY companions/example DESTINATION .)
install(DIRECTORY companions/host DESTINATION companions PATTERN CMakeLists.txt EXCLUDE)
install(FILES public/common/Variant.cpp public/common/VariantText.cpp public/common/VariantText.h
        DESTINATION public/common)

# What the host guide refers to: names of properties, and parts of the sample host, which are there to be read.
install(FILES companions/media/ClipProperties.h DESTINATION companions/media)
install(FILES companions/replay/Recorder.cpp companions/replay/Recorder.h companions/replay/Session.cpp
              companions/replay/Session.h
        DESTINATION companions/replay)

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pyx-ring-buffer-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/pyx-ring-buffer-config.cmake ${PROJECT_BINARY_DIR}/pyx-ring-buffer-config-version.cmake
        DESTINATION lib/cmake/pyx-ring-buffer)
