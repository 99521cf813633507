# Installation: the library, its headers, what pkg-config and CMake need to find them, and samples of the files that a
# product keeps in its "ini" directory. The files of both widths stand side by side, each below its own library
# directory.

install(TARGETS qvsupt32 EXPORT qvsupt32 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/qvsupt32.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qvsupt32 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY share/ini DESTINATION ${CMAKE_INSTALL_DATADIR}/qvsupt32/examples)

# Relative to where the file itself is, so that a staged installation can be used where it stands.
file(RELATIVE_PATH QVSUPT32_PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/qvsupt32.pc.in qvsupt32.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qvsupt32.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(EXPORT qvsupt32 NAMESPACE qvsupt32:: FILE qvsupt32-config.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvsupt32)

include(CMakePackageConfigHelpers)
write_basic_package_version_file(qvsupt32-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qvsupt32-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qvsupt32)
