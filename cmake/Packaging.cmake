# What is installed besides the programs, and how the Debian package is built. script/package runs
# it all.

if(APPLE)
  return()
endif()

find_program(SOFTTOKEN_GZIP gzip REQUIRED)

# softtoken_compressed(FILE NAME FOLDER): installs FILE as NAME.gz, the same bytes every time.
function(softtoken_compressed file name folder)
  set(result "${CMAKE_CURRENT_BINARY_DIR}/compressed/${name}.gz")
  add_custom_command(OUTPUT "${result}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${CMAKE_CURRENT_BINARY_DIR}/compressed"
    COMMAND "${SOFTTOKEN_GZIP}" -9nc "${PROJECT_SOURCE_DIR}/${file}" > "${result}"
    DEPENDS "${PROJECT_SOURCE_DIR}/${file}" VERBATIM)
  add_custom_target("compressed_${name}" ALL DEPENDS "${result}")
  install(FILES "${result}" DESTINATION "${folder}")
endfunction()

set(documentation "${CMAKE_INSTALL_DATAROOTDIR}/doc/softtoken")
softtoken_compressed(docs/softtoken.1 softtoken.1 "${CMAKE_INSTALL_MANDIR}/man1")
softtoken_compressed(docs/softtoken-cli.1 softtoken-cli.1 "${CMAKE_INSTALL_MANDIR}/man1")
softtoken_compressed(packaging/changelog changelog.Debian "${documentation}")
install(FILES packaging/copyright docs/administration.md docs/tasofttoken.ini.sample
  DESTINATION "${documentation}")
install(FILES packaging/lintian-overrides
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides" RENAME softtoken)

install(FILES cli/completions/softtoken-cli.bash
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions" RENAME softtoken-cli)
install(FILES cli/completions/_softtoken-cli
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/zsh/vendor-completions")
install(FILES cli/completions/softtoken-cli.fish
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/fish/vendor_completions.d")

install(FILES resources/desktop/softtoken.desktop
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/applications")
# The desktops' search. The bus needs the program's whole path, which is known when it is installed.
install(FILES resources/desktop/example.talvane.softtoken.search-provider.ini
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/gnome-shell/search-providers")
install(FILES resources/desktop/softtoken-krunner.desktop
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/krunner/dbusplugins" RENAME softtoken.desktop)
set(service example.talvane.softtoken.service)
install(CODE "set(CMAKE_INSTALL_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
configure_file(\"${PROJECT_SOURCE_DIR}/resources/desktop/${service}.in\"
  \"${CMAKE_CURRENT_BINARY_DIR}/${service}\" @ONLY)")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${service}"
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/dbus-1/services")
install(FILES resources/desktop/example.talvane.softtoken.metainfo.xml
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/metainfo")
install(DIRECTORY resources/desktop/hicolor DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/icons")
install(FILES resources/art/icon.svg
  DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/icons/hicolor/scalable/apps" RENAME softtoken.svg)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME softtoken)
set(CPACK_PACKAGE_VENDOR "Talvane developers")
set(CPACK_PACKAGE_CONTACT "Talvane developers <developers@talvane.example>")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://softtoken.talvane.example/")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "one-time passcodes in the status area and in the terminal")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/before-packing.cmake")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS ca-certificates)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS
  "gnome-keyring | libkf5wallet-bin | keepassxc, wl-clipboard | xclip | xsel, fonts-noto-cjk")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Talvane Soft Token stores up to 32 one-time-password tokens per user and
shows their six-digit passcodes, ready to copy. Tokens come from the
organisation's enrolment server, from a seed that the user types, or from an
otpauth URL or its QR code.
.
The user's keychain (a Secret Service such as GNOME Keyring, or an embedded
vault) holds the seeds, sealed with a key made from the identity of the
computer and the user.
.
This package contains softtoken for the desktop, and softtoken-cli for the
terminal and for scripts.")
include(CPack)
