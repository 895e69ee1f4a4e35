// Properties: what one client sets, others see; and opening the port itself.
#include "client.h"
#include "programs.h"

#include "base/unique.h"

namespace zorvan::test {

namespace {

using PropertiesSystemTest = SystemTest;

// The same port, seen by a library object that comes later.
Device seenAnew(const std::wstring& name) {
    for (const auto& device : listDevices(*createLibrary())) {
        if (portName(*device) == name)
            return device;
    }
    throw std::runtime_error("the port is not listed");
}

TEST_F(PropertiesSystemTest, AnotherLibraryObjectSeesWhatIsSet) {
    const auto device = create(L"COM65");
    const auto other = seenAnew(L"COM65");
    EXPECT_EQ(path(*device), path(*other));

    for (const VARIANT_BOOL value : {VARIANT_FALSE, VARIANT_TRUE}) {
        VARIANT_BOOL read = ~value;
        EXPECT_EQ(S_OK, device->put_enabled(value));
        EXPECT_EQ(S_OK, other->get_enabled(&read));
        EXPECT_EQ(value, read);
        EXPECT_EQ(S_OK, device->put_emulateTxOverflow(value));
        EXPECT_EQ(S_OK, other->get_emulateTxOverflow(&read));
        EXPECT_EQ(value, read);
    }
}

TEST_F(PropertiesSystemTest, AnotherProcessSeesWhatIsSet) {
    const auto device = create(L"COM66");
    ASSERT_EQ(S_OK, device->put_enabled(VARIANT_FALSE));
    ASSERT_EQ(S_OK, device->put_emulateTxOverflow(VARIANT_TRUE));
    ASSERT_EQ(S_OK, device->put_crossoverProbability(0.375));
    const auto result = runScript(L"read_properties.vbs", L"COM66");
    EXPECT_EQ("COM66 mode=1 enabled=0 emulateTxOverflow=-1 crossoverProbability=375\n", result.output);
}

TEST_F(PropertiesSystemTest, PortOpensByPathAndByName) {
    const auto device = create(L"COM67");
    for (const auto& name : {path(*device), std::wstring(L"\\\\.\\COM67")}) {
        SCOPED_TRACE(testing::Message() << "opened as " << name.c_str());
        const UniqueHandle port(openPort(name));
        ASSERT_TRUE(port) << "error " << GetLastError();
        DCB settings{};
        settings.DCBlength = sizeof settings;
        EXPECT_NE(0, GetCommState(port.get(), &settings)) << "error " << GetLastError();
    }
}

} // namespace

} // namespace zorvan::test
