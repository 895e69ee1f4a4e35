#include "client.h"

#include "base/unique.h"

#include <memory>
#include <stdexcept>

namespace zorvan::test {

namespace {

struct BstrDeleter {
    void operator()(OLECHAR* text) const { SysFreeString(text); }
};
using Bstr = std::unique_ptr<OLECHAR, BstrDeleter>;

// An unexpected failure ends the test case: GoogleTest reports the exception.
void check(HRESULT result, const char* what) {
    if (FAILED(result))
        throw std::runtime_error(std::string(what) + " failed with " + std::to_string(result));
}

std::wstring text(IVirtualSerialDevice& device, HRESULT (IVirtualSerialDevice::*property)(BSTR*)) {
    BSTR value = nullptr;
    check((device.*property)(&value), "a text property");
    const Bstr owner(value);
    return {value, SysStringLen(value)};
}

ComPointer<IDeviceCollection> collection(IVirtualSerialLibrary& library) {
    ComPointer<IDeviceCollection> devices;
    check(library.get_devicesCollection(devices.put()), "devicesCollection");
    return devices;
}

void deleteByName(const std::wstring& name) {
    for (const auto& device : listDevices(*createLibrary())) {
        if (portName(*device) == name) {
            EXPECT_HRESULT_SUCCEEDED(device->deleteDevice());
        }
    }
}

} // namespace

Library createLibrary() {
    CLSID classId{};
    check(CLSIDFromProgID(L"zorvanlib.VirtualSerialLibrary", &classId), "CLSIDFromProgID");
    Library library;
    check(
        CoCreateInstance(
            classId, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IVirtualSerialLibrary),
            reinterpret_cast<void**>(library.put())),
        "CoCreateInstance");
    return library;
}

HRESULT createPort(IVirtualSerialLibrary& library, const std::optional<std::wstring>& name, Device& device) {
    VARIANT argument{};
    Bstr text;
    if (name) {
        text.reset(SysAllocString(name->c_str()));
        argument.vt = VT_BSTR;
        argument.bstrVal = text.get();
    } else {
        argument.vt = VT_ERROR;
        argument.scode = DISP_E_PARAMNOTFOUND;
    }
    return library.createDevice(argument, device.put());
}

std::wstring portName(IVirtualSerialDevice& device) {
    return text(device, &IVirtualSerialDevice::get_portName);
}

std::wstring path(IVirtualSerialDevice& device) {
    return text(device, &IVirtualSerialDevice::get_path);
}

bool isDeleted(IVirtualSerialDevice& device) {
    VARIANT_BOOL deleted = VARIANT_FALSE;
    check(device.get_deleted(&deleted), "deleted");
    return deleted != VARIANT_FALSE;
}

std::vector<Device> listDevices(IVirtualSerialLibrary& library) {
    const auto devices = collection(library);
    long count = 0;
    check(devices->get_Count(&count), "Count");
    std::vector<Device> result;
    for (long i = 0; i < count; ++i) {
        VARIANT index{};
        index.vt = VT_I4;
        index.lVal = i;
        Device device;
        check(devices->get_Item(index, device.put()), "Item");
        result.push_back(device);
    }
    return result;
}

std::set<std::wstring> listPortNames(IVirtualSerialLibrary& library) {
    std::set<std::wstring> names;
    for (const auto& device : listDevices(library))
        names.insert(portName(*device));
    return names;
}

std::set<std::wstring> presentPortNames() {
    return listPortNames(*createLibrary());
}

HANDLE openPort(const std::wstring& path) {
    const HANDLE port = CreateFileW(
        path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    return port == INVALID_HANDLE_VALUE ? nullptr : port;
}

void SystemTest::SetUp() {
    library_ = createLibrary();
    portsBefore_ = listPortNames(*library_);
}

void SystemTest::TearDown() {
    deletePorts();
    for (const auto& name : presentPortNames()) {
        if (portsBefore_.count(name) != 0)
            continue;
        ADD_FAILURE() << "left behind: " << std::string(name.begin(), name.end());
        deleteByName(name);
    }
}

Device SystemTest::create(const std::optional<std::wstring>& name) {
    Device device;
    check(createPort(*library_, name, device), "createDevice");
    created_.push_back(device);
    return device;
}

void SystemTest::deletePorts() {
    const auto present = presentPortNames();
    for (const auto& device : created_) {
        if (present.count(portName(*device)) != 0) {
            EXPECT_HRESULT_SUCCEEDED(device->deleteDevice());
        }
    }
    created_.clear();
}

} // namespace zorvan::test
