// The functions of setupapi that are stood in for: what they refuse.
#include "device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

TEST(DeviceByPath, IsNotOpenedByAWrongOne) {
    const DeviceNode device(0);
    const auto& path = device.controlPath();
    const auto other = [&](const wchar_t* part) {
        auto text = path;
        return text.replace(text.find(part), 2, L"ff");
    };
    const struct {
        std::wstring path;
        DWORD flags;
        DWORD error;
    } rows[] = {
        {path, DIODI_NO_ADD, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {path, 0x2, ERROR_INVALID_FLAGS},
        {path + L"\\reference", 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {other(L"ports#"), 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {other(L"24e7f5cf"), 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {path.substr(path.find(L'{')), 0, ERROR_INVALID_PARAMETER},
        {L"", 0, ERROR_INVALID_PARAMETER},
    };
    const pnp::DeviceInformationSet set(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    for (const auto& row : rows) {
        EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(set.get(), row.path.c_str(), row.flags, nullptr));
        EXPECT_EQ(GetLastError(), row.error) << testing::PrintToString(row.path);
    }
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof element;
    EXPECT_FALSE(SetupDiEnumDeviceInfo(set.get(), 0, &element)) << "the set stays as it was";
    std::wstring upperCase = path;
    CharUpperW(upperCase.data());
    EXPECT_TRUE(SetupDiOpenDeviceInterfaceW(set.get(), upperCase.c_str(), 0, nullptr));
}

} // namespace
} // namespace zorvan::test
