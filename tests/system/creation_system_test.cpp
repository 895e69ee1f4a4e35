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

TEST_F(CreationSystemTest, NameDecidesTheNumber) {
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"COM61", L"COM61"}, {L"ABC63x", L"COM63"}, {L"COM250", L"COM250"}};
    for (const auto& [name, expected] : rows)
        EXPECT_EQ(expected, portName(*create(name)));
    for (const auto* name : {L"", L"CO", L"COM0", L"COMX"})
        EXPECT_TRUE(isPortName(portName(*create(name)))) << "any number will do";
}

TEST_F(CreationSystemTest, TakenNumberIsRefused) {
    create(L"COM64");
    const auto before = presentPortNames();
    Device device;
    EXPECT_EQ(kNumberIsTaken, createPort(*library_, L"COM64", device));
    EXPECT_EQ(kNumberIsTaken, createPort(*createLibrary(), L"XYZ064", device)) << "in another library object";
    EXPECT_EQ(before, presentPortNames());
}

} // namespace

} // namespace zorvan::test
