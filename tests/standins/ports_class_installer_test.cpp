// The Ports class installer and DiInstallDevice, which calls it.
#include "new_device.h"
#include "newdev_stand_in.h"
#include "scratch_database.h"

#include <gtest/gtest.h>

#include <numeric>

namespace zorvan::test {

namespace {

using Numbers = ScratchDatabase::Numbers;

const std::wstring kDescription = L"zorvanlib virtual serial port";

bool install(NewDevice& device, BOOL* needReboot = nullptr) {
    constexpr DWORD kShowSearchUi = 1;
    SetLastError(ERROR_SUCCESS);
    return DiInstallDevice(nullptr, device.set(), device.element(), nullptr, kShowSearchUi, needReboot);
}

} // namespace

TEST(PortsClassInstaller, GivesNewPortsNumbersAndTakesThemBack) {
    const ScratchDatabase database;
    NewDevice first;
    NewDevice second;
    BOOL needReboot = TRUE;
    ASSERT_TRUE(install(first, &needReboot)) << GetLastError();
    ASSERT_TRUE(install(second)) << GetLastError();
    EXPECT_FALSE(needReboot);
    const Numbers numbers = database.used();
    ASSERT_EQ(numbers.size(), 2U);
    EXPECT_EQ(first.portName(), L"COM" + std::to_wstring(numbers[0]));
    EXPECT_EQ(second.portName(), L"COM" + std::to_wstring(numbers[1]));
    EXPECT_EQ(first.friendlyName(), kDescription + L" (" + first.portName() + L")");
    ASSERT_TRUE(first.remove()) << GetLastError();
    EXPECT_FALSE(first.exists());
    EXPECT_EQ(database.used(), Numbers{numbers[1]});
}

// A port keeps the name that it has beforehand. The number that is taken back is that of the name at its end.
TEST(PortsClassInstaller, GoesByTheNameThatAPortHas) {
    const ScratchDatabase database({77, 78});
    NewDevice device;
    device.setPortName(L"COM77");
    ASSERT_TRUE(install(device)) << GetLastError();
    EXPECT_EQ(device.portName(), L"COM77");
    EXPECT_EQ(device.friendlyName(), kDescription + L" (COM77)");
    device.setPortName(L"COM78");
    ASSERT_TRUE(device.remove()) << GetLastError();
    EXPECT_EQ(database.used(), Numbers{77});
    NewDevice unnumbered;
    unnumbered.setPortName(L"LPT77");
    EXPECT_TRUE(unnumbered.remove()) << GetLastError();
    EXPECT_EQ(database.used(), Numbers{77});
}

// Without a driver selected, the default action fails.
TEST(PortsClassInstaller, GivesBackWhatAFailedInstallationClaimed) {
    const ScratchDatabase database({77});
    for (const wchar_t* name : {L"", L"COM77"}) {
        NewDevice device;
        device.setPortName(name);
        EXPECT_FALSE(SetupDiCallClassInstaller(DIF_INSTALLDEVICE, device.set(), device.element()));
        EXPECT_EQ(GetLastError(), ERROR_NO_DRIVER_SELECTED);
        EXPECT_EQ(device.portName(), name);
        EXPECT_EQ(database.used(), Numbers{77});
    }
}

TEST(DiInstallDevice, FailsWithoutADriverOrANumber) {
    NewDevice unknown(L"ZORVANTEST\\Unknown");
    NewDevice known;
    const ScratchDatabase empty;
    EXPECT_FALSE(install(unknown));
    EXPECT_EQ(GetLastError(), ERROR_NO_COMPAT_DRIVERS);
    EXPECT_TRUE(empty.used().empty());
    Numbers all(COMDB_MIN_PORTS_ARBITRATED);
    std::iota(all.begin(), all.end(), 1);
    const ScratchDatabase full(all);
    EXPECT_FALSE(install(known));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_LOG_SPACE));
    EXPECT_EQ(known.portName(), L"");
}

} // namespace zorvan::test
