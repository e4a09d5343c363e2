# What a library-only build installs (ZORVANE_TESSEL_ONLY): the libraries, their public headers, a
# CMake package and pkg-config files, all from the lists below.
include(CMakePackageConfigHelpers)
if(ZORVANE_MACOS_CROSS)
  return() # without a Mac, Boost is source code that is compiled along, and belongs to no package
endif()

# A static library stands before what it uses.
set(libraries tessel_application tessel_webapp tessel_link tessel_health tessel_state tessel_json
  tessel_values)
set(desktop "")
if(APPLE)
  set(system zorvane_platform_cocoa)
  set(interfaces zorvane_cocoa_frameworks zorvane_security_framework zorvane_core_foundation)
else()
  set(system zorvane_platform_headless)
  set(interfaces "")
  if(ZORVANE_TESSEL_DESKTOP)
    set(desktop zorvane_platform_linux zorvane_platform_notifications zorvane_platform_tray
      zorvane_platform_bus zorvane_platform_connection zorvane_platform_appcast)
    set_target_properties(zorvane_platform_linux PROPERTIES EXPORT_NAME desktop)
  endif()
endif()
set_target_properties(${system} PROPERTIES EXPORT_NAME system)
set_target_properties(zorvane_platform PROPERTIES EXPORT_NAME platform)
list(APPEND libraries ${system} zorvane_platform_posix zorvane_platform_process
  zorvane_platform_files zorvane_platform zorvane_platform_crypto zorvane_platform_text)
# Their names stand beside those of other projects now.
foreach(library ${libraries} ${desktop})
  string(REGEX REPLACE "^(zorvane|tessel)_" "" name ${library})
  set_target_properties(${library} PROPERTIES OUTPUT_NAME tessel_${name})
endforeach()
install(TARGETS tessel ${libraries} ${desktop} ${interfaces} EXPORT TesselTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")

# What only the library itself includes.
set(internal AppHealthDecoding AppHealthReportFile DeviceLinkAttempt DeviceLinkLifeline Generation
  KnownMembers Precondition RawAppHealthValidator Uuid WeakScriptHandler WritePrivateFile)
list(JOIN internal "|" internal)
file(GLOB headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" mac/Tessel/*/*.h platform/*.h)
list(FILTER headers EXCLUDE REGEX "/(${internal})\\.h$|/Json/|/TextTables\\.h$")
if(NOT APPLE AND NOT ZORVANE_TESSEL_DESKTOP)
  list(FILTER headers EXCLUDE REGEX "/NativePlatform\\.h$")
endif()
foreach(header ${headers})
  cmake_path(GET header PARENT_PATH folder)
  install(FILES "${header}" DESTINATION "${ZORVANE_INCLUDE_DIR}/${folder}")
endforeach()

if(APPLE OR desktop)
  set(TESSEL_HAS_DESKTOP TRUE)
else()
  set(TESSEL_HAS_DESKTOP FALSE)
endif()
set(package "${CMAKE_INSTALL_LIBDIR}/cmake/Tessel")
install(EXPORT TesselTargets NAMESPACE Tessel:: DESTINATION "${package}")
configure_package_config_file(cmake/package/TesselConfig.cmake.in TesselConfig.cmake
  INSTALL_DESTINATION "${package}")
# Before 1.0 a minor version may change what a program uses.
write_basic_package_version_file(TesselConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/TesselConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/TesselConfigVersion.cmake" DESTINATION "${package}")

# tessel_pkg_config(name LIBRARIES... ): lib/pkgconfig/NAME.pc, from cmake/package.
function(tessel_pkg_config name)
  set(TESSEL_PC_LIBS "")
  foreach(library ${ARGN})
    get_target_property(file ${library} OUTPUT_NAME)
    string(APPEND TESSEL_PC_LIBS " -l${file}")
  endforeach()
  file(RELATIVE_PATH TESSEL_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/package/${name}.pc.in"
    "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()
if(APPLE)
  set(TESSEL_PC_REQUIRES "")
  set(TESSEL_PC_SYSTEM_LIBS " -framework AppKit -framework WebKit -framework Foundation\
 -framework ServiceManagement -framework Security -framework CoreFoundation -lobjc")
else()
  set(TESSEL_PC_REQUIRES " libsodium gio-2.0 libplist-2.0 icu-i18n icu-uc")
  set(TESSEL_PC_SYSTEM_LIBS "")
endif()
tessel_pkg_config(tessel ${libraries})
if(desktop)
  tessel_pkg_config(tessel-desktop ${desktop})
endif()
