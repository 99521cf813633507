# Compiler and linker flags. Interface targets carry them, so that a target says what it is by what it links.

set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Everything, GoogleTest included: what the width needs, and the sanitizers.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # SSE2 is the baseline, so that no x87 excess precision reaches a digit. Callers may keep the stack aligned to 4 bytes
  # only, as the old i386 ABI did: entries realign it.
  add_compile_options(-msse2 -mfpmath=sse -mstackrealign)
endif()
add_compile_definitions(_GNU_SOURCE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(QVSUPT32_SANITIZE)
  # Little optimisation, and debug information for call stacks only: these programs are built to be run once.
  add_compile_options(-fsanitize=${QVSUPT32_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=${QVSUPT32_SANITIZE})
endif()

# The project's own code.
add_library(qvsupt32_warnings INTERFACE)
target_compile_options(qvsupt32_warnings INTERFACE
  -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${QVSUPT32_WERROR}>:-Werror>)

# The library's own code: nothing in it can throw, nothing is initialised behind its back, and only what is marked leaves.
add_library(qvsupt32_flags INTERFACE)
target_link_libraries(qvsupt32_flags INTERFACE qvsupt32_warnings)
target_compile_options(qvsupt32_flags INTERFACE
  -fvisibility=hidden -fno-semantic-interposition
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility-inlines-hidden>
  $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CXX_COMPILER_ID:GNU>>:-fno-gnu-unique>)
