// Ports as the system and other programs see them: where their names are, what they are listed by, what is left of
// them.
#include "client.h"

#include "base/unique.h"
#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"
#include "pnp/port_database.h"
#include "pnp/port_name.h"
#include "support/program.h"
#include "support/test_main.h"

#include <array>

namespace zorvan::test {

namespace {

using Traces = std::set<std::string>;
const Traces kAll = {"listed", "opens", "reserved", "PortName", "friendly name"};

// Whether the port database holds the number for somebody.
bool isReserved(unsigned number) {
    std::array<BYTE, 4096> bits{}; // one for each number, beginning with 1
    DWORD size = sizeof bits;
    const auto status = RegGetValueW(
        HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\COM Name Arbiter", L"ComDB", RRF_RT_REG_BINARY,
        nullptr, bits.data(), &size);
    EXPECT_EQ(ERROR_SUCCESS, status) << "the port database cannot be read";
    return (bits[(number - 1) / 8] >> (number - 1) % 8 & 1) != 0;
}

std::wstring propertyOf(HDEVINFO set, SP_DEVINFO_DATA& device, DWORD property) {
    std::array<wchar_t, 256> text{};
    SetupDiGetDeviceRegistryPropertyW(
        set, &device, property, nullptr, reinterpret_cast<BYTE*>(text.data()), sizeof text, nullptr);
    return text.data();
}

// As any program would; empty when the port cannot be opened.
UniqueHandle openPort(const std::wstring& path) {
    return fileHandle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
}

// Where a port is known by its name.
Traces tracesOf(unsigned number) {
    const auto name = L"COM" + std::to_wstring(number);
    Traces traces;
    if (presentPortNames().count(name) != 0)
        traces.insert("listed");
    if (openPort(L"\\\\.\\" + name))
        traces.insert("opens");
    if (isReserved(number))
        traces.insert("reserved");
    const auto set = pnp::presentDevices(pnp::kSerialPortInterface);
    pnp::forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        if (pnp::readPortName(pnp::openHardwareKey(set.get(), device, KEY_READ).get()) == name)
            traces.insert("PortName");
        if (propertyOf(set.get(), device, SPDRP_FRIENDLYNAME).find(L"(" + name + L")") != std::wstring::npos)
            traces.insert("friendly name");
    });
    return traces;
}

HRESULT rename(IVirtualSerialDevice& device, const wchar_t* name) {
    return device.put_portName(Bstr(name).get());
}

using PortsSystemTest = SystemTest;

TEST_F(PortsSystemTest, EverythingFollowsTheName) {
    auto& device = create(L"COM90");
    const auto path = readText(device, &IVirtualSerialDevice::get_path);
    ASSERT_EQ(kAll, tracesOf(90));
    ASSERT_EQ(Traces{}, tracesOf(91));
    {
        const auto port = openPort(path);
        EXPECT_EQ(S_OK, rename(device, L"COM91"));
        DCB settings{};
        EXPECT_NE(0, GetCommState(port.get(), &settings)) << "a port that is open stays usable";
    }
    EXPECT_EQ(L"COM91", portName(device));
    EXPECT_EQ(path, readText(device, &IVirtualSerialDevice::get_path));
    EXPECT_EQ(Traces{}, tracesOf(90));
    EXPECT_EQ(kAll, tracesOf(91));

    auto& second = create(L"COM90"); // which was given back
    EXPECT_EQ(kAll, tracesOf(90));
    EXPECT_EQ(E_FAIL, rename(second, L"COM91")) << "which is in use";
    EXPECT_EQ(S_OK, second.deleteDevice());
    EXPECT_EQ(S_OK, rename(device, L"LPT90")) << "which takes the number, too";
    EXPECT_EQ(S_OK, device.deleteDevice());
    EXPECT_EQ(Traces{}, tracesOf(90));
    EXPECT_EQ(Traces{}, tracesOf(91));
}

TEST_F(PortsSystemTest, OtherPortsKeepTheirNames) {
    create(L"COM90");
    EXPECT_EQ(S_OK, rename(create(L"COM93"), L"COM94"));
    EXPECT_EQ(kAll, tracesOf(90));
}

