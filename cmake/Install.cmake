# Where `cmake --install` puts the programs, their manual pages, the desktop
# entry and the icon, and the Debian package that CPack makes of them
# (`make package`). The package's dependencies come from dpkg-shlibdeps.
include(GNUInstallDirs)

# Manual pages go in compressed, as Debian keeps them.
set(man_pages)
foreach(program velkonf velkctl velkunit)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    set(page ${CMAKE_BINARY_DIR}/man/${program}.1.gz)
    add_custom_command(OUTPUT ${page}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
      COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/man/${program}.1 > ${page}
      DEPENDS ${CMAKE_SOURCE_DIR}/man/${program}.1 VERBATIM)
    list(APPEND man_pages ${page})
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endif()
endforeach()
add_custom_target(man_pages ALL DEPENDS ${man_pages})
if(TARGET velkonf)
  install(FILES dist/velkonf.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  install(FILES dist/velkonf.png DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/32x32/apps)
  install(FILES app/velkonf.xpm DESTINATION ${CMAKE_INSTALL_DATADIR}/pixmaps)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velkonf)
set(CPACK_PACKAGE_VENDOR VELK)
set(CPACK_PACKAGE_CONTACT "VELK <support@velk.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Configurator for lift units, with its command-line tool and unit simulator")
set(CPACK_PACKAGE_INSTALL_DIRECTORY /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
