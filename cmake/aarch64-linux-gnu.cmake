# Cross build for the device's instruction set: clang for aarch64-linux-gnu, Debian's arm64 libc++
# linked statically with lld, and the programs run under qemu-aarch64 (Debian's qemu-user).
#
# The arm64 C library, GCC's start files (libgcc-12-dev:arm64) and the Android log library
# (android-liblog-dev:arm64) are multiarch packages installed next to the host's by
# scripts/setup.sh; the C++ runtime is unpacked into CUSTPOLICY_AARCH64_SYSROOT by
# scripts/aarch64-sysroot.sh. The C library and the Android log library stay shared: Debian ships
# the log library only as a shared object. qemu-aarch64 finds the arm64 loader and both libraries
# in their multiarch folders of the host.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
# llvm-nm reads every target; the export check runs it on the arm64 library.
set(CMAKE_NM llvm-nm CACHE FILEPATH "")
set(CMAKE_AR llvm-ar CACHE FILEPATH "")
set(CMAKE_RANLIB llvm-ranlib CACHE FILEPATH "")

# The project's build folder holds the unpacked runtime unless the cache names another place.
# Try-compile projects read this file again, and CMake's compiler checks do so without the cache
# or CMAKE_TRYCOMPILE_PLATFORM_VARIABLES, so the choice travels to them through the environment.
if(CUSTPOLICY_AARCH64_SYSROOT)
  set(ENV{CUSTPOLICY_AARCH64_SYSROOT} "${CUSTPOLICY_AARCH64_SYSROOT}")
elseif(DEFINED ENV{CUSTPOLICY_AARCH64_SYSROOT})
  set(CUSTPOLICY_AARCH64_SYSROOT "$ENV{CUSTPOLICY_AARCH64_SYSROOT}")
else()
  get_filename_component(CUSTPOLICY_AARCH64_SYSROOT
                         "${CMAKE_CURRENT_LIST_DIR}/../build/aarch64-sysroot" ABSOLUTE)
endif()
set(libcxx_root "${CUSTPOLICY_AARCH64_SYSROOT}/usr/lib/llvm-14")
if(NOT EXISTS "${libcxx_root}/lib/libc++.a")
  message(FATAL_ERROR "No arm64 libc++ in ${CUSTPOLICY_AARCH64_SYSROOT}: "
                      "run scripts/aarch64-sysroot.sh ${CUSTPOLICY_AARCH64_SYSROOT}")
endif()

# The arm64 libc++ headers instead of the host's, and its static archives instead of -lstdc++.
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${libcxx_root}/include/c++/v1")
# Link lines repeat the compile flags, where -nostdinc++ has nothing to do; say so once.
set(link_flags "-fuse-ld=lld -nostdlib++ -Wno-unused-command-line-argument")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${link_flags}")
set(CMAKE_CXX_STANDARD_LIBRARIES
    "${libcxx_root}/lib/libc++.a ${libcxx_root}/lib/libc++abi.a ${libcxx_root}/lib/libunwind.a"
    CACHE STRING "" FORCE)

# The Android log library is looked up in the multiarch folder of this architecture.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
