# Toolchain for the product's ABI: a 32-bit x86 process, built with the
# host's g++-multilib against the private sysroot made by
# scripts/make-i386-sysroot.sh.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT "-m32 -march=i686 -msse2 -mfpmath=sse")
set(CMAKE_CXX_FLAGS_INIT "-m32 -march=i686 -msse2 -mfpmath=sse")

if(NOT VANTORIX_I386_SYSROOT)
  set(VANTORIX_I386_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-i386")
endif()
get_filename_component(VANTORIX_I386_SYSROOT "${VANTORIX_I386_SYSROOT}" ABSOLUTE)
set(VANTORIX_I386_SYSROOT "${VANTORIX_I386_SYSROOT}" CACHE PATH "Private i386 sysroot")
set(_libdirs "${VANTORIX_I386_SYSROOT}/usr/lib/i386-linux-gnu:${VANTORIX_I386_SYSROOT}/lib/i386-linux-gnu")

set(CMAKE_EXE_LINKER_FLAGS_INIT "-m32 -Wl,-rpath-link,${_libdirs}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-m32 -Wl,-rpath-link,${_libdirs}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-m32")

# Qt and the GLib stack come from the sysroot; everything else from the host.
set(CMAKE_PREFIX_PATH "${VANTORIX_I386_SYSROOT}/usr/lib/i386-linux-gnu/cmake")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} "${VANTORIX_I386_SYSROOT}/usr/lib/i386-linux-gnu/pkgconfig:${VANTORIX_I386_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${VANTORIX_I386_SYSROOT}")

# Test binaries run through a wrapper that points the loader into the sysroot.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_BINARY_DIR}/run-i386")
