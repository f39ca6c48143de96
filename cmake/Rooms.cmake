# One folder is one static library. These functions are the only way targets are made here.

# ombru_library(NAME SOURCES file... USES target...)
# A room: the static library ombru_NAME. Includes are rooted at the repository.
function(ombru_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(ombru_${name} STATIC ${ARG_SOURCES})
  ombru_compile(ombru_${name})
  target_link_libraries(ombru_${name} PUBLIC ${ARG_USES})
endfunction()

# ombru_executable(NAME SOURCES file... USES target... [PLATFORM fake])
# Lands in build/<preset>/bin. Gets the system's platform unless told otherwise.
function(ombru_executable name)
  cmake_parse_arguments(ARG "" "PLATFORM" "SOURCES;USES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  ombru_compile(${name})
  target_link_libraries(${name} PRIVATE ${ARG_USES})
  if(ARG_PLATFORM)
    set_target_properties(${name} PROPERTIES OMBRU_PLATFORM ${ARG_PLATFORM})
  endif()
endfunction()

# ombru_test(ROOM/FileTest USES target... [SOURCES more...] [SYSTEM] [DESKTOP] [NEEDS executable...] [TIMEOUT seconds])
# One test file, one executable, one ctest entry named after the file. The platform is the fake unless SYSTEM or
# DESKTOP is given; DESKTOP also runs it inside a private desktop of its own and labels it "desktop". NEEDS names
# executables it starts.
function(ombru_test path)
  cmake_parse_arguments(ARG "SYSTEM;DESKTOP" "TIMEOUT" "SOURCES;USES;NEEDS" ${ARGN})
  string(REPLACE "/" "-" name ${path})
  set(platform PLATFORM fake)
  if(ARG_SYSTEM OR ARG_DESKTOP)
    set(platform "")
  endif()
  ombru_executable(${name} SOURCES ${PROJECT_SOURCE_DIR}/tests/${path}.cpp ${ARG_SOURCES}
                   USES ${ARG_USES} ombru_test_main GTest::gmock ${platform})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  if(ARG_NEEDS)
    add_dependencies(${name} ${ARG_NEEDS})
  endif()
  set(command $<TARGET_FILE:${name}>)
  if(ARG_DESKTOP)
    set(command ${PROJECT_SOURCE_DIR}/tests/support/private-desktop run ${command})
  endif()
  add_test(NAME ${path} COMMAND ${command})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set_tests_properties(${path} PROPERTIES TIMEOUT ${ARG_TIMEOUT}
                       ENVIRONMENT "OMBRU_BIN=${CMAKE_BINARY_DIR}/bin;OMBRU_SOURCE=${PROJECT_SOURCE_DIR}")
  if(ARG_DESKTOP)
    set_tests_properties(${path} PROPERTIES LABELS desktop)
  endif()
endfunction()

# The one precompiled header: what nearly every source includes.
function(ombru_compile target)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  if(NOT TARGET ombru_pch)
    file(WRITE ${CMAKE_BINARY_DIR}/pch.cpp "")
    add_library(ombru_pch STATIC ${CMAKE_BINARY_DIR}/pch.cpp)
    target_link_libraries(ombru_pch PUBLIC Qt6::Core)
    target_include_directories(ombru_pch PRIVATE ${PROJECT_SOURCE_DIR})
    # In angle brackets, because CMake would write the whole path into the header that it makes of it.
    target_precompile_headers(ombru_pch PRIVATE <cmake/Precompiled.h>)
  endif()
  target_link_libraries(${target} PUBLIC Qt6::Core)
  target_precompile_headers(${target} REUSE_FROM ombru_pch)
endfunction()
