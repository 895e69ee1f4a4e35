# Generates the type library and the client header from the interface definition.
#
# Wine's widl is used because mingw-w64's lacks the system's IDL files; libwine-dev and wine64-tools bring both.

find_program(WIDL widl PATHS /usr/lib/wine NO_DEFAULT_PATH REQUIRED)
find_file(STDOLE2 stdole2.tlb PATHS /usr/lib/x86_64-linux-gnu/wine/x86_64-windows
  NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
cmake_path(GET STDOLE2 PARENT_PATH STDOLE2_DIRECTORY)

set(TYPE_LIBRARY_IDL ${PROJECT_SOURCE_DIR}/src/api/zorvanlib.idl)
set(TYPE_LIBRARY_INCLUDE ${PROJECT_BINARY_DIR}/include)
set(TYPE_LIBRARY_HEADER ${TYPE_LIBRARY_INCLUDE}/zorvanlib.h)
set(TYPE_LIBRARY_IDENTIFIERS ${TYPE_LIBRARY_INCLUDE}/zorvanlib_i.c)
set(TYPE_LIBRARY_TLB ${PROJECT_BINARY_DIR}/typelib/zorvanlib.tlb)
# widl notes the time in the type library and the name of its source in the header: both are the same every time.
set(WIDL_COMMAND ${CMAKE_COMMAND} -E env WIDL_TIME_OVERRIDE=0
  ${WIDL} -m64 -I/usr/include/wine/wine/windows -L${STDOLE2_DIRECTORY})
file(MAKE_DIRECTORY ${TYPE_LIBRARY_INCLUDE} ${PROJECT_BINARY_DIR}/typelib)

# The IDL goes beside the header: it carries the documentation that the generated header lacks.
add_custom_command(
  OUTPUT
    ${TYPE_LIBRARY_HEADER} ${TYPE_LIBRARY_IDENTIFIERS} ${TYPE_LIBRARY_TLB} ${TYPE_LIBRARY_INCLUDE}/zorvanlib.idl
  COMMAND ${WIDL_COMMAND} -h -o ${TYPE_LIBRARY_HEADER} zorvanlib.idl
  COMMAND ${WIDL_COMMAND} -u -o ${TYPE_LIBRARY_IDENTIFIERS} zorvanlib.idl
  COMMAND ${WIDL_COMMAND} -t -o ${TYPE_LIBRARY_TLB} zorvanlib.idl
  COMMAND ${CMAKE_COMMAND} -E copy_if_different ${TYPE_LIBRARY_IDL} ${TYPE_LIBRARY_INCLUDE}/zorvanlib.idl
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}/src/api
  DEPENDS ${TYPE_LIBRARY_IDL}
  VERBATIM)
add_custom_target(type_library DEPENDS ${TYPE_LIBRARY_HEADER} ${TYPE_LIBRARY_TLB})

# For whatever includes <zorvanlib.h>: the header and the identifiers. SYSTEM: warnings in generated code are not ours
# to mend.
add_library(zorvanlib_client STATIC ${TYPE_LIBRARY_IDENTIFIERS})
add_library(zorvanlib::client ALIAS zorvanlib_client)
set_target_properties(zorvanlib_client PROPERTIES EXPORT_NAME client)
target_include_directories(zorvanlib_client SYSTEM INTERFACE $<BUILD_INTERFACE:${TYPE_LIBRARY_INCLUDE}>)
add_dependencies(zorvanlib_client type_library)
