// Creating the library object for the class factory.
#pragma once

#include <windows.h>

#include <unknwn.h>

namespace zorvan {

// CLASS_E_NOAGGREGATION for an outer object; otherwise the result of the object's first refresh or of its
// QueryInterface for iid.
HRESULT createLibraryObject(IUnknown* outer, REFIID iid, void** object) noexcept;

} // namespace zorvan
