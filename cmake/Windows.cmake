# What every target of the project is compiled and linked with.

add_library(windows_options INTERFACE)

target_compile_definitions(windows_options INTERFACE
  UNICODE _UNICODE
  WIN32_LEAN_AND_MEAN NOMINMAX
  _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000000)

target_compile_options(windows_options INTERFACE
  $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
  $<$<COMPILE_LANGUAGE:C,CXX>:-fstack-protector-strong>
  # Paths of the machine that built a program stay out of it.
  $<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)

# -static: a program of ours needs nothing but the DLLs of Windows.
target_link_options(windows_options INTERFACE
  -static -Wl,--dynamicbase,--nxcompat,--high-entropy-va)

# Names products as they are: zorvanlib.dll, not libzorvanlib.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")
