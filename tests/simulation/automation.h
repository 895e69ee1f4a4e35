// OLE Automation: real, but failable; the type library needs no registration.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <string>
#include <vector>

namespace zorvan::simulation {

class Automation {
public:
    Automation() = default;
    Automation(const Automation&) = delete;
    Automation& operator=(const Automation&) = delete;
    ~Automation() { DeleteFileW(typeLibraryFile.c_str()); }

    // The type library of the DLL under test is loaded by whoever asks for the registered one.
    void serveTypeLibrary(const std::wstring& modulePath);

    // The type library, if it is still held. The DLL must be unloaded.
    std::vector<std::string> held() const;

    std::wstring typeLibraryFile;
};

} // namespace zorvan::simulation
