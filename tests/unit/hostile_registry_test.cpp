// `PortName` values and names of devices in every shape that a registry can hold them in: what each is read as, by
// those who list, open, create and rename.
#include "simulation/simulation_test.h"

namespace zorvan::simulation {

namespace {

constexpr DWORD kHighest = 0x7FFFFFFF; // what a number that is too large is read as

RegistryValue raw(DWORD type, std::vector<std::uint8_t> bytes) {
    return {type, std::move(bytes)};
}

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
    {textValue(L"com7"), 7, L"com7"},
    {textValue(L"XYZ7"), 7, L"XYZ7"},
    {textValue(L"COM007"), 7, L"COM007"},
    {textValue(L"COM7 and more"), 7, L"COM7 and more"},
    {textValue(L"COM 7"), 7, L"COM 7"},
    {textValue(L"COM+7"), 7, L"COM+7"},
    {textValue(std::wstring(L"COM7\0COM8", 9)), 7, L"COM7"},
    {textValue(std::wstring(L"COM7\0", 5)), 7, L"COM7"},
    {textValue(L"COM2147483647"), kHighest, L"COM2147483647"},
    {textValue(L"COM4294967295"), kHighest, L"COM4294967295"},
    {textValue(L"COM4294967303"), kHighest, L"COM4294967303"}, // 7 more than 32 bits hold
    {textValue(L"COM99999999999999999999"), kHighest, L"COM99999999999999999999"},
    {textValue(L"COM" + std::wstring(255, L'0') + L"7"), 7, L"COM" + std::wstring(255, L'0') + L"7"}, // all that fits
    // Names without a positive number
    {textValue(L""), 0, L""},
    {textValue(L"CO"), 0, L"CO"},
    {textValue(L"COM"), 0, L"COM"},
    {textValue(L"COM0"), 0, L"COM0"},
    {textValue(L"COM-7"), 0, L"COM-7"},
    {textValue(L"COMx"), 0, L"COMx"},
    {textValue(L"7777"), 7, L"7777"},
    {textValue(L" COM7"), 0, L" COM7"},
    {textValue(L"COM\xD800"), 0, L"COM\xD800"},
    {textValue(std::wstring(L"\0COM7", 5)), 0, L""},
    {textValue(std::wstring(
         L"COM\0"
         L"7",
         5)),
     0, L"COM"},
    // Values that are no proper strings. A device's name is whatever text they begin with. Intended.
    {raw(REG_SZ, {}), 0, L""},
    {raw(REG_EXPAND_SZ, {}), 0, L""},
    {cut(L"COM7", 2), 0, L"COM7"},
    {cut(L"COM7", 2, REG_EXPAND_SZ), 0, L"COM7"},
    {cut(L"COM7", 1), 0, L"COM7"},
    {cut(L"COM7", 3), 0, L"COM7"},
    {raw(REG_SZ, {'C'}), 0, L"C"},
    {raw(REG_SZ, {0}), 0, L""},
    {cut(std::wstring(260, L'7'), 2), 0, std::wstring(260, L'7')}, // fills the 520 bytes
    {textValue(L"COM7", REG_BINARY), 0, L"COM7"},
    {textValue(L"COM7", REG_MULTI_SZ), 0, L"COM7"},
    {textValue(L"COM7", REG_LINK), 0, L"COM7"},
    {textValue(L"COM7", REG_NONE), 0, L"COM7"},
    {textValue(L"COM7", 0xFFFFFFFF), 0, L"COM7"},
    {raw(REG_DWORD, {7, 0, 0, 0}), 0, L"\x7"},
    {raw(REG_QWORD, {'C', 0, 'O', 0, 'M', 0, '7', 0}), 0, L"COM7"},
    // Values that do not fit
    {textValue(L"COM" + std::wstring(257, L'7')), 0, L""},
    {raw(REG_BINARY, std::vector<std::uint8_t>(65536, 'C')), 0, L""},
};

std::string rowOf(const Shape& shape) {
    return "row " + std::to_string(&shape - kShapes) + ", " + describe(shape.name);
}

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
};

