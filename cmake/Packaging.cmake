# Where an installation puts each file, and the two .deb packages CPack makes
# of them (scripts/package): `velmora`, the client with its shipped sounds,
# smilies and help, menu entry, icons and manual; `velmorad`, the server with
# its systemd service, configuration file and manual.

# Packaging builds just the two programs, not every test and benchmark.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(pkg ${PROJECT_SOURCE_DIR}/packaging)
set(pkg_out ${PROJECT_BINARY_DIR}/packaging)

# Manual pages and the changelog go out compressed, without a time stamp so
# that the same sources give the same packages.
set(compressed "")
foreach(source docs/man/velmora.1 docs/man/velmorad.8 packaging/changelog)
  get_filename_component(name ${source} NAME)
  add_custom_command(OUTPUT ${pkg_out}/${name}.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${pkg_out}
    COMMAND gzip -9n -c ${PROJECT_SOURCE_DIR}/${source} > ${pkg_out}/${name}.gz
    DEPENDS ${PROJECT_SOURCE_DIR}/${source} VERBATIM)
  list(APPEND compressed ${pkg_out}/${name}.gz)
endforeach()
add_custom_target(velmora_package_files ALL DEPENDS ${compressed})

if(TARGET velmora)
  install(TARGETS velmora RUNTIME DESTINATION bin COMPONENT velmora)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/assets/Sounds ${PROJECT_SOURCE_DIR}/assets/Smilies
                    ${PROJECT_SOURCE_DIR}/assets/help
          DESTINATION share/velmora COMPONENT velmora)
  install(FILES ${pkg}/chat.velmora.Velmora.desktop DESTINATION share/applications
          COMPONENT velmora)
  install(FILES ${pkg}/chat.velmora.Velmora.metainfo.xml DESTINATION share/metainfo
          COMPONENT velmora)
  install(FILES ${PROJECT_SOURCE_DIR}/assets/icons/velmora.svg
          DESTINATION share/icons/hicolor/scalable/apps COMPONENT velmora)
  foreach(size 16 22 24 32 48 64 128 256)
    install(FILES ${PROJECT_SOURCE_DIR}/assets/icons/${size}x${size}/velmora.png
            DESTINATION share/icons/hicolor/${size}x${size}/apps COMPONENT velmora)
  endforeach()
  install(FILES ${pkg_out}/velmora.1.gz DESTINATION share/man/man1 COMPONENT velmora)
  install(FILES ${pkg}/copyright ${pkg_out}/changelog.gz DESTINATION share/doc/velmora
          COMPONENT velmora)
endif()

if(TARGET velmorad)
  install(TARGETS velmorad RUNTIME DESTINATION bin COMPONENT velmorad)
  install(FILES ${pkg}/velmorad/velmorad.conf DESTINATION /etc COMPONENT velmorad)
  install(FILES ${pkg}/velmorad/velmorad.service DESTINATION /lib/systemd/system
          COMPONENT velmorad)
  install(FILES ${pkg_out}/velmorad.8.gz DESTINATION share/man/man8 COMPONENT velmorad)
  install(FILES ${pkg}/copyright ${pkg_out}/changelog.gz ${PROJECT_SOURCE_DIR}/docs/server.md
          DESTINATION share/doc/velmorad COMPONENT velmorad)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VENDOR "The Velmora developers")
set(CPACK_PACKAGE_CONTACT "The Velmora developers <hello@velmora.chat>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL velmora velmorad)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://velmora.chat)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_VELMORA_PACKAGE_NAME velmora)
set(CPACK_DEBIAN_VELMORAD_PACKAGE_NAME velmorad)

# Qt loads these as plugins, so the library scan does not see them.
set(CPACK_DEBIAN_VELMORA_PACKAGE_DEPENDS "libqt6sql6-sqlite, libqt6svg6")
# A dictionary for the spell check, and a keychain for the password when
# the user asks for one; without them the client simply does without.
set(CPACK_DEBIAN_VELMORA_PACKAGE_RECOMMENDS "hunspell-en-us | hunspell-dictionary")
set(CPACK_DEBIAN_VELMORA_PACKAGE_SUGGESTS "velmorad, gnome-keyring")
set(CPACK_COMPONENT_VELMORA_DESCRIPTION
    "instant messenger with buddy list, conferences and offline messages\n\
Velmora is a desktop instant messenger in the spirit of the classic IM\n\
clients: one fast native window with a buddy list that shows who is online,\n\
private messages with fonts and smilies, conference rooms, user search and\n\
offline messages that wait for you. It talks to a velmorad server.")

set(CPACK_DEBIAN_VELMORAD_PACKAGE_DEPENDS adduser)
set(CPACK_DEBIAN_VELMORAD_PACKAGE_CONTROL_EXTRA
    ${pkg}/velmorad/postinst ${pkg}/velmorad/prerm ${pkg}/velmorad/postrm
    ${pkg}/velmorad/conffiles)
set(CPACK_COMPONENT_VELMORAD_DESCRIPTION
    "server of the Velmora instant messenger\n\
velmorad keeps the accounts, buddy lists and offline messages of Velmora's\n\
users in SQLite or PostgreSQL, relays their private messages and runs the\n\
conference rooms. This package runs it as the systemd service velmorad,\n\
configured in /etc/velmorad.conf.")

include(CPack)
