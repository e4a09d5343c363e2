# fmt by its headers alone: Homebrew's library is a shared one, which other Macs do not have.
if(NOT TARGET fmt::fmt)
  if(ZORVANE_MACOS_CROSS)
    include("${PROJECT_SOURCE_DIR}/cmake/toolchains/macos-zig/SdkFolder.cmake")
    zorvane_sdk_header(fmt)
  endif()
  find_path(ZORVANE_FMT_HEADERS fmt/format.h REQUIRED)
  add_library(fmt::fmt INTERFACE IMPORTED GLOBAL)
  set_target_properties(fmt::fmt PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${ZORVANE_FMT_HEADERS}"
    INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY)
endif()
set(fmt_FOUND TRUE)
