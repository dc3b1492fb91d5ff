# Compiles for macOS on another system, against macOS headers and this system's headers of the
# libraries. Nothing can be linked: libraries and programs come out empty. For script/check-macos,
# which sets the variables that begin with MACOS_CHECK_.

set(MACOS_CHECK_VARIABLES MACOS_CHECK_CLANG MACOS_CHECK_LIBCXX MACOS_CHECK_HEADERS MACOS_CHECK_LINKS
  MACOS_CHECK_ARCHITECTURE)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ${MACOS_CHECK_VARIABLES})

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 20)
set(CMAKE_SYSTEM_PROCESSOR "${MACOS_CHECK_ARCHITECTURE}")
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_OSX_DEPLOYMENT_TARGET 11)
set(CMAKE_CXX_COMPILER "${MACOS_CHECK_CLANG}")
set(CMAKE_CXX_COMPILER_TARGET "${MACOS_CHECK_ARCHITECTURE}-apple-macos11")
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -nostdlibinc -isystem ${MACOS_CHECK_LIBCXX} \
-isystem ${MACOS_CHECK_HEADERS}/include -iframework ${MACOS_CHECK_HEADERS}/Frameworks \
-isystem ${MACOS_CHECK_LINKS}")

set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_AR true)
set(CMAKE_RANLIB true)
set(CMAKE_INSTALL_NAME_TOOL true)

# The description of Qt asks for it.
set(OPENGL_INCLUDE_DIR "${MACOS_CHECK_HEADERS}/Frameworks/OpenGL.framework/Headers" CACHE PATH "")
set(OPENGL_gl_LIBRARY "${MACOS_CHECK_HEADERS}/Frameworks/OpenGL.framework" CACHE PATH "")
