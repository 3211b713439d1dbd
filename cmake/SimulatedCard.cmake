# Device tests on simulated cards (tests/support/simcard).
#
#   vantorix_device_gtest(<target> SOURCES ... [LIBRARIES ...] [LABELS ...]
#                         [ENVIRONMENT ...] [PROPERTIES ...])
#     A vantorix_gtest() linked with vantorix_simcard whose tests run under the
#     umockdev preload of this build's ABI.
#
#   vantorix_simcard_launcher(<name> <out-var> [NAME=VALUE ...])
#     Writes <name>-launcher.sh into the current binary dir and returns its
#     path: "launcher PROGRAM ARGS..." runs PROGRAM with the test environment,
#     the emulation and the given variables (through run-i386 in the i386
#     build). Usable as a test COMMAND prefix or CROSSCOMPILING_EMULATOR.
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
  find_file(VANTORIX_UMOCKDEV_PRELOAD ${_preload_name}
            PATHS ${VANTORIX_I386_SYSROOT}/usr/lib/i386-linux-gnu
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT VANTORIX_UMOCKDEV_PRELOAD)
    message(FATAL_ERROR "No i386 ${_preload_name} in ${VANTORIX_I386_SYSROOT}: "
                        "run scripts/make-i386-sysroot.sh")
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

# A launcher that also puts the program under the emulation.
function(vantorix_simcard_launcher target out)
  vantorix_test_launcher(${target} path ${VANTORIX_UMOCKDEV_ENVIRONMENT} ${ARGN})
  set(${out} ${path} PARENT_SCOPE)
endfunction()

function(vantorix_device_gtest target)
  cmake_parse_arguments(T "" "" "SOURCES;LIBRARIES;LABELS;ENVIRONMENT;PROPERTIES" ${ARGN})
  vantorix_gtest(${target}
    SOURCES ${T_SOURCES}
    LIBRARIES vantorix_simcard ${T_LIBRARIES}
    LABELS ${T_LABELS}
    ENVIRONMENT ${VANTORIX_UMOCKDEV_ENVIRONMENT} ${T_ENVIRONMENT}
    PROPERTIES ${T_PROPERTIES})
endfunction()
