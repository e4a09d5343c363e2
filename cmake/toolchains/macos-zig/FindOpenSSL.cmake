# Homebrew's OpenSSL, which only tests use: OpenSSL's own headers and our stubs of the libraries.
include("${CMAKE_CURRENT_LIST_DIR}/SdkFolder.cmake")
if(NOT TARGET OpenSSL::SSL)
  # Debian keeps those that differ between machines in a folder of their own.
  file(GLOB headers "/usr/include/openssl/*.h" "/usr/include/*-linux-gnu/openssl/*.h")
  if(NOT headers)
    message(FATAL_ERROR "The headers <openssl> are missing; tools/setup-macos installs them.")
  endif()
  file(MAKE_DIRECTORY "${zorvane_sdk}/include/openssl")
  foreach(header IN LISTS headers)
    get_filename_component(name "${header}" NAME)
    file(CREATE_LINK "${header}" "${zorvane_sdk}/include/openssl/${name}" SYMBOLIC)
  endforeach()
  add_library(OpenSSL::Crypto INTERFACE IMPORTED)
  set_target_properties(OpenSSL::Crypto PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${zorvane_sdk}/include"
    INTERFACE_LINK_LIBRARIES "-L${zorvane_sdk}/lib;-lcrypto")
  add_library(OpenSSL::SSL INTERFACE IMPORTED)
  set_target_properties(OpenSSL::SSL PROPERTIES
    INTERFACE_LINK_LIBRARIES "OpenSSL::Crypto;-lssl")
endif()
set(OpenSSL_FOUND TRUE)
