# Installation: the library, its headers, what pkg-config and CMake need to find them, papers, examples, and samples of
# the files that a product keeps in its "ini" directory. Both widths go below one prefix, each with a library directory of
# its own; what both install is the same in each.

install(TARGETS qvsupt32 EXPORT qvsupt32
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/qvsupt32.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qvsupt32 DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(data ${CMAKE_INSTALL_DATADIR}/qvsupt32)
install(DIRECTORY share/ini DESTINATION ${data}/examples)
install(DIRECTORY examples/ DESTINATION ${data}/examples
  PATTERN CMakeLists.txt EXCLUDE PATTERN .clang-tidy EXCLUDE PATTERN compare EXCLUDE PATTERN expected EXCLUDE)
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(EXISTS ${CMAKE_SOURCE_DIR}/docs)
  install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN *.md)
endif()

# Relative to where the file itself is, so that a staged installation can be used as it is; but as a system's own package,
# whose directories pkg-config then recognises as the compiler's.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR CMAKE_INSTALL_PREFIX STREQUAL /usr)
  set(QVSUPT32_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH up /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" up ${up})
  set(QVSUPT32_PC_PREFIX \${pcfiledir}/${up})
endif()
foreach(directory LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${directory}})
    set(QVSUPT32_PC_${directory} ${CMAKE_INSTALL_${directory}})
  else()
    set(QVSUPT32_PC_${directory} \${prefix}/${CMAKE_INSTALL_${directory}})
  endif()
endforeach()
configure_file(cmake/qvsupt32.pc.in qvsupt32.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/qvsupt32.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(config ${CMAKE_INSTALL_LIBDIR}/cmake/qvsupt32)
install(EXPORT qvsupt32 NAMESPACE qvsupt32:: FILE qvsupt32-config.cmake DESTINATION ${config})
include(CMakePackageConfigHelpers)
write_basic_package_version_file(qvsupt32-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/qvsupt32-config-version.cmake DESTINATION ${config})

# CMake looks into the library directory of a width only where it knows the architecture's name, which it does not for
# -m32. What it looks into always leads to the files of the width that the project is built for.
if(CMAKE_INSTALL_LIBDIR MATCHES "^lib/.*-linux-gnu$")
  foreach(file qvsupt32-config.cmake qvsupt32-config-version.cmake)
    install(FILES cmake/${file} DESTINATION ${CMAKE_INSTALL_DATADIR}/cmake/qvsupt32)
  endforeach()
endif()
