# Leads find_package to the files of the width that the project is built for.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(_qvsupt32_architecture i386-linux-gnu)
else()
  set(_qvsupt32_architecture x86_64-linux-gnu)
endif()
include(${CMAKE_CURRENT_LIST_DIR}/../../../lib/${_qvsupt32_architecture}/cmake/qvsupt32/qvsupt32-config.cmake)
unset(_qvsupt32_architecture)
