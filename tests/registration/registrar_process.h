// Runs the registrar (registrar.cpp).
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace zorvan::test {

// The result of the first call that fails, or of the last one. Throws when the registrar cannot be run.
HRESULT runRegistrar(const std::vector<std::wstring>& arguments);

} // namespace zorvan::test
