# Leads find_package to the version file of the width that the project is built for. Where that width is not installed,
# nothing here suits.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(_qvsupt32_architecture i386-linux-gnu)
else()
  set(_qvsupt32_architecture x86_64-linux-gnu)
endif()
set(_qvsupt32_version
  ${CMAKE_CURRENT_LIST_DIR}/../../../lib/${_qvsupt32_architecture}/cmake/qvsupt32/qvsupt32-config-version.cmake)
if(EXISTS ${_qvsupt32_version})
  include(${_qvsupt32_version})
else()
  set(PACKAGE_VERSION "none for ${_qvsupt32_architecture}")
  set(PACKAGE_VERSION_UNSUITABLE TRUE)
endif()
unset(_qvsupt32_architecture)
unset(_qvsupt32_version)
