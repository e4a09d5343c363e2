# The system's SQLite: SQLite's own header and our stub of the library.
include("${CMAKE_CURRENT_LIST_DIR}/SdkFolder.cmake")
if(NOT TARGET SQLite::SQLite3)
  zorvane_sdk_header(sqlite3.h)
  add_library(SQLite::SQLite3 INTERFACE IMPORTED)
  set_target_properties(SQLite::SQLite3 PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${zorvane_sdk}/include"
    INTERFACE_LINK_LIBRARIES "-L${zorvane_sdk}/lib;-lsqlite3")
endif()
set(SQLite3_FOUND TRUE)
