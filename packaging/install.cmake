# Installation and the Debian package.
#
# The program finds its tools, translations and texts relative to its own executable, so everything
# it owns lives in one private directory; only the launcher's link goes on the PATH, and the tools'
# generic names (diskspd …) stay out of it.
set(KP_INSTALL_DIR lib/kartopress)
set(KP_INSTALL_BIN ${KP_INSTALL_DIR}/bin)

install(TARGETS kartopress RUNTIME DESTINATION ${KP_INSTALL_BIN})
foreach(tool ImageCompressor WVCCheck diskspd)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${KP_INSTALL_BIN})
  endif()
endforeach()
install(DIRECTORY ${CMAKE_BINARY_DIR}/bin/translations DESTINATION ${KP_INSTALL_BIN})
install(FILES "resources/texts/TGD EULA.txt" DESTINATION ${KP_INSTALL_DIR}/Licenses)
install(FILES resources/texts/acknowledgements.txt DESTINATION ${KP_INSTALL_DIR})
install(CODE "
  file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin\")
  file(CREATE_LINK ../${KP_INSTALL_BIN}/kartopress \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/kartopress\" SYMBOLIC)
")

install(FILES packaging/com.tessarageodata.Kartopress.desktop DESTINATION share/applications)
install(FILES packaging/com.tessarageodata.Kartopress.metainfo.xml DESTINATION share/metainfo)
install(FILES packaging/kartopress-mime.xml DESTINATION share/mime/packages RENAME kartopress.xml)
foreach(size 16 22 24 32 48 64 128 256)
  install(FILES ${KP_ICON_DIR}/hicolor/${size}x${size}/apps/kartopress.png
          DESTINATION share/icons/hicolor/${size}x${size}/apps)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kartopress)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Tessara Geodata")
set(CPACK_PACKAGE_CONTACT "Tessara Geodata <support@tessarageodata.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "desktop job runner for very large geospatial datasets")
set(CPACK_PACKAGE_DESCRIPTION "Kartopress builds a list of jobs, mostly through wizards, and runs it:
it compresses rasters to WVC or JPEG 2000, converts point clouds, checks compressed files,
calculates checksums, benchmarks disks and uploads to the TsDR cloud.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# fio is run, not linked, by the disk benchmark tool, so the library scan cannot find it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fio")
include(CPack)

# The installed program, started from a fresh prefix, must find what it needs there.
add_test(NAME install_layout COMMAND ${CMAKE_SOURCE_DIR}/packaging/check-install ${CMAKE_BINARY_DIR})
set_tests_properties(install_layout PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" TIMEOUT 300)
