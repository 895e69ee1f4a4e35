# Header-only libraries of Debian, for programs around the library; zorvanlib.dll itself depends on nothing.
#
# They lie in /usr/include beside the headers of glibc, which the cross compiler must not see. So each gets a folder of
# its own that shows nothing else. script/bootstrap installs the packages.

# header_only_library(NAME ENTRY): a target NAME; ENTRY is the library's header or folder of headers.
function(header_only_library name entry)
  find_path(${name}_ROOT ${entry} PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  set(shown ${PROJECT_BINARY_DIR}/header-only/${name})
  file(MAKE_DIRECTORY ${shown})
  file(CREATE_LINK ${${name}_ROOT}/${entry} ${shown}/${entry} SYMBOLIC)
  add_library(${name} INTERFACE)
  target_include_directories(${name} SYSTEM INTERFACE ${shown})
endfunction()

header_only_library(nlohmann_json nlohmann)
header_only_library(fmt_headers fmt)
header_only_library(cli11 CLI)
header_only_library(asio asio)
target_compile_definitions(asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)

# Header-only by choice: compiled once, the others need no more of it than <fmt/core.h>. Debian's own is for Linux.
add_library(fmt STATIC ${CMAKE_CURRENT_LIST_DIR}/fmt.cpp)
target_compile_options(fmt PRIVATE -Os)
target_link_libraries(fmt PUBLIC fmt_headers)
