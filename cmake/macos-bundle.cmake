# What a macOS bundle holds besides its executables and Info.plist: PkgInfo and the icon.
set(contents "${ZORVANE_OUTPUT_DIR}/Zorvane.app/Contents")
file(CONFIGURE OUTPUT "${contents}/PkgInfo" CONTENT "APPL????")

find_program(RSVG_CONVERT rsvg-convert REQUIRED)
set(icon "${PROJECT_SOURCE_DIR}/packaging/icon")
add_custom_command(OUTPUT "${contents}/Resources/Zorvane.icns"
  COMMAND "${CMAKE_COMMAND}" -E make_directory "${contents}/Resources"
  COMMAND "${icon}/make-icns" "${icon}/zorvane.svg" "${icon}/zorvane-small.svg"
          "${contents}/Resources/Zorvane.icns"
  DEPENDS "${icon}/make-icns" "${icon}/zorvane.svg" "${icon}/zorvane-small.svg"
  COMMENT "Drawing the icon" VERBATIM)
add_custom_target(macos_bundle DEPENDS "${contents}/Resources/Zorvane.icns")
add_dependencies(Zorvane macos_bundle)
