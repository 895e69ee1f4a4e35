// Device properties on the wire: the exact request that each member sends and what it makes of the reply.
#include "simulation/simulation_test.h"

#include <functional>
#include <limits>

namespace zorvan::simulation {

namespace {

using protocol::Bytes;
using protocol::Query;
using protocol::Set;

constexpr DWORD kRead = GENERIC_READ;
constexpr DWORD kReadWrite = GENERIC_READ | GENERIC_WRITE;

class DeviceProperties : public SimulationTest {
protected:
    void SetUp() override {
        port_ = &machine.addPort(L"COM5");
        device_ = device(*createLibrary(), L"COM5");
        machine.calls.clear();
        driver().requests.clear();
    }

    void TearDown() override {
        device_ = {};
        SimulationTest::TearDown();
    }

    DeviceNode& node() { return *port_; }
    Driver& driver() { return port_->driver; }
    IVirtualSerialDevice& device5() { return *device_; }

private:
    DeviceNode* port_ = nullptr;
    ComPointer<IVirtualSerialDevice> device_;
};

std::vector<Bytes> once(Bytes record) {
    return {std::move(record)};
}

TEST_F(DeviceProperties, IdentityComesFromTheObjectItself) {
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_portName), L"COM5");
    EXPECT_EQ(readText(device5(), &IVirtualSerialDevice::get_path), node().serialPath);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_deleted), VARIANT_FALSE);
    const auto library = readObject(device5(), &IVirtualSerialDevice::get_vLibrary);
    EXPECT_EQ(device(*library, L"COM5").get(), &device5());
    EXPECT_EQ(machine.calls.count("CreateFileW"), 0);
}

TEST_F(DeviceProperties, TextThatCannotBeAllocatedIsReported) {
    Bstr text;
    machine.fail("SysAllocStringLen", CallLog::kEvery, 0);
    EXPECT_RESULT(E_OUTOFMEMORY, device5().get_portName(text.put()));
    EXPECT_RESULT(E_OUTOFMEMORY, device5().get_path(text.put()));
}

// Every request opens the control path afresh, sends one request and closes.
TEST_F(DeviceProperties, EachRequestOpensAndCloses) {
    read(device5(), &IVirtualSerialDevice::get_mode);
    const auto control = "control file of " + describe(node().instanceId);
    EXPECT_EQ(
        machine.calls.texts(),
        (std::vector<std::string>{
            "CreateFileW(" + describe(*node().controlPath) +
                ", 0x80000000, 3, no attributes, 3, 0x20080, no template)",
            "DeviceIoControl(" + control + ", 0x81f16008, 0, 65536, )", "CloseHandle(" + control + ")"}));
}

TEST_F(DeviceProperties, QueriesReadAndSetsMayWrite) {
    const struct {
        const char* member;
        std::function<HRESULT(IVirtualSerialDevice&)> call;
        std::uint32_t code;
        DWORD access;
    } rows[] = {
        {"mode",
         [](auto& d) {
             VirtualSerialDeviceMode v;
             return d.get_mode(&v);
         },
         0x81F16008, kRead},
        {"enabled",
         [](auto& d) {
             VARIANT_BOOL v;
             return d.get_enabled(&v);
         },
         0x81F16044, kRead},
        {"put enabled", [](auto& d) { return d.put_enabled(VARIANT_TRUE); }, 0x81F1A048, kReadWrite},
        {"connections",
         [](auto& d) {
             MIDL_uhyper v;
             return d.get_connections(&v);
         },
         0x81F16038, kRead},
        {"bytesSent",
         [](auto& d) {
             MIDL_uhyper v;
             return d.get_bytesSent(&v);
         },
         0x81F16038, kRead},
        {"bytesReceived",
         [](auto& d) {
             MIDL_uhyper v;
             return d.get_bytesReceived(&v);
         },
         0x81F16038, kRead},
        {"emulateTxOverflow",
         [](auto& d) {
             VARIANT_BOOL v;
             return d.get_emulateTxOverflow(&v);
         },
         0x81F16080, kRead},
        {"put emulateTxOverflow", [](auto& d) { return d.put_emulateTxOverflow(0); }, 0x81F1A064, kReadWrite},
        {"crossoverProbability",
         [](auto& d) {
             double v;
             return d.get_crossoverProbability(&v);
         },
         0x81F16060, kRead},
        {"put crossoverProbability", [](auto& d) { return d.put_crossoverProbability(0); }, 0x81F1A05C, kReadWrite},
        {"disconnectDevice", [](auto& d) { return d.disconnectDevice(); }, 0x81F1A014, kReadWrite},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.member);
        driver().requests.clear();
        EXPECT_RESULT(S_OK, row.call(device5()));
        ASSERT_EQ(driver().requests.size(), 1U);
        const auto& request = driver().requests.front();
        EXPECT_EQ(request.code, row.code);
        EXPECT_EQ(request.access, row.access);
        EXPECT_EQ(request.room, row.access == kRead ? 0x10000U : 0U);
        EXPECT_EQ(request.nullInput, request.record.empty());

        // The same for each of them: the driver's errors, and those of the open, are passed on.
        machine.fail("DeviceIoControl", 1, ERROR_GEN_FAILURE);
        EXPECT_RESULT(HRESULT_FROM_WIN32(ERROR_GEN_FAILURE), row.call(device5()));
        machine.fail("CreateFileW", 1, ERROR_ACCESS_DENIED);
        EXPECT_RESULT(E_ACCESSDENIED, row.call(device5()));
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

TEST_F(DeviceProperties, ProbabilityIsReadFromTheValueAlone) {
    driver().answer(Query::ErrorEmulation, {0, 0, 0, 0, 0xF4, 1, 0, 0}); // not enabled, 500
    EXPECT_DOUBLE_EQ(read(device5(), &IVirtualSerialDevice::get_crossoverProbability), 0.5);
}

TEST_F(DeviceProperties, OverflowEmulationIsReadFromTheEnabledField) {
    driver().answer(Query::ErrorEmulationLong, {1, 0, 0, 0, 0, 0, 0, 2, 9, 9, 9, 9, 9, 9, 9, 9});
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_emulateTxOverflow), VARIANT_TRUE);
    driver().answer(Query::ErrorEmulationLong, {1, 0, 0, 0, 0, 0, 0, 0, 9, 9, 9, 9, 9, 9, 9, 9});
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_emulateTxOverflow), VARIANT_FALSE);
}

