// The state that the C++ runtime keeps for each thread while it handles exceptions.
#pragma once

namespace zorvan {

// False when the system had no place for the state: the library must then not be loaded.
bool exceptionsCanBeHandled();

} // namespace zorvan
