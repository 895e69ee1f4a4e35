# Writes a C source that refers to every function that a DLL imports: -DOBJDUMP=... -DDLL=... -DSOURCE=...

execute_process(COMMAND ${OBJDUMP} -p ${DLL} OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)
# An entry of the import table: address, hint, name.
string(REGEX MATCHALL "\n\t[0-9a-f]+\t +[0-9]+  [A-Za-z_0-9]+" entries "${headers}")
set(declarations "")
set(references "")
foreach(entry IN LISTS entries)
  string(REGEX REPLACE ".* " "" name "${entry}")
  string(APPEND declarations "extern const void* __imp_${name};\n")
  string(APPEND references "  &__imp_${name},\n")
endforeach()
file(WRITE ${SOURCE}
  "${declarations}\n__declspec(dllexport) const void* const* const imports[] = {\n${references}};\n"
  "int entry(void) { return 1; }\n")
