# Every header compiles alone, without the precompiled one: a source each that includes nothing else.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/*.h)
list(FILTER headers EXCLUDE REGEX "^(build|cmake|tests|bench|fuzz)/")
foreach(header IN LISTS headers)
  set(source ${CMAKE_BINARY_DIR}/headers/${header}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n")
  list(APPEND sources ${source})
endforeach()

add_library(ombru_headers OBJECT EXCLUDE_FROM_ALL ${sources})
target_include_directories(ombru_headers PRIVATE ${PROJECT_SOURCE_DIR})
target_include_directories(ombru_headers SYSTEM PRIVATE ${SECRET_INCLUDE_DIRS} ${PULSE_INCLUDE_DIRS})
target_compile_options(ombru_headers PRIVATE -O0 -g0)
target_link_libraries(ombru_headers PRIVATE Qt6::Widgets Qt6::Network Qt6::WebSockets Qt6::DBus QCoro6::Core CLI11::CLI11)
