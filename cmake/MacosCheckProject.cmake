# Read at the end of project(), by a build with MacosCheckToolchain.cmake.

# Where this system keeps the descriptions of its libraries. Its C headers are not for macOS.
set(CMAKE_SIZEOF_VOID_P 8)
set(CMAKE_LIBRARY_ARCHITECTURE "${MACOS_CHECK_TRIPLET}")
set(CMAKE_CXX_LIBRARY_ARCHITECTURE "${MACOS_CHECK_TRIPLET}")
set(CMAKE_PREFIX_PATH /usr)
set(CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES /usr/include "/usr/include/${MACOS_CHECK_TRIPLET}")

set(CMAKE_CXX_CREATE_STATIC_LIBRARY "<CMAKE_COMMAND> -E touch <TARGET>")
set(CMAKE_CXX_CREATE_SHARED_MODULE "<CMAKE_COMMAND> -E touch <TARGET>")
set(CMAKE_CXX_LINK_EXECUTABLE "<CMAKE_COMMAND> -E touch <TARGET>")
