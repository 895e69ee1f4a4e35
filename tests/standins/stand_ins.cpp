#include "stand_ins.h"

#include <stdexcept>
#include <string>

namespace zorvan::test {

namespace {

HMODULE load(const wchar_t* name) {
    const HMODULE module = LoadLibraryW(name);
    if (!module)
        throw std::runtime_error("cannot load msports.dll: error " + std::to_string(GetLastError()));
    return module;
}

template <class Function>
Function function(HMODULE module, const char* name) {
    const FARPROC address = GetProcAddress(module, name);
    if (!address)
        throw std::runtime_error(std::string("no function ") + name);
    return reinterpret_cast<Function>(reinterpret_cast<void*>(address));
}

} // namespace

StandIns::StandIns()
    : msports_(load(L"msports.dll")), open(function<decltype(open)>(msports_, "ComDBOpen")),
      close(function<decltype(close)>(msports_, "ComDBClose")),
      getCurrentPortUsage(function<decltype(getCurrentPortUsage)>(msports_, "ComDBGetCurrentPortUsage")),
      claimNextFreePort(function<decltype(claimNextFreePort)>(msports_, "ComDBClaimNextFreePort")),
      claimPort(function<decltype(claimPort)>(msports_, "ComDBClaimPort")),
      releasePort(function<decltype(releasePort)>(msports_, "ComDBReleasePort")),
      resizeDatabase(function<decltype(resizeDatabase)>(msports_, "ComDBResizeDatabase")),
      installDevice(function<decltype(installDevice)>(GetModuleHandleW(L"newdev.dll"), "DiInstallDevice")) {}

} // namespace zorvan::test
