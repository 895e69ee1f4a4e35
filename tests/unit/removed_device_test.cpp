// A device object whose port is gone: which members still answer, and how the others refuse.
#include "device_members.h"
#include "one_port.h"

namespace zorvan::simulation {

namespace {

// Nothing is written into the out-parameter.
void expectFailure(IVirtualSerialDevice& device, const DeviceMember& member, HRESULT expected) {
    constexpr std::uint64_t kUntouched = 0x5A5A5A5A5A5A5A5A;
    std::uint64_t out = kUntouched;
    EXPECT_RESULT(expected, member.call(device, &out)) << member.name;
    EXPECT_EQ(out, kUntouched) << member.name;
}

using RemovedDevice = OnePort;

TEST_F(RemovedDevice, KeepsItsNameButNotItsPath) {
    removePort();
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(machine.calls.texts(), std::vector<std::string>());
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_portName), L"COM5");
    Bstr path;
    EXPECT_RESULT(S_OK, device5().get_path(path.put()));
    EXPECT_EQ(path.get(), nullptr);
    EXPECT_TRUE(library());
}

// Intended: some refuse by themselves before anything is opened, others report that the control path does not open.
TEST_F(RemovedDevice, MembersRefuse) {
    removePort();
    for (const auto& member : kDeviceMembers) {
        machine.calls.clear();
        expectFailure(device5(), member, member.testsAlive ? E_HANDLE : HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
        EXPECT_EQ(machine.calls.names().empty(), member.testsAlive) << member.name;
    }
    EXPECT_RESULT(E_INVALIDARG, device5().put_crossoverProbability(0.6));
}

// Gone, but the library has not looked yet.
TEST_F(RemovedDevice, BeforeTheLibraryNoticesEveryRequestReportsTheOpen) {
    port().present = false;
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    for (const auto& member : kDeviceMembers)
        expectFailure(device5(), member, HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
}

TEST_F(RemovedDevice, PortThatComesBackIsANewDevice) {
    removePort();
    port().present = true;
    refresh(*library());
    const auto after = device(*library(), L"COM5");
    EXPECT_NE(&device5(), after.get());
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_TRUE);
    EXPECT_EQ(read(*after, &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    EXPECT_EQ(read(*after, &IVirtualSerialDevice::get_mode), VSDM_Listening);
}

} // namespace

} // namespace zorvan::simulation
