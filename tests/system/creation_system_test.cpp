// Creating ports: numbers chosen by the client and by the system, and requests that are refused.
#include "client.h"

#include <algorithm>

namespace zorvan::test {

namespace {

using CreationSystemTest = SystemTest;

bool isPortName(const std::wstring& name) {
    return name.size() > 3 && name.compare(0, 3, L"COM") == 0 && name[3] != L'0' &&
           std::all_of(name.begin() + 3, name.end(), [](wchar_t c) { return c >= L'0' && c <= L'9'; });
}

TEST_F(CreationSystemTest, NewPortIsListeningAndListed) {
    const auto device = create();
    EXPECT_TRUE(isPortName(portName(*device)));
    EXPECT_FALSE(path(*device).empty());
    EXPECT_FALSE(isDeleted(*device));

    VirtualSerialDeviceMode mode = VSDM_Broken;
    EXPECT_EQ(S_OK, device->get_mode(&mode));
    EXPECT_EQ(VSDM_Listening, mode);

    const auto listed = listDevices(*library_);
    EXPECT_EQ(
        1,
        std::count_if(listed.begin(), listed.end(), [&](const Device& other) { return other.get() == device.get(); }))
        << "a listing returns the very object that createDevice returned";
}

TEST_F(CreationSystemTest, DeviceLeadsBackToItsLibrary) {
    const auto device = create();
    Library owner;
    ASSERT_EQ(S_OK, device->get_vLibrary(owner.put()));
    EXPECT_EQ(library_.get(), owner.get());
}

TEST_F(CreationSystemTest, NameDecidesTheNumber) {
    const struct {
        const wchar_t* name;
        const wchar_t* expected; // null: any port name
    } rows[] = {
        {L"COM61", L"COM61"},  {L"ABC62", L"COM62"}, // the first three characters are not looked at
        {L"COM63x", L"COM63"}, {L"COM250", L"COM250"}, {L"", nullptr},     {L"CO", nullptr},
        {L"COM0", nullptr},    {L"COM-5", nullptr},    {L"COMX", nullptr},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "name " << row.name);
        const auto name = portName(*create(row.name));
        if (row.expected != nullptr) {
            EXPECT_EQ(row.expected, name);
        } else {
            EXPECT_TRUE(isPortName(name));
        }
        EXPECT_EQ(1U, presentPortNames().count(name));
    }
}

TEST_F(CreationSystemTest, TakenNumberIsRefused) {
    create(L"COM64");
    const auto before = presentPortNames();
    for (const auto* name : {L"COM64", L"XYZ64", L"COM064"}) {
        Device device;
        EXPECT_EQ(kNumberIsTaken, createPort(*library_, name, device));
        EXPECT_EQ(kNumberIsTaken, createPort(*createLibrary(), name, device)) << "in another library object";
        EXPECT_EQ(nullptr, device.get());
    }
    EXPECT_EQ(before, presentPortNames());
}

TEST_F(CreationSystemTest, NameMustBeText) {
    const auto before = presentPortNames();
    VARIANT argument{};
    for (const VARTYPE type : {VT_I4, VT_UI2, VT_R8, VT_BOOL, VT_NULL, VT_DISPATCH, VT_ERROR}) {
        argument.vt = type; // VT_ERROR with the value 0: not an argument that is left out
        Device device;
        EXPECT_EQ(E_INVALIDARG, library_->createDevice(argument, device.put())) << "type " << type;
    }
    EXPECT_EQ(before, presentPortNames());
}

TEST_F(CreationSystemTest, EmptyVariantAsksForAnyNumber) {
    VARIANT empty{};
    Device device;
    ASSERT_EQ(S_OK, library_->createDevice(empty, device.put()));
    EXPECT_TRUE(isPortName(portName(*device)));
    EXPECT_EQ(S_OK, device->deleteDevice());
}

} // namespace

} // namespace zorvan::test
