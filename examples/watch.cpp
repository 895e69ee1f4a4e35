// Prints what happens to the virtual COM ports, as it happens, until it is stopped or its time is over.
//
//   watch.exe [SECONDS]
//
// Without SECONDS it watches until Ctrl+C. The listener is called on the thread that has seen the change: here mostly
// the library's own, so it must not call createDevice, addListener or removeListener.
#include <windows.h>

#include <zorvanlib.h>

#include <atomic>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace {

void say(const wchar_t* what, IVirtualSerialDevice& device, const wchar_t* detail = L"") {
    BSTR name = nullptr;
    device.get_portName(&name); // a device without a name is shown without one
    SYSTEMTIME now;
    GetLocalTime(&now);
    std::printf(
        "%02d:%02d:%02d.%03d  %ls %ls%ls\n", now.wHour, now.wMinute, now.wSecond, now.wMilliseconds, what,
        name != nullptr ? name : L"", detail);
    std::fflush(stdout);
    SysFreeString(name);
}

const wchar_t* currentMode(IVirtualSerialDevice& device) {
    static const wchar_t* const kModes[] = {L": broken", L": listening", L": pipe", L": bridge", L": handles"};
    VirtualSerialDeviceMode mode{};
    // The port may be gone before its event is delivered.
    if (FAILED(device.get_mode(&mode)) || static_cast<size_t>(mode) >= std::size(kModes))
        return L": gone";
    return kModes[mode];
}

class Listener final : public IVirtualSerialLibraryListener {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override {
        const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IVirtualSerialLibraryListener);
        *object = known ? this : nullptr;
        if (known)
            AddRef();
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() noexcept override {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override { return sayAll(L"added", devices); }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override { return sayAll(L"deleted", devices); }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept override {
        if (mode == Change_PortName)
            say(L"changed name of", *device);
        else
            say(L"changed mode of", *device, currentMode(*device));
        return S_OK;
    }

private:
    ~Listener() = default;

    static HRESULT sayAll(const wchar_t* what, SAFEARRAY* devices) {
        for (ULONG i = 0; i < devices->rgsabound[0].cElements; ++i) {
            ComPtr<IVirtualSerialDevice> device;
            static_cast<IDispatch**>(devices->pvData)[i]->QueryInterface(IID_PPV_ARGS(device.GetAddressOf()));
            say(what, *device.Get());
        }
        return S_OK;
    }

    std::atomic<ULONG> references_{0};
};

HRESULT watch(DWORD milliseconds) {
    ComPtr<IVirtualSerialLibrary> library;
    const HRESULT created = CoCreateInstance(
        __uuidof(VirtualSerialLibrary), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(library.GetAddressOf()));
    if (FAILED(created))
        return created;
    const ComPtr<Listener> listener(new Listener);
    const HRESULT added = library->addListener(listener.Get());
    if (FAILED(added))
        return added;
    std::puts("watching");
    std::fflush(stdout);
    Sleep(milliseconds);
    return library->removeListener(listener.Get());
}

} // namespace

int wmain(int argumentCount, wchar_t** arguments) {
    const DWORD milliseconds = argumentCount > 1 ? std::wcstoul(arguments[1], nullptr, 10) * 1000 : INFINITE;
    HRESULT result = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(result)) {
        result = watch(milliseconds);
        CoUninitialize();
    }
    if (FAILED(result))
        std::printf("FAILED: error 0x%08lX\n", result);
    return FAILED(result) ? 1 : 0;
}
