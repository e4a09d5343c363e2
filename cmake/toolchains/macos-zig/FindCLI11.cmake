# CLI11 is nothing but headers.
include("${CMAKE_CURRENT_LIST_DIR}/SdkFolder.cmake")
if(NOT TARGET CLI11::CLI11)
  zorvane_sdk_header(CLI)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  set_target_properties(CLI11::CLI11 PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${zorvane_sdk}/include")
endif()
set(CLI11_FOUND TRUE)
