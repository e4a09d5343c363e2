# How every target of this project is made: one language level, one set of warnings, one place
# that knows about sanitizers and the compiler cache.

# A project that has this one in a folder may use a compiler whose warnings nobody here has seen.
option(ZORVANE_WARNINGS_ARE_ERRORS "Stop at a compiler's warning" ${PROJECT_IS_TOP_LEVEL})

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)

set(ZORVANE_SANITIZE "" CACHE STRING "Sanitizers for -fsanitize=, comma separated")
set(ZORVANE_OUTPUT_DIR "${CMAKE_BINARY_DIR}" CACHE PATH "Folder that receives Zorvane.app and bin/")

# clang-tidy wants every file by itself; so may who works on one of them.
option(ZORVANE_UNITY "Compile several files as one where that saves most of the time" ON)

include(GNUInstallDirs)
# The headers of an installed Tessel, which include each other from here.
set(ZORVANE_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/tessel")

find_program(ZORVANE_CCACHE ccache)
if(ZORVANE_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ZORVANE_CCACHE}")
  set(CMAKE_OBJCXX_COMPILER_LAUNCHER "${ZORVANE_CCACHE}")
endif()

add_library(zorvane_flags INTERFACE)
target_compile_options(zorvane_flags INTERFACE
  -Wall -Wextra -Wpedantic $<$<BOOL:${ZORVANE_WARNINGS_ARE_ERRORS}>:-Werror>
  # What one of many files that are compiled as one hides from another is no mistake.
  "$<IF:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>,$<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>,-Wshadow>"
  -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
  -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # False alarms of g++ 12 about optionals and strings once it optimises; clang and the sanitizers
  # check the same code.
  target_compile_options(zorvane_flags INTERFACE
    -Wno-maybe-uninitialized -Wno-stringop-overflow -Wno-stringop-overread -Wno-restrict
    -Wno-array-bounds)
endif()
if(ZORVANE_SANITIZE)
  target_compile_options(zorvane_flags INTERFACE
    -fsanitize=${ZORVANE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(zorvane_flags INTERFACE -fsanitize=${ZORVANE_SANITIZE})
endif()

# zorvane_common(target): what every target gets. Includes are written from the repository root
# ("platform/Clock.h", "mac/OstraCore/Nonce.h").
function(zorvane_common target)
  target_link_libraries(${target} PRIVATE "$<BUILD_INTERFACE:zorvane_flags>")
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
  if(ZORVANE_SANITIZE OR CMAKE_CROSSCOMPILING)
    zorvane_unity(${target}) # nobody edits beside such a build, and nobody links its libraries
  endif()
endfunction()

# zorvane_unity(target): several of its files are compiled as one, in half of the time. Not for
# libraries that are handed out, or that a program takes little of: it would get files as a whole.
function(zorvane_unity target)
  get_target_property(already ${target} UNITY_BUILD)
  if(ZORVANE_UNITY AND NOT ZORVANE_COCOA_HOST AND NOT already)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    # There is no other file that could see it.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
endfunction()

# zorvane_library(name SOURCES ... [DEPENDS ...] [PRIVATE_DEPENDS ...]): a static library. DEPENDS
# are visible to users of the library, PRIVATE_DEPENDS only to the library itself.
function(zorvane_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  zorvane_common(${name})
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE ${arg_PRIVATE_DEPENDS})
  # For who links it from outside. The root of the includes is another one once it is installed.
  target_compile_features(${name} PUBLIC cxx_std_23)
  target_include_directories(${name} INTERFACE
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${ZORVANE_INCLUDE_DIR}>")
endfunction()

# zorvane_test_flags(name): what the tests and their precompiled header are compiled with.
function(zorvane_test_flags name)
  target_compile_options(${name} PRIVATE -pthread) # as some of what they are linked with asks for
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With this ccache can tell what a precompiled header holds, and serve these files too.
    target_compile_options(${name} PRIVATE -fpch-preprocess)
  endif()
  # How fast a test itself is does not matter, and lines are enough for a stack trace; there is the
  # debug build, too.
  target_compile_options(${name} PRIVATE "$<$<CONFIG:RelWithDebInfo>:-O1;-g1>")
  # GoogleTest prints numbers by way of what libc++ has since macOS 13.3; tests run where they are
  # built.
  if(CMAKE_CROSSCOMPILING)
    target_compile_options(${name} PRIVATE "SHELL:-Xclang -triple -Xclang aarch64-apple-macosx13.3.0")
  elseif(APPLE)
    target_compile_options(${name} PRIVATE -mmacosx-version-min=13.3)
  endif()
endfunction()

# zorvane_test(name LABEL unit|integration|desktop SOURCES ... [DEPENDS ...] [RUN_SERIAL]): a GoogleTest
# executable whose tests are registered with CTest one by one. Under a sanitizer, where a process is slow
# to start, the unit tests of an executable run in one.
function(zorvane_test name)
  cmake_parse_arguments(arg "RUN_SERIAL" "LABEL;TIMEOUT" "SOURCES;DEPENDS" ${ARGN})
  if(NOT BUILD_TESTING)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name} ${arg_SOURCES})
  zorvane_common(${name})
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} GTest::gmock GTest::gtest_main)
  zorvane_test_flags(${name})
  if(ZORVANE_COCOA_HOST)
    target_precompile_headers(${name} PRIVATE
      "${PROJECT_SOURCE_DIR}/tests/support/precompiled/Precompiled.h")
  elseif(NOT CMAKE_CROSSCOMPILING)
    target_precompile_headers(${name} REUSE_FROM test_precompiled)
  endif()
  zorvane_unity(${name})
  if(CMAKE_CROSSCOMPILING)
    # Not run here.
    set(header tests/support/precompiled/CMakeFiles/test_precompiled.dir/Precompiled.cpp.o)
    target_compile_options(${name} PRIVATE
      "$<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -include-pch -Xclang ${header}.pch>")
    add_dependencies(${name} test_precompiled_made)
    return()
  endif()
  set(properties LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT})
  if(arg_RUN_SERIAL)
    list(APPEND properties RUN_SERIAL TRUE)
  endif()
  if(ZORVANE_SANITIZE AND arg_LABEL STREQUAL "unit")
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES ${properties} TIMEOUT 900)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
  endif()
endfunction()
