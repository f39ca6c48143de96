# One folder is one static library. These functions are the only way targets are made here.

# ombru_library(NAME SOURCES file... USES target...)
# A room: the static library ombru_NAME. Includes are rooted at the repository.
function(ombru_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(ombru_${name} STATIC ${ARG_SOURCES})
  ombru_compile(ombru_${name})
  target_link_libraries(ombru_${name} PUBLIC ${ARG_USES})
endfunction()

# ombru_executable(NAME SOURCES file... USES target... [PLATFORM fake] [PRECOMPILED target])
# Lands in build/<preset>/bin. Gets the system's platform unless told otherwise.
function(ombru_executable name)
  cmake_parse_arguments(ARG "" "PLATFORM;PRECOMPILED" "SOURCES;USES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  ombru_compile(${name} ${ARG_PRECOMPILED})
  target_link_libraries(${name} PRIVATE ${ARG_USES})
  if(ARG_PLATFORM)
    set_target_properties(${name} PROPERTIES OMBRU_PLATFORM ${ARG_PLATFORM})
  endif()
endfunction()

# ombru_test(ROOM/FileTest [THREADS] [SYSTEM] [DESKTOP [FAKE]] [WIDGETS] USES target... [SOURCES more...] [NEEDS executable...]
#            [TIMEOUT seconds])
# One test file, one executable, one ctest entry named after the file. The platform is the fake unless SYSTEM or
# DESKTOP is given; DESKTOP also runs it inside a private desktop of its own and labels it "desktop", and FAKE leaves it
# the fake there. NEEDS names executables it starts. WIDGETS gives it a graphical application, which draws into memory
# where there is no desktop.
# The thread sanitizer's build has only those with THREADS: two threads of ours meet in the test, or in a program that it
# starts.
function(ombru_test path)
  cmake_parse_arguments(ARG "THREADS;SYSTEM;DESKTOP;FAKE;WIDGETS" "TIMEOUT" "SOURCES;USES;NEEDS" ${ARGN})
  if(OMBRU_SANITIZE STREQUAL "thread" AND NOT ARG_THREADS)
    return()
  endif()
  string(REPLACE "/" "-" name ${path})
  set(widgets "")
  if(ARG_WIDGETS)
    set(widgets _with_widgets)
  endif()
  set(platform PLATFORM fake)
  if(ARG_SYSTEM OR (ARG_DESKTOP AND NOT ARG_FAKE))
    set(platform "")
  endif()
  ombru_executable(${name} SOURCES ${PROJECT_SOURCE_DIR}/tests/${path}.cpp ${ARG_SOURCES}
                   USES ${ARG_USES} ombru_test_main${widgets} GTest::gmock ${platform} PRECOMPILED ombru_test_pch)
  target_compile_options(${name} PRIVATE $<$<CONFIG:Debug>:-O0>) # as the precompiled header that it takes
  ombru_tested(${name} ${ARG_NEEDS})
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
  if(ARG_WIDGETS AND NOT ARG_DESKTOP)
    set_property(TEST ${path} APPEND PROPERTY ENVIRONMENT QT_QPA_PLATFORM=offscreen)
  endif()
  if(ARG_DESKTOP)
    set_tests_properties(${path} PROPERTIES LABELS desktop)
  endif()
endfunction()

# The target `tested` is what the tests need.
function(ombru_tested)
  if(NOT TARGET tested)
    add_custom_target(tested)
  endif()
  add_dependencies(tested ${ARGN})
endfunction()

# ombru_precompiled(NAME HEADER USES target...)
function(ombru_precompiled name header)
  cmake_parse_arguments(ARG "" "" "USES" ${ARGN})
  file(WRITE ${CMAKE_BINARY_DIR}/pch.cpp "")
  add_library(${name} STATIC ${CMAKE_BINARY_DIR}/pch.cpp)
  target_link_libraries(${name} PUBLIC Qt6::Core PRIVATE ${ARG_USES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  # In angle brackets, because CMake would write the whole path into the header that it makes of it.
  target_precompile_headers(${name} PRIVATE <${header}>)
endfunction()
ombru_precompiled(ombru_pch cmake/Precompiled.h USES QCoro6::Core)
if(OMBRU_TESTS)
  ombru_precompiled(ombru_test_pch tests/support/Precompiled.h USES QCoro6::Core GTest::gmock)
  # A test's own lines run once: optimising them costs more than it saves.
  target_compile_options(ombru_test_pch PRIVATE $<$<CONFIG:Debug>:-O0>)
endif()

# ombru_compile(TARGET [PRECOMPILED]): the precompiled header is what nearly every source includes, in tests also what
# nearly every test does.
function(ombru_compile target)
  set(precompiled ombru_pch)
  if(ARGC GREATER 1)
    set(precompiled ${ARGV1})
  endif()
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${target} PUBLIC Qt6::Core)
  # The compiler cache reads the precompiled header as text, which needs what it includes.
  target_include_directories(${target} SYSTEM PRIVATE $<TARGET_PROPERTY:QCoro6::Core,INTERFACE_INCLUDE_DIRECTORIES>)
  target_precompile_headers(${target} REUSE_FROM ${precompiled})
endfunction()
