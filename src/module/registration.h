// What the registration entry points do: the application identity, the class and the type library, written to the
// registry and removed from it.
#pragma once

namespace zorvan::registration {

// All three run one at a time, stop at the first failure and throw it.
void registerServer();
void unregisterServer();

// The command line "user", in any case, switches to registration for the current user only, for the rest of the
// process's life. A registration that fails is undone.
void install(bool install, const wchar_t* commandLine);

} // namespace zorvan::registration
