// The classes that clients can create.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <span>

namespace zorvan {

struct ClassEntry {
    const CLSID* clsid;
    HRESULT (*create)(IUnknown* outer, REFIID iid, void** object) noexcept;
    UINT registryScript; // resource of type REGISTRY that registers the class
};

std::span<const ClassEntry> classTable();

} // namespace zorvan
