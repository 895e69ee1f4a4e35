// OLE Automation: real, but counted and failable. Strings and arrays that the library makes are followed until they
// are freed; the type library needs no registration.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <vector>

namespace zorvan::simulation {

class Automation {
public:
    Automation();
    Automation(const Automation&) = delete;
    Automation& operator=(const Automation&) = delete;
    ~Automation() { DeleteFileW(typeLibraryFile.c_str()); }

    // The type library of the DLL under test is loaded by whoever asks for the registered one.
    void serveTypeLibrary(const std::wstring& modulePath);

    // Strings, arrays and the type library, as far as they are still held. The DLL must be unloaded.
    std::vector<std::string> held() const;

    std::wstring typeLibraryFile;
};

} // namespace zorvan::simulation
