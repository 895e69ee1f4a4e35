// The port database, and the installation of a device that fails: it keeps no number.
#include "msports.h"
#include "newdev_stand_in.h"

#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"

#include <gtest/gtest.h>

#include <bit>
#include <thread>

namespace zorvan::test {
namespace {

constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\COM Name Arbiter";
constexpr wchar_t kValue[] = L"ComDB";

using Bits = std::vector<BYTE>;

// As Windows keeps them, in the registry.
Bits readBits() {
    Bits bits(COMDB_MAX_PORTS_ARBITRATED / 8);
    auto size = static_cast<DWORD>(bits.size());
    const auto status =
        RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_BINARY, nullptr, bits.data(), &size);
    bits.resize(status == ERROR_SUCCESS ? size : 0);
    return bits;
}

void writeBits(const Bits& bits) {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, kValue); // there may be none
    if (bits.empty())
        return;
    const auto size = static_cast<DWORD>(bits.size());
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, kValue, REG_BINARY, bits.data(), size), ERROR_SUCCESS);
}

// With all numbers in use, until a test says otherwise. The prefix has its own back at the end.
class PortNumbers : public testing::Test {
protected:
    PortNumbers() {
        writeBits(Bits(COMDB_MIN_PORTS_ARBITRATED / 8, 0xFF));
        EXPECT_EQ(ComDBOpen(&database_), ERROR_SUCCESS);
    }
    ~PortNumbers() override {
        ComDBClose(database_);
        writeBits(saved_);
    }

    // 0: there is none.
    DWORD next() const {
        DWORD number = 0;
        return ComDBClaimNextFreePort(database_, &number) == ERROR_SUCCESS ? number : 0;
    }

    const Bits saved_ = readBits();
    HCOMDB database_ = HCOMDB_INVALID_HANDLE_VALUE;
};

TEST_F(PortNumbers, AreGivenOutOnce) {
    EXPECT_EQ(next(), 0U);
    for (const DWORD number : {7U, 8U, 9U, 256U})
        EXPECT_EQ(ComDBReleasePort(database_, number), ERROR_SUCCESS);
    EXPECT_TRUE(DefineDosDeviceW(0, L"COM8", L"C:\\"));
    EXPECT_EQ(next(), 7U);
    EXPECT_EQ(next(), 9U) << "8 is not claimed, but opens something";
    EXPECT_TRUE(DefineDosDeviceW(DDD_REMOVE_DEFINITION, L"COM8", nullptr));

    BOOL forced = TRUE;
    EXPECT_EQ(ComDBClaimPort(database_, 8, FALSE, &forced), ERROR_SUCCESS);
    EXPECT_FALSE(forced);
    EXPECT_EQ(ComDBClaimPort(database_, 8, FALSE, &forced), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(ComDBClaimPort(database_, 8, TRUE, &forced), ERROR_SUCCESS);
    EXPECT_TRUE(forced);
    EXPECT_EQ(next(), 256U);
    EXPECT_EQ(ComDBClaimPort(database_, 1025, FALSE, nullptr), ERROR_SUCCESS) << "enlarges it by whole steps";
    EXPECT_EQ(readBits().size(), 2048U / 8);
    EXPECT_EQ(next(), 257U);
    for (const DWORD number : {0U, 4097U})
        EXPECT_EQ(ComDBClaimPort(database_, number, FALSE, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ComDBReleasePort(database_, 2049), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ComDBClose(database_), ERROR_SUCCESS);
    EXPECT_EQ(ComDBReleasePort(database_, 7), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ComDBClose(database_), ERROR_INVALID_PARAMETER);
}

TEST_F(PortNumbers, AreDifferentForAllWhoClaimAtOnce) {
    writeBits(Bits(COMDB_MIN_PORTS_ARBITRATED / 8));
    const auto claim = [&] {
        for (int i = 0; i < 80; ++i)
            EXPECT_NE(next(), 0U);
    };
    {
        const std::jthread other(claim);
        claim();
    }
    int claimed = 0;
    for (const auto byte : readBits())
        claimed += std::popcount(byte);
    EXPECT_EQ(claimed, 160);
}

TEST_F(PortNumbers, StayWithNoDeviceWhoseInstallationFails) {
    const pnp::DeviceInformationSet owner(SetupDiCreateDeviceInfoList(&pnp::kPortsClass, nullptr));
    auto* const set = owner.get();
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    constexpr wchar_t kHardwareIds[] = L"QELTRAVIRT\\QeltraZorvan3\0";
    const auto* const ids = reinterpret_cast<const BYTE*>(kHardwareIds);
    ASSERT_TRUE(
        SetupDiCreateDeviceInfoW(set, L"Ports", &pnp::kPortsClass, nullptr, nullptr, DICD_GENERATE_ID, &device) &&
        SetupDiSetDeviceRegistryPropertyW(set, &device, SPDRP_HARDWAREID, ids, sizeof kHardwareIds) &&
        SetupDiCallClassInstaller(DIF_REGISTERDEVICE, set, &device));
    ComDBReleasePort(database_, 7);
    const auto before = readBits();
    EXPECT_FALSE(SetupDiCallClassInstaller(DIF_INSTALLDEVICE, set, &device));
    EXPECT_EQ(GetLastError(), ERROR_NO_DRIVER_SELECTED);
    EXPECT_EQ(readBits(), before);
    EXPECT_EQ(next(), 7U);
    EXPECT_FALSE(DiInstallDevice(nullptr, set, &device, nullptr, 0, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_LOG_SPACE)) << "there is no number left";
    EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REMOVE, set, &device));
}

} // namespace
} // namespace zorvan::test
