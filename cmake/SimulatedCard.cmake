# Device tests on simulated cards (tests/support/simcard).
#
#   vantorix_device_gtest(<target> SOURCES ... [LIBRARIES ...] [LABELS ...]
#                         [ENVIRONMENT ...] [PROPERTIES ...])
#     A vantorix_gtest() linked with vantorix_simcard whose tests run under the
#     umockdev preload of this build's ABI.
#
#   VANTORIX_UMOCKDEV_PRELOAD      absolute path of the preload library of this
#                                  build's ABI (i386 in the i386 build)
#   VANTORIX_UMOCKDEV_ENVIRONMENT  the NAME=VALUE entries that put a process of
#                                  this build under the emulation (add them to a
#                                  test's ENVIRONMENT property)
#
# The process doing the ioctls and the process answering them must have the
# same bitness: the emulation's socket protocol uses native longs.

set(_preload_name libumockdev-preload.so.0)
if(CMAKE_CROSSCOMPILING)
  # The sysroot may lack the i386 preload (it ships in Debian's "umockdev"
  # package); fetch that one package into the build tree then.
  set(_fetched ${CMAKE_BINARY_DIR}/umockdev-i386)
  set(_dirs ${VANTORIX_I386_SYSROOT}/usr/lib/i386-linux-gnu ${_fetched}/usr/lib/i386-linux-gnu)
  find_file(VANTORIX_UMOCKDEV_PRELOAD ${_preload_name} PATHS ${_dirs}
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT VANTORIX_UMOCKDEV_PRELOAD)
    message(STATUS "Fetching the i386 umockdev preload into ${_fetched}")
    file(MAKE_DIRECTORY ${_fetched}/debs)
    set(_apt_config ${VANTORIX_I386_SYSROOT}/.apt/apt.conf)
    execute_process(
      COMMAND ${CMAKE_COMMAND} -E env APT_CONFIG=${_apt_config} apt-get -q download umockdev:i386
      WORKING_DIRECTORY ${_fetched}/debs RESULT_VARIABLE _rc OUTPUT_QUIET ERROR_QUIET)
    file(GLOB _debs ${_fetched}/debs/umockdev_*_i386.deb)
    foreach(_deb ${_debs})
      execute_process(COMMAND dpkg -x ${_deb} ${_fetched})
    endforeach()
    unset(VANTORIX_UMOCKDEV_PRELOAD CACHE)
    find_file(VANTORIX_UMOCKDEV_PRELOAD ${_preload_name} PATHS ${_dirs}
              NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  endif()
  if(NOT VANTORIX_UMOCKDEV_PRELOAD)
    message(FATAL_ERROR "No i386 ${_preload_name}: install umockdev:i386 into the sysroot")
  endif()
  # Tests start through the x86_64 shell wrapper run-i386: a bare name lets
  # each process's loader pick the preload of its own class instead of
  # complaining about the other one.
  get_filename_component(_preload_dir ${VANTORIX_UMOCKDEV_PRELOAD} DIRECTORY)
  set(VANTORIX_UMOCKDEV_PRELOAD_NAME ${_preload_name})
  set(VANTORIX_UMOCKDEV_PRELOAD_DIR ${_preload_dir})
  set(VANTORIX_UMOCKDEV_ENVIRONMENT
      LD_PRELOAD=${_preload_name} LD_LIBRARY_PATH=${_preload_dir})
else()
  find_file(VANTORIX_UMOCKDEV_PRELOAD ${_preload_name}
            PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} NO_DEFAULT_PATH)
  if(NOT VANTORIX_UMOCKDEV_PRELOAD)
    message(FATAL_ERROR "No ${_preload_name}: install Debian's umockdev package")
  endif()
  set(VANTORIX_UMOCKDEV_PRELOAD_NAME ${VANTORIX_UMOCKDEV_PRELOAD})
  set(VANTORIX_UMOCKDEV_PRELOAD_DIR "")
  set(VANTORIX_UMOCKDEV_ENVIRONMENT LD_PRELOAD=${VANTORIX_UMOCKDEV_PRELOAD})
endif()
# Under ASan the preload comes before the sanitizer runtime: ASAN_OPTIONS of
# vantorix_test_environment() already carries verify_asan_link_order=0.

# Each device test target runs through a launcher script that exports the
# whole test environment (the common one, the emulation's and the target's
# own ENVIRONMENT): a test property holding a list of several variables does
# not survive GoogleTest's per-test discovery, a launcher does.
function(_vantorix_simcard_launcher target out)
  vantorix_test_environment(env)
  list(APPEND env ${VANTORIX_UMOCKDEV_ENVIRONMENT} ${ARGN})
  set(script "#!/bin/sh\n# Runs a test of ${target} under the simulated cards' emulation.\n")
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
  if(CMAKE_CROSSCOMPILING)
    string(APPEND script "exec '${CMAKE_BINARY_DIR}/run-i386' \"\$@\"\n")
  else()
    string(APPEND script "exec \"\$@\"\n")
  endif()
  set(path ${CMAKE_CURRENT_BINARY_DIR}/${target}-launcher.sh)
  file(WRITE ${path} "${script}")
  file(CHMOD ${path} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
       WORLD_READ WORLD_EXECUTE)
  set(${out} ${path} PARENT_SCOPE)
endfunction()

function(vantorix_device_gtest target)
  cmake_parse_arguments(T "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;PROPERTIES" ${ARGN})
  _vantorix_simcard_launcher(${target} launcher ${T_ENVIRONMENT})
  # Picked up by the new target and by the test discovery.
  set(CMAKE_CROSSCOMPILING_EMULATOR ${launcher})
  vantorix_gtest(${target}
    SOURCES ${T_SOURCES}
    LIBRARIES vantorix_simcard ${T_LIBRARIES}
    LABELS ${T_LABELS}
    PROPERTIES ${T_PROPERTIES})
endfunction()
