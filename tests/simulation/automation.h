// OLE Automation: real, but counted and failable. Strings, variants and arrays that the library makes are followed
// until either side frees them; the type library needs no registration.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <map>
#include <string>
#include <vector>

namespace zorvan::simulation {

class Automation {
public:
    ~Automation();

    // The type library of the DLL under test is loaded by whoever asks for the registered one.
    void serveTypeLibrary(const std::wstring& modulePath);

    // The library has made it, or handed it on.
    void track(BSTR text);
    void track(SAFEARRAY* array);
    void track(const VARIANT& value);

    // It is about to be freed: by the library, or by the test's own guards (client.h).
    void untrack(BSTR text) { strings_.erase(text); }
    void untrack(SAFEARRAY* array) { arrays_.erase(array); }
    void untrack(const VARIANT& value);

    // Strings, arrays and the type library, as far as they are still held. The DLL must be unloaded.
    std::vector<std::string> held() const;

    const std::wstring& typeLibraryFile() const { return typeLibraryFile_; }

private:
    std::map<BSTR, std::wstring> strings_;
    std::map<SAFEARRAY*, DWORD> arrays_;
    std::wstring typeLibraryFile_;
};

} // namespace zorvan::simulation
