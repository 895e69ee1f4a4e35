// `PortName` values and names of devices in every shape that a registry can hold them in: what each is read as, by
// those who list, open, create and rename.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

constexpr DWORD kHighest = 0x7FFFFFFF; // what a number that is too large is read as

// The text without its last bytes: without a terminator, or with half of one.
RegistryValue cut(const std::wstring& text, std::size_t missing, DWORD type = REG_SZ) {
    auto value = textValue(text, type);
    value.bytes.resize(value.bytes.size() - missing);
    return value;
}

// A value as those see it who look for the numbers that are in use, and as it is read for a device's name.
struct Shape {
    RegistryValue value;
    DWORD used; // 0: the listing fails
    std::wstring name;
};

const Shape kShapes[] = {
    {textValue(L"COM7"), 7, L"COM7"},
    {textValue(L"COM7", REG_EXPAND_SZ), 7, L"COM7"},
    {textValue(L"XYZ007"), 7, L"XYZ007"},
    {textValue(std::wstring(L"COM7\0COM8", 9)), 7, L"COM7"},
    {textValue(L"COM4294967303"), kHighest, L"COM4294967303"}, // 7 more than 32 bits hold
    {textValue(L"COM" + std::wstring(255, L'0') + L"7"), 7, L"COM" + std::wstring(255, L'0') + L"7"}, // all that fits
    // Names without a positive number
    {textValue(L"COM"), 0, L"COM"},
    {textValue(L"COM0"), 0, L"COM0"},
    {textValue(L"COM-7"), 0, L"COM-7"},
    {textValue(std::wstring(L"\0COM7", 5)), 0, L""},
    // Values that are no proper strings. A device's name is whatever text they begin with. Intended.
    {{REG_SZ, {}}, 0, L""},
    {cut(L"COM7", 2), 0, L"COM7"},
    {cut(L"COM7", 1), 0, L"COM7"},
    {cut(std::wstring(260, L'7'), 2), 0, std::wstring(260, L'7')}, // fills the 520 bytes
    {textValue(L"COM7", REG_MULTI_SZ), 0, L"COM7"},
    {{REG_DWORD, {7, 0, 0, 0}}, 0, L"\x7"},
    // Values that do not fit
    {textValue(L"COM" + std::wstring(257, L'7')), 0, L""},
};

class HostileRegistry : public SimulationTest {
protected:
    static HRESULT rename(IVirtualSerialDevice& device, const std::wstring& name) {
        return device.put_portName(Bstr(name).get());
    }

    static ComPointer<IVirtualSerialDevice> onlyDevice(IVirtualSerialLibrary& library) {
        ComPointer<IVirtualSerialDevice> device;
        require(collection(library)->get_Item(Variant(0L), device.put()), "Item");
        return device;
    }

    static HRESULT createAndDelete(IVirtualSerialLibrary& library, const std::wstring& name) {
        ComPointer<IVirtualSerialDevice> device;
        const HRESULT result = library.createDevice(Variant(name.c_str()), device.put());
        return SUCCEEDED(result) ? device->deleteDevice() : result;
    }
};

// Its name is the text that its value begins with. Who asks for a number or a name is told that this one is taken,
// or that the machine cannot be listed; nobody looks when the system chooses.
TEST_F(HostileRegistry, PortNameMayBeAnyValue) {
    auto& port = machine.addPort(L"");
    for (const auto& shape : kShapes) {
        SCOPED_TRACE("row " + std::to_string(&shape - kShapes) + ", " + describe(shape.name));
        port.key.values[L"PortName"] = shape.value;
        const auto library = createLibrary();
        const auto device = onlyDevice(*library);
        EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), shape.name);
        EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);

        const bool listed = shape.used != 0;
        const auto taken = L"COM" + std::to_wstring(shape.used);
        EXPECT_RESULT(listed ? kNumberTaken : E_FAIL, createAndDelete(*library, taken));
        EXPECT_RESULT(listed ? S_OK : E_FAIL, createAndDelete(*library, L"COM9"));
        EXPECT_RESULT(listed ? S_OK : E_FAIL, createAndDelete(*library, L"CO")); // without a number
        EXPECT_RESULT(S_OK, createAndDelete(*library, L""));
        EXPECT_RESULT(E_FAIL, rename(*device, taken));
        EXPECT_RESULT(listed ? S_OK : E_FAIL, rename(*device, L"COM8"));
        EXPECT_EQ(port.key.values[L"PortName"].bytes, (listed ? textValue(L"COM8") : shape.value).bytes);
    }
    port.key.values.clear();
    const auto library = createLibrary();
    EXPECT_RESULT(E_FAIL, createAndDelete(*library, L"COM9"));
    Bstr name;
    EXPECT_RESULT(S_OK, onlyDevice(*library)->get_portName(name.put()));
    EXPECT_EQ(name.get(), nullptr);
}

TEST_F(HostileRegistry, InstanceIdMayBeAsLongAsTheSystemAllows) {
    std::set<std::wstring> expected;
    for (const std::size_t length : {1, 100, 198, 199}) {
        auto& node = machine.plugAndPlay.addNode(std::wstring(length, L'A'));
        serve(node, machine);
        node.setPortName(*expected.insert(L"COM" + std::to_wstring(length)).first);
    }
    EXPECT_EQ(portNames(*createLibrary()), expected);
}

} // namespace

} // namespace zorvan::simulation
