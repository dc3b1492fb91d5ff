# The application bundle of macOS: a program of the menu bar, with its icon, its loadable modules, the
# toolkit's libraries, and a signature for the hardened runtime.
#
#   cmake --build BUILD --target bundle     (SOFTTOKEN_SIGNING_IDENTITY: whose signature; "-": none's)

set(SOFTTOKEN_SIGNING_IDENTITY "-" CACHE STRING "Identity that signs the bundle")
set(softtoken_icon "${PROJECT_SOURCE_DIR}/resources/images/Icon.icns")
target_sources(softtoken PRIVATE "${softtoken_icon}")
set_source_files_properties("${softtoken_icon}" PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
set_target_properties(softtoken PROPERTIES
  MACOSX_BUNDLE ON
  OUTPUT_NAME "Talvane Soft Token"
  MACOSX_BUNDLE_INFO_PLIST "${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in")

find_program(SOFTTOKEN_MACDEPLOYQT macdeployqt HINTS "${QT6_INSTALL_PREFIX}/bin")
set(modules "$<TARGET_BUNDLE_CONTENT_DIR:softtoken>/PlugIns")
add_custom_target(bundle
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${modules}"
  COMMAND "${CMAKE_COMMAND}" -E copy "$<TARGET_FILE:softtoken_qr-image>"
    "$<TARGET_FILE:softtoken_url-loading>" "${modules}"
  COMMAND "${SOFTTOKEN_MACDEPLOYQT}" "$<TARGET_BUNDLE_DIR:softtoken>"
  COMMAND codesign --force --deep --options runtime
    --entitlements "${PROJECT_SOURCE_DIR}/packaging/macos/softtoken.entitlements"
    --sign "${SOFTTOKEN_SIGNING_IDENTITY}" "$<TARGET_BUNDLE_DIR:softtoken>"
  DEPENDS softtoken softtoken_qr-image softtoken_url-loading
  VERBATIM)
