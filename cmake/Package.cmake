# The Debian package: programs, manual, completions, systemd units and the pages of docs/. scripts/package makes it.
include(GNUInstallDirs)

set(documents ${CMAKE_BINARY_DIR}/documents)
# orvik tells its own commands; the two other pages are made of Markdown.
add_custom_target(documents
  COMMAND ${CMAKE_SOURCE_DIR}/packaging/documents $<TARGET_FILE:orvik> ${documents}
  DEPENDS orvik
  COMMENT "Writing the manual and the completions"
  VERBATIM)

install(TARGETS orvik orvikctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${documents}/man ${documents}/bash-completion ${documents}/zsh ${documents}/fish
  DESTINATION ${CMAKE_INSTALL_DATADIR})
file(GLOB pages ${CMAKE_SOURCE_DIR}/docs/*.md)
install(FILES ${pages} ${CMAKE_SOURCE_DIR}/README.md ${CMAKE_SOURCE_DIR}/CHANGELOG.md
  DESTINATION share/doc/orvik)
install(FILES packaging/systemd/example.env DESTINATION share/doc/orvik/examples)
install(FILES packaging/systemd/orvik-backup@.service packaging/systemd/orvik-backup@.timer
  DESTINATION lib/systemd/system)
install(FILES packaging/systemd/orvik-schedule.service packaging/systemd/orvik-schedule.timer
  DESTINATION lib/systemd/user)
install(FILES packaging/systemd/orvik.sysusers DESTINATION lib/sysusers.d RENAME orvik.conf)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orvik)
set(CPACK_PACKAGE_CONTACT "Orvik maintainers <maintainers@orvik.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "read-only backups of the configuration of Jamf Pro servers")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Orvik reads the configuration of a Jamf Pro server, keeps every object once in a
content-addressed folder, downloads package binaries, records what changed since
the last backup, and can seal all of it with an organisation key. It verifies,
compares, searches, exports and reports what it keeps.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/package)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "ca-certificates, fonts-dejavu-core | fonts-inter, tzdata")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-inter, fonts-noto-core, fonts-noto-cjk, fonts-noto-color-emoji")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnome-keyring, git, opensc")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_SOURCE_DIR}/packaging/debian/postinst)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
