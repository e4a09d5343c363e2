# A folder in the build tree that stands in for the parts of an SDK and of Homebrew that are used:
# sdk/include with links to the headers of the portable libraries (never the host's include folder
# itself), sdk/lib and sdk/Frameworks with links to the stubs of platform/cocoa/interfaces.
include_guard(GLOBAL)
set(zorvane_sdk "${CMAKE_BINARY_DIR}/sdk")
set(zorvane_interfaces "${PROJECT_SOURCE_DIR}/platform/cocoa/interfaces")

# zorvane_sdk_header(name): links the header or folder of headers `name` into sdk/include.
function(zorvane_sdk_header name)
  file(GLOB found "/usr/include/${name}" "/usr/include/*-linux-gnu/${name}")
  if(NOT found)
    message(FATAL_ERROR "The headers <${name}> are missing; tools/setup-macos installs them.")
  endif()
  list(GET found 0 found)
  file(MAKE_DIRECTORY "${zorvane_sdk}/include")
  file(CREATE_LINK "${found}" "${zorvane_sdk}/include/${name}" SYMBOLIC)
endfunction()

# Stubs are found by the flags that a Mac uses, too: -lNAME and -framework NAME.
file(REMOVE_RECURSE "${zorvane_sdk}/lib" "${zorvane_sdk}/Frameworks")
file(MAKE_DIRECTORY "${zorvane_sdk}/lib" "${zorvane_sdk}/Frameworks")
file(GLOB_RECURSE stubs CONFIGURE_DEPENDS "${zorvane_interfaces}/*.tbd"
  "${PROJECT_SOURCE_DIR}/tests/platform/cocoa/declarations/*.tbd")
foreach(stub IN LISTS stubs)
  get_filename_component(name "${stub}" NAME_WE)
  if(name MATCHES "^lib")
    file(CREATE_LINK "${stub}" "${zorvane_sdk}/lib/${name}.tbd" SYMBOLIC)
  else()
    set(framework "${zorvane_sdk}/Frameworks/${name}.framework")
    file(MAKE_DIRECTORY "${framework}")
    file(CREATE_LINK "${stub}" "${framework}/${name}.tbd" SYMBOLIC)
  endif()
endforeach()
