# The languages: catalogues of our own texts, compiled from po/, and the settings' texts. The build
# tree has them where the installed programs do.

find_program(SOFTTOKEN_MSGFMT msgfmt REQUIRED)

file(GLOB catalogues CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/po/*.po")
set(languages_folder "${CMAKE_BINARY_DIR}/share/softtoken/languages")
foreach(catalogue ${catalogues})
  get_filename_component(language "${catalogue}" NAME_WE)
  set(settings "${PROJECT_SOURCE_DIR}/resources/languages/${language}.ini")
  set(messages "${CMAKE_BINARY_DIR}/share/locale/${language}/LC_MESSAGES")
  add_custom_command(OUTPUT "${messages}/softtoken.mo" "${languages_folder}/${language}.ini"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${messages}" "${languages_folder}"
    COMMAND "${SOFTTOKEN_MSGFMT}" -o "${messages}/softtoken.mo" "${catalogue}"
    COMMAND "${CMAKE_COMMAND}" -E copy "${settings}" "${languages_folder}/${language}.ini"
    DEPENDS "${catalogue}" "${settings}" VERBATIM)
  list(APPEND language_files "${messages}/softtoken.mo" "${languages_folder}/${language}.ini")
  install(FILES "${messages}/softtoken.mo"
    DESTINATION "${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES")
  install(FILES "${settings}" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/softtoken/languages")
endforeach()
add_custom_target(softtoken_languages ALL DEPENDS ${language_files})
add_dependencies(softtoken softtoken_languages)
add_dependencies(softtoken-cli softtoken_languages)
