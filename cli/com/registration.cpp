#include "com/registration.h"

#include "com/text.h"

#include <zorvanlib.h>

#include <objbase.h>

namespace portwright {

std::optional<std::string> registeredLibrary() {
    wchar_t identifier[40]{};
    StringFromGUID2(__uuidof(VirtualSerialLibrary), identifier, 40);
    const auto key = L"CLSID\\" + std::wstring(identifier) + L"\\InprocServer32";
    std::wstring path(MAX_PATH, L'\0');
    DWORD size = 0;
    LONG result = ERROR_MORE_DATA;
    while (result == ERROR_MORE_DATA) {
        path.resize(path.size() * 2);
        size = static_cast<DWORD>(path.size() * sizeof(wchar_t));
        result = RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path.data(), &size);
    }
    if (result != ERROR_SUCCESS)
        return std::nullopt;
    return utf8(path.c_str());
}

} // namespace portwright
