// What other processes do to the ports. Each call returns when the process has ended; one that fails ends the test
// case.
#pragma once

#include <string>

namespace zorvan::test {

void createElsewhere(const std::wstring& name);
void renameElsewhere(const std::wstring& name, const std::wstring& newName);
void deleteElsewhere(const std::wstring& name);

void bridgeElsewhere(const std::wstring& name, const std::wstring& partner);
void disconnectElsewhere(const std::wstring& name);

} // namespace zorvan::test
