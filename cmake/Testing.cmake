# Test harness shared by every test folder.
#
#   vantorix_gtest(<target> SOURCES ... [LIBRARIES ...] [LABELS ...] [ENVIRONMENT ...])
#   vantorix_qtest(<target> SOURCES ... [LIBRARIES ...] [LABELS ...] [ENVIRONMENT ...])
#   vantorix_test_environment(<out-var>)   the environment every test runs with
#
# Tests run in the i386 build through ${CMAKE_BINARY_DIR}/run-i386, which points
# the loader and Qt's plugin search into the private sysroot.

include(GoogleTest)

# Debian's prebuilt GoogleTest is amd64 only: build it in every tree.
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

set(VANTORIX_TEST_ROOT ${CMAKE_SOURCE_DIR}/tests)
set(VANTORIX_ARTIFACTS_DIR ${CMAKE_BINARY_DIR}/artifacts)
file(MAKE_DIRECTORY ${VANTORIX_ARTIFACTS_DIR})

if(CMAKE_CROSSCOMPILING)
  set(VANTORIX_LIBDIR "${VANTORIX_I386_SYSROOT}/usr/lib/i386-linux-gnu")
  file(WRITE ${CMAKE_BINARY_DIR}/run-i386
"#!/bin/sh
# Runs an i386 program of this build with the private sysroot's libraries.
export LD_LIBRARY_PATH=\"${VANTORIX_LIBDIR}:${VANTORIX_LIBDIR}/libunity:${VANTORIX_I386_SYSROOT}/lib/i386-linux-gnu\${LD_LIBRARY_PATH:+:\$LD_LIBRARY_PATH}\"
export QT_PLUGIN_PATH=\"${VANTORIX_LIBDIR}/qt5/plugins\"
exec \"\$@\"
")
  file(CHMOD ${CMAKE_BINARY_DIR}/run-i386 PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
else()
  set(VANTORIX_LIBDIR "/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()

function(vantorix_test_environment out)
  set(env
    QT_QPA_PLATFORM=offscreen
    VANTORIX_ARTIFACTS_DIR=${VANTORIX_ARTIFACTS_DIR}
    VANTORIX_TEST_ROOT=${VANTORIX_TEST_ROOT})
  if(VANTORIX_SANITIZE)
    list(APPEND env
      "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1:abort_on_error=0:fast_unwind_on_malloc=0"
      "LSAN_OPTIONS=suppressions=${VANTORIX_TEST_ROOT}/sanitizers/lsan.supp:print_suppressions=0"
      "UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1")
  endif()
  if(VANTORIX_TSAN)
    # Reports from inside Qt, whose synchronisation TSan cannot see, by name.
    list(APPEND env "TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1:suppressions=${VANTORIX_TEST_ROOT}/sanitizers/tsan.supp")
  endif()
  set(${out} ${env} PARENT_SCOPE)
endfunction()

function(_vantorix_test_target target)
  cmake_parse_arguments(T "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT" ${ARGN})
  add_executable(${target} ${T_SOURCES})
  target_link_libraries(${target} PRIVATE vantorix_warnings ${T_LIBRARIES})
  target_include_directories(${target} PRIVATE ${VANTORIX_TEST_ROOT}/support)
  vantorix_test_environment(env)
  list(APPEND env ${T_ENVIRONMENT})
  set(_labels ${T_LABELS} PARENT_SCOPE)
  set(_env ${env} PARENT_SCOPE)
endfunction()

# Writes <name>-launcher.sh into the current binary dir and returns its path:
# "launcher PROGRAM ARGS..." runs PROGRAM with the test environment and the
# given NAME=VALUE entries (through run-i386 in the i386 build). Usable as a
# test COMMAND prefix or as a target's CROSSCOMPILING_EMULATOR.
function(vantorix_test_launcher target out)
  vantorix_test_environment(env)
  list(APPEND env ${ARGN})
  set(script "#!/bin/sh\n# Runs a test of ${target} in its test environment.\n")
  foreach(entry ${env})
    string(FIND "${entry}" "=" eq)
    string(SUBSTRING "${entry}" 0 ${eq} name)
    math(EXPR start "${eq} + 1")
    string(SUBSTRING "${entry}" ${start} -1 value)
    string(REPLACE "'" "'\\''" value "${value}")
    if(name STREQUAL "LD_LIBRARY_PATH")
      string(APPEND script "export LD_LIBRARY_PATH=\"\${LD_LIBRARY_PATH:+\$LD_LIBRARY_PATH:}\"'${value}'\n")
    else()
      string(APPEND script "export ${name}='${value}'\n")
    endif()
  endforeach()
  # Then whatever runs programs in the caller's scope (run-i386 in the i386
  # build, a folder's own wrapper, or nothing).
  set(chain "")
  foreach(part ${CMAKE_CROSSCOMPILING_EMULATOR})
    string(APPEND chain "'${part}' ")
  endforeach()
  string(APPEND script "exec ${chain}\"\$@\"\n")
  set(path ${CMAKE_CURRENT_BINARY_DIR}/${target}-launcher.sh)
  file(WRITE ${path} "${script}")
  file(CHMOD ${path} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
       WORLD_READ WORLD_EXECUTE)
  set(${out} ${path} PARENT_SCOPE)
endfunction()

# GoogleTest's per-test discovery passes PROPERTIES on element by element, so a
# list-valued ENVIRONMENT or LABELS would be torn apart. The tests therefore run
# through a launcher that exports the environment, and carry one label (ctest
# -L takes a regular expression: "discovery_threads" is found by "threads").
function(vantorix_gtest target)
  cmake_parse_arguments(T "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;PROPERTIES" ${ARGN})
  list(LENGTH T_LABELS label_count)
  if(label_count GREATER 1)
    message(FATAL_ERROR "${target}: a GoogleTest target carries one label, got ${T_LABELS}")
  endif()
  vantorix_test_launcher(${target} launcher ${T_ENVIRONMENT})
  set(CMAKE_CROSSCOMPILING_EMULATOR ${launcher})  # taken by the target and by discovery
  _vantorix_test_target(${target} SOURCES ${T_SOURCES} LIBRARIES GTest::gmock_main ${T_LIBRARIES})
  gtest_discover_tests(${target}
    DISCOVERY_TIMEOUT 60
    DISCOVERY_MODE PRE_TEST
    PROPERTIES LABELS "${T_LABELS}" ${T_PROPERTIES})
endfunction()

function(vantorix_qtest target)
  cmake_parse_arguments(T "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;PROPERTIES" ${ARGN})
  _vantorix_test_target(${target} SOURCES ${T_SOURCES}
    LIBRARIES Qt5::Test ${T_LIBRARIES} LABELS ${T_LABELS} ENVIRONMENT ${T_ENVIRONMENT})
  set_target_properties(${target} PROPERTIES AUTOMOC ON AUTORCC ON)
  add_test(NAME ${target} COMMAND ${target})
  set_tests_properties(${target} PROPERTIES ENVIRONMENT "${_env}" LABELS "${_labels}" ${T_PROPERTIES})
endfunction()
include(${CMAKE_CURRENT_LIST_DIR}/SimulatedCard.cmake)
