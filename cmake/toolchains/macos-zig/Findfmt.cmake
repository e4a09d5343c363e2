# fmt by its headers alone.
include("${CMAKE_CURRENT_LIST_DIR}/SdkFolder.cmake")
if(NOT TARGET fmt::fmt)
  zorvane_sdk_header(fmt)
  add_library(fmt::fmt INTERFACE IMPORTED)
  set_target_properties(fmt::fmt PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${zorvane_sdk}/include"
    INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY)
endif()
set(fmt_FOUND TRUE)
