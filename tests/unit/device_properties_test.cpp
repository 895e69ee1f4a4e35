// Device properties on the wire: the exact request that each member sends and what it makes of the reply.
#include "device_members.h"
#include "one_port.h"

#include <limits>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;
using protocol::Set;

using DeviceProperties = OnePort;

std::vector<Bytes> once(Bytes record) {
    return {std::move(record)};
}

TEST_F(DeviceProperties, IdentityComesFromTheObjectItself) {
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_portName), L"COM5");
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_path), port().serialPath);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    const auto library = readObject(device5(), &IVirtualSerialDevice::get_vLibrary);
    EXPECT_EQ(device(*library, L"COM5").get(), &device5());
    EXPECT_EQ(machine.calls.count("CreateFileW"), 0);
}

// Every request opens the control path afresh, sends one request and closes.
TEST_F(DeviceProperties, EachRequestOpensAndCloses) {
    read(device5(), &IVirtualSerialDevice::get_mode);
    const auto control = "control file of " + describe(port().instanceId);
    EXPECT_EQ(
        machine.calls.texts(),
        (std::vector<std::string>{
            "CreateFileW(" + describe(*port().controlPath) +
                ", 0x80000000, 3, no attributes, 3, 0x20080, no template)",
            "DeviceIoControl(" + control + ", 0x81f16008, 0, 65536, )", "CloseHandle(" + control + ")"}));
}

TEST_F(DeviceProperties, EachMemberSendsItsRequest) {
    for (const auto& member : kDeviceMembers) {
        SCOPED_TRACE(member.name);
        std::uint64_t out = 0;
        driver().requests.clear();
        EXPECT_RESULT(S_OK, member.call(device5(), &out));
        ASSERT_EQ(driver().requests.size(), 1U);
        const auto& request = driver().requests.front();
        EXPECT_EQ(request.code, member.code);
        EXPECT_EQ(request.access, member.reads ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE);
        EXPECT_EQ(request.room, member.reads ? 0x10000U : 0U);
        EXPECT_EQ(request.nullInput, request.record.empty());
    }
}

TEST_F(DeviceProperties, ErrorsBecomeResultsByTheUsualRule) {
    const std::pair<DWORD, HRESULT> rows[] = {
        {ERROR_FILE_NOT_FOUND, static_cast<HRESULT>(0x80070002)},
        {0x12345, static_cast<HRESULT>(0x80072345)},
        {0xE0000225, static_cast<HRESULT>(0xE0000225)},
        {0, S_OK}, // intended: a failure that leaves no error reports success
    };
    for (const auto& [error, result] : rows) {
        VARIANT_BOOL enabled = 0;
        machine.fail("DeviceIoControl", 1, error);
        EXPECT_RESULT(result, device5().get_enabled(&enabled));
    }
}

TEST_F(DeviceProperties, EnabledTakesAnyTruth) {
    const std::pair<VARIANT_BOOL, std::uint8_t> rows[] = {{-1, 1}, {0, 0}, {1, 1}, {2, 1}};
    for (const auto& [value, byte] : rows) {
        driver().requests.clear();
        EXPECT_RESULT(S_OK, device5().put_enabled(value));
        EXPECT_EQ(driver().records(Set::Enabled), once({byte}));
    }
}

// Intended, unlike enabled: only VARIANT_TRUE itself switches the emulation on.
TEST_F(DeviceProperties, OverflowEmulationTakesOneTruthOnly) {
    const std::pair<VARIANT_BOOL, std::uint8_t> rows[] = {{-1, 1}, {0, 0}, {1, 0}, {2, 0}, {-2, 0}};
    for (const auto& [value, enabled] : rows) {
        driver().requests.clear();
        EXPECT_RESULT(S_OK, device5().put_emulateTxOverflow(value));
        EXPECT_EQ(
            driver().records(Set::ErrorEmulationLong), once({1, 0, 0, 0, enabled, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    }
}

TEST_F(DeviceProperties, ProbabilityIsSentInThousandths) {
    const struct {
        double probability;
        std::uint8_t enabled;
        std::uint16_t value;
    } rows[] = {
        {0.5, 1, 500}, {0.0, 0, 0}, {-0.0, 0, 0}, {0.0015, 1, 1}, {0.0009, 1, 0}, {0.25, 1, 250}, {0.001, 1, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.probability);
        driver().requests.clear();
        EXPECT_RESULT(S_OK, device5().put_crossoverProbability(row.probability));
        const auto low = static_cast<std::uint8_t>(row.value & 0xFF);
        const auto high = static_cast<std::uint8_t>(row.value >> 8);
        EXPECT_EQ(
            driver().records(Set::ErrorEmulation), once({0x11, 0, 0, 0, row.enabled, 0, 0, 0, low, high, 0, 0}));
    }
}

TEST_F(DeviceProperties, ImpossibleProbabilitiesAreRefusedBeforeAnythingIsOpened) {
    const auto nan = std::numeric_limits<double>::quiet_NaN();
    const auto infinity = std::numeric_limits<double>::infinity();
    for (const double probability : {nan, -nan, infinity, -infinity, 0.5000001, 1.0, -0.0001}) {
        SCOPED_TRACE(probability);
        EXPECT_RESULT(E_INVALIDARG, device5().put_crossoverProbability(probability));
    }
    EXPECT_EQ(machine.calls.count("CreateFileW"), 0);
}

} // namespace

} // namespace zorvan::simulation
