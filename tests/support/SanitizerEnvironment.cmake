# vantorix_sanitizer_environment(<out-var>)
#
# What the program's own tests add to the harness's sanitizer options:
# - ASan: full stacks for leak reports. Qt and GLib are built without frame
#   pointers, and the leak suppressions name frames deep inside them.
# - TSan: the suppressions of tests/sanitizers/tsan.supp (reports from inside
#   Qt, whose synchronisation ThreadSanitizer cannot see).
# Empty in the other builds.
function(vantorix_sanitizer_environment out)
  set(result "")
  vantorix_test_environment(harness_env)
  foreach(entry IN LISTS harness_env)
    if(VANTORIX_SANITIZE AND entry MATCHES "^ASAN_OPTIONS=")
      list(APPEND result "${entry}:fast_unwind_on_malloc=0")
    elseif(VANTORIX_TSAN AND entry MATCHES "^TSAN_OPTIONS=")
      list(APPEND result "${entry}:suppressions=${VANTORIX_TEST_ROOT}/sanitizers/tsan.supp")
    endif()
  endforeach()
  set(${out} ${result} PARENT_SCOPE)
endfunction()
