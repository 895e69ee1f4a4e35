// What docs/reference.md and the type library say, in one form, so that they can be compared.
#pragma once

#include <set>
#include <string>

namespace zorvan::test {

// "IPin | sendTo(IPin* pPin) | 100 | method | ", "ChangeMode | Change_PortMode | 0".
using Facts = std::set<std::string>;

Facts factsOfReference();
Facts factsOfTypeLibrary(const std::wstring& path);

} // namespace zorvan::test
