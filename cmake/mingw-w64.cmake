# Toolchain file: 64-bit Windows programs with Debian's mingw-w64.
#
# Use it through the presets:   cmake --preset mingw && cmake --build --preset mingw
# or by hand:                   cmake -G Ninja -S . -B build -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake
#
# The "posix" flavour of the compiler is the one with std::thread. script/bootstrap installs it.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
