// Renaming as the system and other programs see it.
#include "listener.h"
#include "system_view.h"

#include "base/unique.h"

namespace zorvan::test {

namespace {

// Where a port is known by its name.
struct Traces {
    bool dosName;
    bool portName;
    bool friendlyName;
    bool serialPortMap;
    bool reserved;
    bool opens;
    bool listed;

    bool operator==(const Traces&) const = default;
};

constexpr Traces kAll{true, true, true, true, true, true, true};
constexpr Traces kNone{};

std::ostream& operator<<(std::ostream& out, const Traces& traces) {
    return out << "DOS name " << traces.dosName << ", PortName " << traces.portName << ", friendly name "
               << traces.friendlyName << ", SERIALCOMM " << traces.serialPortMap << ", reserved " << traces.reserved
               << ", opens " << traces.opens << ", listed " << traces.listed;
}

bool isInAFriendlyName(const std::wstring& name) {
    for (const auto& [portName, friendlyName] : presentSerialPorts())
        if (friendlyName.find(L"(" + name + L")") != std::wstring::npos)
            return true;
    return false;
}

Traces tracesOf(unsigned number) {
    const auto name = L"COM" + std::to_wstring(number);
    return {
        isDosName(name),
        presentSerialPorts().count(name) != 0,
        isInAFriendlyName(name),
        serialPortMap().count(name) != 0,
        isReserved(number),
        static_cast<bool>(UniqueHandle(openPort(L"\\\\.\\" + name))),
        presentPortNames().count(name) != 0};
}

using RenameSystemTest = SystemTest;

TEST_F(RenameSystemTest, EverythingFollowsTheName) {
    const auto device = create(L"COM90");
    const auto pathBefore = path(*device);
    ASSERT_EQ(kAll, tracesOf(90));
    ASSERT_EQ(kNone, tracesOf(91));

    EXPECT_EQ(S_OK, rename(*device, L"COM91"));
    EXPECT_EQ(L"COM91", portName(*device));
    EXPECT_EQ(pathBefore, path(*device));
    EXPECT_EQ(kNone, tracesOf(90));
    EXPECT_EQ(kAll, tracesOf(91));

    // The number that was given back can be had again, by a new port and by a renamed one.
    Device second;
    ASSERT_EQ(S_OK, createPort(*library_, L"COM90", second));
    EXPECT_EQ(kAll, tracesOf(90));
    EXPECT_EQ(S_OK, second->deleteDevice());
    EXPECT_EQ(S_OK, rename(*device, L"COM90"));
    EXPECT_EQ(kAll, tracesOf(90));
    EXPECT_EQ(kNone, tracesOf(91));
}

TEST_F(RenameSystemTest, DeletionTakesTheNewNameAway) {
    const auto device = create(L"COM90");
    ASSERT_EQ(S_OK, rename(*device, L"COM91"));
    EXPECT_EQ(S_OK, device->deleteDevice());
    EXPECT_EQ(kNone, tracesOf(90));
    EXPECT_EQ(kNone, tracesOf(91));
}

TEST_F(RenameSystemTest, UsedNumberIsRefused) {
    const auto device = create(L"COM90");
    create(L"COM91");
    for (const auto* name : {L"COM91", L"COM90"}) {
        EXPECT_EQ(E_FAIL, rename(*device, name));
        EXPECT_EQ(L"COM90", portName(*device));
        EXPECT_EQ(kAll, tracesOf(90));
        EXPECT_EQ(kAll, tracesOf(91));
    }
}

TEST_F(RenameSystemTest, OpenPortStaysUsable) {
    const auto device = create(L"COM90");
    const UniqueHandle port(openPort(path(*device)));
    ASSERT_TRUE(port) << "error " << GetLastError();
    EXPECT_EQ(S_OK, rename(*device, L"COM91"));
    DCB settings{};
    settings.DCBlength = sizeof settings;
    EXPECT_NE(0, GetCommState(port.get(), &settings)) << "error " << GetLastError();
}

} // namespace

} // namespace zorvan::test
