# vantorix_full_stack_environment(<out-var>)
#
# In the sanitizer build: the harness's ASAN_OPTIONS with full stacks for
# leak reports. Qt and GLib are built without frame pointers, and the leak
# suppressions name frames deep inside them. Empty in other builds.
function(vantorix_full_stack_environment out)
  set(result "")
  if(VANTORIX_SANITIZE)
    vantorix_test_environment(harness_env)
    foreach(entry IN LISTS harness_env)
      if(entry MATCHES "^ASAN_OPTIONS=")
        list(APPEND result "${entry}:fast_unwind_on_malloc=0")
      endif()
    endforeach()
  endif()
  set(${out} ${result} PARENT_SCOPE)
endfunction()
