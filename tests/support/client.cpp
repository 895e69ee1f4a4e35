#include "client.h"

namespace zorvan::test {

Variant Variant::omitted() {
    Variant value;
    value.vt = VT_ERROR;
    value.scode = DISP_E_PARAMNOTFOUND;
    return value;
}

std::string describe(const std::wstring& text) {
    std::string ascii;
    for (const wchar_t unit : text)
        ascii += unit < 0x80 ? static_cast<char>(unit) : '?';
    return ascii;
}

HRESULT dispatchId(IDispatch& object, const wchar_t* name, DISPID& id) {
    std::wstring copy = name;
    auto* names = copy.data();
    return object.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id);
}

HRESULT
dispatch(IDispatch& object, const wchar_t* name, WORD flags, std::vector<Variant> arguments, VARIANT* result) {
    DISPID id = DISPID_UNKNOWN;
    const HRESULT found = dispatchId(object, name, id);
    if (FAILED(found))
        return found;
    // The last argument comes first.
    std::vector<VARIANTARG> reversed(arguments.rbegin(), arguments.rend());
    DISPID putName = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    if ((flags & DISPATCH_PROPERTYPUT) != 0) {
        parameters.rgdispidNamedArgs = &putName;
        parameters.cNamedArgs = 1;
    }
    return object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters, result, nullptr, nullptr);
}

HRESULT get(IDispatch& object, const wchar_t* name, VARIANT* result) {
    return dispatch(object, name, DISPATCH_PROPERTYGET, {}, result);
}

HRESULT put(IDispatch& object, const wchar_t* name, Variant value) {
    std::vector<Variant> arguments;
    arguments.push_back(std::move(value));
    return dispatch(object, name, DISPATCH_PROPERTYPUT, std::move(arguments), nullptr);
}

std::vector<ComPointer<IVirtualSerialDevice>> devicesOf(IVirtualSerialLibrary& library) {
    const auto collection = readObject(library, &IVirtualSerialLibrary::get_devicesCollection);
    std::vector<ComPointer<IVirtualSerialDevice>> devices;
    const LONG count = read(*collection, &IDeviceCollection::get_Count);
    for (LONG i = 0; i < count; ++i)
        require(collection->get_Item(Variant(i), devices.emplace_back().put()), "Item");
    return devices;
}

ComPointer<IVirtualSerialLibrary> createRegisteredLibrary() {
    ComPointer<IVirtualSerialLibrary> library;
    require(
        CoCreateInstance(__uuidof(VirtualSerialLibrary), nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(library.put())),
        "creating the library object (is zorvanlib.dll registered?)");
    return library;
}

OwnPort::OwnPort(IVirtualSerialLibrary& library, const wchar_t* name) {
    require(library.createDevice(name ? Variant(name) : Variant::omitted(), device_.put()), "creating a port");
}

OwnPort::~OwnPort() {
    if (!removed_)
        device_->deleteDevice(); // on the way out of a failure, which has been reported already
}

void OwnPort::remove() {
    require(device_->deleteDevice(), "deleting a port");
    removed_ = true;
}

} // namespace zorvan::test