TEST_F(HostileRegistry, PortNamesOfOtherPortsAreNumbersInUseOrNone) {
    constexpr HRESULT kNumberTaken = static_cast<HRESULT>(0x800702BA);
    auto& port = machine.addPort(L"COM5");
    auto& other = machine.addSerialPort(L"");
    const auto library = createLibrary();
    const auto device = onlyDevice(*library);
    for (const auto& shape : kShapes) {
        SCOPED_TRACE(rowOf(shape));
        other.key.values[L"PortName"] = shape.value;
        const auto nodes = machine.plugAndPlay.nodes().size();
        const bool listed = shape.used != 0;
        const auto name = L"COM" + std::to_wstring(shape.used);
        ComPointer<IVirtualSerialDevice> created;
        EXPECT_RESULT(listed ? kNumberTaken : E_FAIL, library->createDevice(Variant(name.c_str()), created.put()));
        EXPECT_RESULT(E_FAIL, rename(*device, name));
        EXPECT_EQ(machine.plugAndPlay.nodes().size(), nodes);
        // A number that is free, and a text without one
        EXPECT_RESULT(listed ? S_OK : E_FAIL, library->createDevice(Variant(L"CO"), created.put()));
        if (created) {
            EXPECT_RESULT(S_OK, std::exchange(created, {})->deleteDevice());
        }
        EXPECT_RESULT(listed ? S_OK : E_FAIL, library->createDevice(Variant(L"COM9"), created.put()));
        if (created) {
            EXPECT_RESULT(S_OK, created->deleteDevice());
        }
        EXPECT_RESULT(listed ? S_OK : E_FAIL, rename(*device, L"COM8"));
        EXPECT_EQ(port.portName(), listed ? L"COM8" : L"COM5");
        if (listed) {
            EXPECT_RESULT(S_OK, rename(*device, L"COM5"));
        }
        // Nobody looks when the system chooses.
        EXPECT_RESULT(S_OK, library->createDevice(Variant(), created.put()));
        EXPECT_RESULT(S_OK, created->deleteDevice());
    }
    other.key.values.clear();
    ComPointer<IVirtualSerialDevice> none;
    EXPECT_RESULT(E_FAIL, library->createDevice(Variant(L"COM9"), none.put()));
    EXPECT_RESULT(E_FAIL, rename(*device, L"COM8"));
}

TEST_F(HostileRegistry, PortNameOfADeviceIsTheTextThatItsValueBeginsWith) {
    auto& port = machine.addPort(L"");
    for (const auto& shape : kShapes) {
        SCOPED_TRACE(rowOf(shape));
        port.key.values[L"PortName"] = shape.value;
        const auto library = createLibrary();
        const auto device = onlyDevice(*library);
        EXPECT_EQ(readText(*device, &IVirtualSerialDevice::get_portName), shape.name);
        EXPECT_EQ(read(*device, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);

        // It can be renamed if its own value does not stop the listing; the value is then a proper one.
        EXPECT_RESULT(shape.used != 0 ? S_OK : E_FAIL, rename(*device, L"COM8"));
        const auto& left = shape.used != 0 ? textValue(L"COM8") : shape.value;
        EXPECT_EQ(port.key.values[L"PortName"].bytes, left.bytes);
    }
}

// Asked for by a client, a name is any text.
TEST_F(HostileRegistry, NamesThatAClientAsksForAreTakenAsTheyAre) {
    const auto library = createLibrary();
    for (const auto& shape : kShapes) {
        if (shape.value.type != REG_SZ || shape.value.bytes != textValue(shape.name).bytes)
            continue;
        SCOPED_TRACE(rowOf(shape));
        machine.portDatabase.claimed = {1, 2};
        const auto number = shape.used != 0 ? shape.used : 3; // the first that is free
        const auto created = createDevice(*library, shape.name.c_str());
        const auto& port = machine.plugAndPlay.latest();
        EXPECT_EQ(port.portName(), L"COM" + std::to_wstring(number));
        EXPECT_EQ(machine.portDatabase.claimed, (std::set<DWORD>{1, 2, number}));
        EXPECT_RESULT(S_OK, rename(*created, L"COM5"));
        EXPECT_RESULT(S_OK, rename(*created, shape.name));
        EXPECT_EQ(port.key.values.at(L"PortName").bytes, shape.value.bytes);
        EXPECT_EQ(machine.portDatabase.claimed, (std::set<DWORD>{1, 2, shape.used}));
        EXPECT_RESULT(S_OK, created->deleteDevice());
    }
}

TEST_F(HostileRegistry, FriendlyNameMayBeOfAnyLength) {
    auto& port = machine.addPort(L"COM5");
    const auto library = createLibrary();
    const auto device = onlyDevice(*library);
    const std::wstring old = L"COM5";
    for (const std::size_t length : {0, 1, 3, 4, 5, 8, 255, 256, 259, 260, 261, 511, 4095, 32767})
        for (const auto times : {0U, 1U, 2U, 64U}) {
            SCOPED_TRACE(std::to_string(length) + ", " + std::to_string(times));
            if (times * old.size() > length)
                continue;
            std::wstring before;
            for (unsigned i = 0; i < times; ++i)
                before += old;
            before.resize(length, L'x');
            auto after = before;
            const auto changes = times != 0 && length <= 260; // as many as 520 bytes hold
            for (unsigned i = 0; changes && i < times; ++i)
                after[4 * i + 3] = L'6';
            port.friendlyName = before;
            EXPECT_RESULT(S_OK, rename(*device, L"COM6"));
            EXPECT_EQ(port.friendlyName, after);
            EXPECT_EQ(port.portName(), L"COM6");
            EXPECT_RESULT(S_OK, rename(*device, L"COM5"));
        }
}

TEST_F(HostileRegistry, InstanceIdMayBeAsLongAsTheSystemAllows) {
    std::set<std::wstring> expected;
    for (const int length : {1, 100, 198, 199}) {
        auto& node = machine.plugAndPlay.addNode(std::wstring(static_cast<std::size_t>(length), L'A'));
        serve(node, machine);
        node.setPortName(*expected.insert(L"COM" + std::to_wstring(length)).first);
    }
    EXPECT_EQ(portNames(*createLibrary()), expected);
}

} // namespace

} // namespace zorvan::simulation
