# zorvane_common_unsanitized(target): like zorvane_common, but never instrumented. For the small
# programs whose size or signal dispositions matter, and for the code that runs between fork and
# exec.
function(zorvane_common_unsanitized target)
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_compile_options(${target} PRIVATE
    $<TARGET_PROPERTY:zorvane_flags,INTERFACE_COMPILE_OPTIONS> -fno-sanitize=all)
endfunction()
