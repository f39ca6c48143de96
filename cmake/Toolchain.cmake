# How every source is compiled: language, warnings, linker, compiler cache, sanitizers.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_AUTOMOC OFF)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wimplicit-fallthrough -Werror)
add_compile_definitions(QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY
                        QT_NO_CONTEXTLESS_CONNECT)

set(OMBRU_SANITIZE "" CACHE STRING "Sanitizers to build with: address,undefined or thread or empty; with fuzzer-no-link for fuzz targets")
if(OMBRU_SANITIZE)
  add_compile_options(-fsanitize=${OMBRU_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${OMBRU_SANITIZE})
endif()

if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  find_program(OMBRU_LLD NAMES ld.lld-19 ld.lld)
  if(OMBRU_LLD)
    add_link_options(-fuse-ld=lld)
  endif()
  add_link_options(-Wl,--as-needed)
endif()

# A checkout beside a built one compiles nothing anew.
find_program(OMBRU_CCACHE ccache)
if(OMBRU_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${PROJECT_SOURCE_DIR}/cmake/cached-compile ${OMBRU_CCACHE} ${PROJECT_SOURCE_DIR})
endif()
add_compile_options(-fdebug-compilation-dir=.)
add_compile_options(-Xclang -fno-pch-timestamp)

# In what is installed the linker may order functions, and leave out what nothing calls. Its list of places to adapt when
# a program is loaded is short.
add_compile_options($<$<CONFIG:RelWithDebInfo>:-ffunction-sections> $<$<CONFIG:RelWithDebInfo>:-fdata-sections>)
add_link_options($<$<CONFIG:RelWithDebInfo>:LINKER:--gc-sections,-z,pack-relative-relocs>)
