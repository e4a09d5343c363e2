# The system's libcurl: curl's own headers and our stub of the library.
include("${CMAKE_CURRENT_LIST_DIR}/SdkFolder.cmake")
if(NOT TARGET CURL::libcurl)
  zorvane_sdk_header(curl)
  add_library(CURL::libcurl INTERFACE IMPORTED)
  set_target_properties(CURL::libcurl PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${zorvane_sdk}/include"
    INTERFACE_LINK_LIBRARIES "-L${zorvane_sdk}/lib;-lcurl")
endif()
set(CURL_FOUND TRUE)
