# Builds for macOS 13 on arm64 without a Mac: Clang with Darwin's C headers and its own libc++ from
# an npm package (tools/setup-macos installs it), declarations and stubs of the frameworks from
# platform/cocoa/interfaces, and portable libraries by their headers alone. On a Mac none of this is
# used: the same CMakeLists files find Xcode's SDK and Homebrew's packages.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(ZORVANE_MACOS_CROSS ON)

get_filename_component(zorvane_source "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
set(zorvane_zig "${CMAKE_CURRENT_LIST_DIR}/macos-zig")

# The target system is part of the compiler's command (macos-zig/c++); CMake shall add nothing.
set(CMAKE_OSX_SYSROOT "" CACHE STRING "" FORCE)
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "" FORCE)
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "" FORCE)

set(CMAKE_CXX_COMPILER "${zorvane_zig}/c++")
set(CMAKE_OBJCXX_COMPILER "${zorvane_zig}/c++")
set(CMAKE_AR "${zorvane_zig}/ar" CACHE FILEPATH "" FORCE)
set(CMAKE_RANLIB "${zorvane_zig}/ranlib" CACHE FILEPATH "" FORCE)
find_program(CMAKE_INSTALL_NAME_TOOL NAMES llvm-install-name-tool-19 llvm-install-name-tool)

find_program(ZORVANE_CCACHE ccache)
if(ZORVANE_CCACHE)
  # The compiler's name tells ccache nothing, and its script does not change with the compiler. What a
  # file includes is known from its dependencies, without preprocessing it first.
  # By its content: each clone has another time and path for it. A precompiled header is known by what
  # macos-zig/precompile says of it.
  set(launcher env CCACHE_COMPILERTYPE=clang CCACHE_COMPILERCHECK=content CCACHE_DEPEND=1
    CCACHE_PCH_EXTSUM=1
    "CCACHE_EXTRAFILES=${zorvane_source}/packaging/macos/compiler/package-lock.json"
    "${ZORVANE_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_OBJCXX_COMPILER_LAUNCHER ${launcher})
endif()

# Nothing of the host: no library, no package, no header but those linked below.
set(CMAKE_FIND_ROOT_PATH "${CMAKE_BINARY_DIR}/sdk")
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
list(PREPEND CMAKE_MODULE_PATH "${zorvane_zig}")

# The compiler package switches off libc++'s marks of what the oldest macOS lacks; a Mac's compiler
# refuses what is newer, and so does this.
set(zorvane_availability
  "-U_LIBCPP_DISABLE_AVAILABILITY -U_LIBCPP_HAS_NO_VENDOR_AVAILABILITY_ANNOTATIONS")

# No path of this machine reaches the result. Forced, so that a build folder that was made with other
# flags is built anew with these.
string(CONCAT zorvane_flags "${zorvane_availability} -ffile-prefix-map=${zorvane_source}/="
  " -ffile-prefix-map=${CMAKE_BINARY_DIR}/sdk/include/=")
set(CMAKE_CXX_FLAGS "${zorvane_flags}" CACHE STRING "" FORCE)
set(CMAKE_OBJCXX_FLAGS "${zorvane_flags}" CACHE STRING "" FORCE)
set(CMAKE_EXE_LINKER_FLAGS "-Wl,-dead_strip -s" CACHE STRING "" FORCE)
