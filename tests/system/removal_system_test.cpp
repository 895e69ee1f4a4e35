// Deleting ports: what clients see that hold them, and what becomes of the number.
#include "client.h"

#include "base/unique.h"

namespace zorvan::test {

namespace {

using RemovalSystemTest = SystemTest;

TEST_F(RemovalSystemTest, DeletedPortIsGoneForOthers) {
    const auto device = create(L"COM68");
    ASSERT_EQ(1U, presentPortNames().count(L"COM68"));
    const auto portPath = path(*device);
    EXPECT_EQ(S_OK, device->deleteDevice());
    EXPECT_EQ(0U, presentPortNames().count(L"COM68"));
    EXPECT_FALSE(UniqueHandle(openPort(portPath)));
    EXPECT_FALSE(UniqueHandle(openPort(L"\\\\.\\COM68")));
}

// A library notices that a port has gone when it looks at the system, for instance while it creates another one.
TEST_F(RemovalSystemTest, DeviceObjectOutlivesItsPort) {
    const auto device = create(L"COM69");
    EXPECT_EQ(S_OK, device->deleteDevice());
    EXPECT_FALSE(isDeleted(*device)) << "deleteDevice itself leaves the object as it is";

    create();
    EXPECT_TRUE(isDeleted(*device));
    EXPECT_EQ(L"", path(*device));
    EXPECT_EQ(L"COM69", portName(*device));
    EXPECT_EQ(0U, listPortNames(*library_).count(L"COM69"));

    double probability = 0;
    EXPECT_EQ(E_HANDLE, device->put_enabled(VARIANT_TRUE));
    EXPECT_EQ(E_HANDLE, device->deleteDevice());
    // Goes straight to the driver, which is not there: intended.
    EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND), device->get_crossoverProbability(&probability));
}

TEST_F(RemovalSystemTest, PortIsDeletedWhileAProgramHasItOpen) {
    const auto device = create(L"COM71");
    const UniqueHandle port(openPort(path(*device)));
    ASSERT_TRUE(port) << "error " << GetLastError();

    EXPECT_HRESULT_SUCCEEDED(device->deleteDevice());
    EXPECT_EQ(0U, presentPortNames().count(L"COM71"));
    DCB settings{};
    settings.DCBlength = sizeof settings;
    EXPECT_EQ(0, GetCommState(port.get(), &settings)) << "the open handle is of no more use";
}

TEST_F(RemovalSystemTest, NumberIsFreeAgain) {
    const auto first = portName(*create());
    deletePorts();
    EXPECT_EQ(first, portName(*create())) << "the number that was given back is the first free one";

    create(L"COM72");
    deletePorts();
    EXPECT_EQ(L"COM72", portName(*create(L"COM72")));
}

} // namespace

} // namespace zorvan::test