TEST_F(DeviceProperties, EnabledIsReadFromTheFirstByte) {
    driver().answer(Query::Enabled, {2, 0});
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_enabled), VARIANT_TRUE);
    driver().answer(Query::Enabled, {0, 1});
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_enabled), VARIANT_FALSE);
}

TEST_F(DeviceProperties, ModeIsWhateverTheDriverSays) {
    for (const auto mode : Bytes{0, 1, 2, 3, 4, 77}) {
        driver().answer(Query::Mode, {mode, 0, 0, 0});
        EXPECT_EQ(static_cast<int>(read(device5(), &IVirtualSerialDevice::get_mode)), mode);
    }
}

// A reply need not be whole: beyond its end everything is zero, and an empty one says that there is nothing.
TEST_F(DeviceProperties, ShortRepliesReadAsZeros) {
    const Bytes full{1, 0, 0, 0, 0, 0, 0, 0x80, 2, 0, 0, 0, 0, 0, 0, 0x70, 3, 0, 0, 0, 0, 0, 0, 0x60};
    const struct {
        std::size_t size;
        std::uint64_t connections, sent, received;
    } rows[] = {
        {24, 0x8000000000000001, 0x7000000000000002, 0x6000000000000003},
        {23, 0x8000000000000001, 0x7000000000000002, 3},
        {16, 0x8000000000000001, 0x7000000000000002, 0},
        {9, 0x8000000000000001, 2, 0},
        {1, 1, 0, 0},
        {0, 0, 0, 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        driver().answer(Query::Traffic, Bytes(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(row.size)));
        EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_connections), row.connections);
        EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_bytesSent), row.sent);
        EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_bytesReceived), row.received);
    }
    for (const auto query : {Query::Mode, Query::Enabled, Query::ErrorEmulation, Query::ErrorEmulationLong})
        driver().answer(query, {});
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_mode), VSDM_Broken);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_enabled), VARIANT_FALSE);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_crossoverProbability), 0.0);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_emulateTxOverflow), VARIANT_FALSE);
    driver().answer(Query::Mode, {3});
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_mode), VSDM_Bridge);
}

TEST_F(DeviceProperties, LongRepliesAreReadFromTheirStart) {
    Bytes reply(0x10000, 0xFF);
    std::fill_n(reply.begin(), 8, std::uint8_t{0});
    driver().answer(Query::Traffic, reply);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_connections), 0U);
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_bytesSent), ~std::uint64_t{0});
}

TEST_F(DeviceProperties, NothingIsCached) {
    driver().state.traffic = {1, 2, 3};
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_connections), 1U);
    driver().state.traffic = {4, 5, 6};
    EXPECT_EQ(read(device5(), &IVirtualSerialDevice::get_connections), 4U);
}

} // namespace

} // namespace zorvan::simulation
