# What every target of the project is compiled and linked with.

add_library(windows_options INTERFACE)

target_compile_definitions(windows_options INTERFACE
  UNICODE _UNICODE
  WIN32_LEAN_AND_MEAN NOMINMAX
  _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000000)

target_compile_options(windows_options INTERFACE
  $<$<COMPILE_LANGUAGE:C,CXX>:-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat=2 -Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual -Wold-style-cast>
  $<$<COMPILE_LANGUAGE:C,CXX>:-fstack-protector-strong>
  $<$<COMPILE_LANGUAGE:C,CXX>:-ffunction-sections;-fdata-sections>)

# Paths of the machine that built a program stay out of it.
add_compile_options($<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)

# -static: a program of ours needs nothing but the DLLs of Windows. Without time stamps the same source gives the same
# bytes.
target_link_options(windows_options INTERFACE
  -static -fstack-protector-strong -Wl,--gc-sections,--dynamicbase,--nxcompat,--high-entropy-va,--no-insert-timestamp)

# Names products as they are: zorvanlib.dll, not libzorvanlib.dll.
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")

# Import library: link to newdev_imports for DiInstallDevice.
set(newdev_library ${PROJECT_BINARY_DIR}/lib/libnewdev_imports.a)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
add_custom_command(
  OUTPUT ${newdev_library}
  # The symbols in it are made of the name that it is given here.
  COMMAND ${CMAKE_DLLTOOL} -d ${CMAKE_CURRENT_LIST_DIR}/newdev.def -l libnewdev_imports.a
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/lib
  DEPENDS ${CMAKE_CURRENT_LIST_DIR}/newdev.def
  VERBATIM)
add_custom_target(newdev_import_library DEPENDS ${newdev_library})
add_library(newdev_imports INTERFACE)
target_link_libraries(newdev_imports INTERFACE ${newdev_library})
add_dependencies(newdev_imports newdev_import_library)
