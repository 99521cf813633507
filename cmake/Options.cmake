# What a build can be asked for. The defaults suit who builds the library in order to install it: tests where GoogleTest
# is there, and a warning of a newer compiler is no error. The presets ask for more.

set(QVSUPT32_GTEST_SOURCE /usr/src/googletest/googletest CACHE PATH "Sources of GoogleTest")
if(EXISTS ${QVSUPT32_GTEST_SOURCE}/src/gtest-all.cc)
  set(hasGtest ON)
else()
  set(hasGtest OFF)
endif()

option(QVSUPT32_EXAMPLES "Build the examples" ON)
option(QVSUPT32_TESTS "Build the tests" ${hasGtest})
option(QVSUPT32_BENCH "Build the benchmarks" OFF)
option(QVSUPT32_FUZZ "Build the libFuzzer targets (clang)" OFF)
option(QVSUPT32_WERROR "Let a warning end the build" OFF)
set(QVSUPT32_SANITIZE "" CACHE STRING "Sanitizers for everything that is built, as -fsanitize= takes them")

if(QVSUPT32_TESTS AND NOT hasGtest)
  message(FATAL_ERROR "QVSUPT32_TESTS needs the sources of GoogleTest, and there are none in ${QVSUPT32_GTEST_SOURCE}."
    " Debian has them in libgtest-dev.")
endif()

math(EXPR width "8 * ${CMAKE_SIZEOF_VOID_P}")
if(QVSUPT32_WIDTH AND NOT QVSUPT32_WIDTH EQUAL width)
  message(FATAL_ERROR "QVSUPT32_WIDTH is ${QVSUPT32_WIDTH}, but the compiler with its flags builds for ${width} bits.")
endif()