using Database = Unique<ComDBClose, -1>;

Database openDatabase() {
    Database database;
    EXPECT_EQ(ERROR_SUCCESS, ComDBOpen(database.put()));
    return database;
}

TEST_F(PortsSystemTest, NoneGetsTheNumberOfAnotherThatTheDatabaseHasLost) {
    auto& first = create();
    EXPECT_EQ(S_OK, first.put_enabled(VARIANT_FALSE)) << "its name opens nothing then";
    const auto number = pnp::portNumber(portName(first));
    EXPECT_EQ(ERROR_SUCCESS, ComDBReleasePort(openDatabase().get(), number));
    EXPECT_NE(portName(first), portName(create()));
    EXPECT_TRUE(isReserved(number)) << "and the database has it again";
}

TEST_F(PortsSystemTest, AreListedWithMakerAndPlace) {
    create(L"COM90");
    create(L"COM91");
    std::set<std::wstring> places;
    const auto set = pnp::presentDevices(pnp::kSerialPortInterface);
    pnp::forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        EXPECT_EQ(L"zorvanlib", propertyOf(set.get(), device, SPDRP_MFG));
        places.insert(propertyOf(set.get(), device, SPDRP_LOCATION_INFORMATION));
    });
    EXPECT_EQ(2U, places.size());
}

// A device node that somebody has only begun to make: in createDevice, or another maker.
void leaveNode(std::wstring_view hardwareIds, const wchar_t* name) {
    const pnp::DeviceInformationSet set(SetupDiCreateDeviceInfoList(&pnp::kPortsClass, nullptr));
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    ASSERT_TRUE(SetupDiCreateDeviceInfoW(
        set.get(), L"Ports", &pnp::kPortsClass, nullptr, nullptr, DICD_GENERATE_ID, &device));
    if (!hardwareIds.empty()) {
        EXPECT_TRUE(SetupDiSetDeviceRegistryPropertyW(
            set.get(), &device, SPDRP_HARDWAREID, reinterpret_cast<const BYTE*>(hardwareIds.data()),
            static_cast<DWORD>((hardwareIds.size() + 1) * sizeof(wchar_t))));
    }
    EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set.get(), &device));
    const UniqueRegistryKey key(
        SetupDiCreateDevRegKeyW(set.get(), &device, DICS_FLAG_GLOBAL, 0, DIREG_DEV, nullptr, nullptr));
    if (name != nullptr) {
        EXPECT_EQ(ERROR_SUCCESS, pnp::writePortName(key.get(), name));
    }
}

void removeNode(const wchar_t* instanceId) {
    const pnp::DeviceInformationSet set(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    EXPECT_TRUE(
        SetupDiOpenDeviceInfoW(set.get(), instanceId, nullptr, 0, &device) &&
        SetupDiCallClassInstaller(DIF_REMOVE, set.get(), &device));
}

TEST_F(PortsSystemTest, LeftoversAreRemovedAndNamed) {
    using namespace std::string_view_literals;
    leaveNode(L"QELTRAVIRT\\QeltraZorvan3\0"sv, L"COM90");
    leaveNode(L"", nullptr);
    leaveNode(L"", L"COM92");
    ASSERT_EQ(ERROR_SUCCESS, ComDBClaimPort(openDatabase().get(), 91, TRUE, nullptr));
    const auto doctor = L"\"" + siblingPath(L"..\\portwright.exe") + L"\" doctor";
    EXPECT_EQ(1, runProgram(doctor).exitCode) << "there are leftovers";
    const auto output = runProgram(doctor + L" --release-stale").output;
    EXPECT_NE(std::string::npos, output.find("COM90    removed: device node ROOT\\PORTS\\0000")) << output;
    EXPECT_NE(std::string::npos, output.find("(none)   removed: device node ROOT\\PORTS\\0001")) << output;
    EXPECT_NE(std::string::npos, output.find("COM91    released")) << output;
    EXPECT_EQ(std::string::npos, output.find("COM92")) << "that is another maker's: " << output;
    EXPECT_EQ(0, runProgram(doctor).exitCode) << "nothing is left";
    removeNode(L"ROOT\\PORTS\\0002");
}

} // namespace

} // namespace zorvan::test
