// The functions of setupapi that are stood in for: a program knows a device by the path of its interface.
#include "driver/device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {

namespace {

DWORD count(HDEVINFO set) {
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof element;
    DWORD index = 0;
    while (SetupDiEnumDeviceInfo(set, index, &element))
        ++index;
    return index;
}

SP_DEVICE_INTERFACE_DATA emptyInterface() {
    SP_DEVICE_INTERFACE_DATA data{};
    data.cbSize = sizeof data;
    return data;
}

std::wstring replaced(std::wstring text, const std::wstring& part, const std::wstring& other) {
    return text.replace(text.find(part), part.size(), other);
}

} // namespace

class DeviceByPath : public testing::Test {
protected:
    bool open(const std::wstring& path, DWORD flags, SP_DEVICE_INTERFACE_DATA* opened) {
        SetLastError(ERROR_SUCCESS);
        return SetupDiOpenDeviceInterfaceW(set_.get(), path.c_str(), flags, opened);
    }

    DeviceNode device_{0};
    DeviceNode otherDevice_{1};
    const std::wstring path_ = device_.controlPath();
    UniqueDeviceSet set_{SetupDiCreateDeviceInfoList(nullptr, nullptr)};
    SP_DEVICE_INTERFACE_DATA interface_ = emptyInterface();
};

TEST_F(DeviceByPath, IsOpenedWithJustThatInterfaceAndRemoved) {
    ASSERT_TRUE(open(path_, 0, &interface_)) << GetLastError();
    EXPECT_EQ(interface_.InterfaceClassGuid, kControlInterface);
    std::wstring upperCase = path_;
    CharUpperW(upperCase.data());
    EXPECT_TRUE(open(upperCase, DIODI_NO_ADD, &interface_)) << "again";
    SP_DEVICE_INTERFACE_DATA next = emptyInterface();
    EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set_.get(), nullptr, &kControlInterface, 1, &next));
    EXPECT_EQ(count(set_.get()), 1U);

    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof element;
    ASSERT_TRUE(SetupDiEnumDeviceInfo(set_.get(), 0, &element));
    SP_REMOVEDEVICE_PARAMS params{};
    params.ClassInstallHeader = {sizeof params.ClassInstallHeader, DIF_REMOVE};
    params.Scope = DI_REMOVEDEVICE_GLOBAL;
    ASSERT_TRUE(SetupDiSetClassInstallParamsW(set_.get(), &element, &params.ClassInstallHeader, sizeof params));
    EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REMOVE, set_.get(), &element)) << GetLastError();
    EXPECT_TRUE(SetupDiDeleteDeviceInterfaceData(set_.get(), &interface_));
    EXPECT_TRUE(interfacePaths(kControlInterface, device_.instanceId()).empty());
    EXPECT_FALSE(interfacePaths(kControlInterface, otherDevice_.instanceId()).empty());
    set_.reset(SetupDiCreateDeviceInfoList(nullptr, nullptr));
    EXPECT_FALSE(open(path_, 0, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVICE_INTERFACE);
}

TEST_F(DeviceByPath, IsNotOpenedAndTheSetStaysAsItWas) {
    const struct {
        std::wstring path;
        DWORD flags;
        DWORD error;
    } rows[] = {
        {path_, DIODI_NO_ADD, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {path_, 0x2, ERROR_INVALID_FLAGS},
        {path_ + L"\\reference", 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {replaced(path_, L"#ports#", L"#nowhere#"), 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {replaced(path_, L"{24e7f5cf", L"{24e7f5c0"), 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {path_.substr(path_.find(L'{')), 0, ERROR_INVALID_PARAMETER},
        {L"", 0, ERROR_INVALID_PARAMETER},
    };
    for (const auto& row : rows) {
        EXPECT_FALSE(open(row.path, row.flags, &interface_));
        EXPECT_EQ(GetLastError(), row.error) << testing::PrintToString(row.path);
        EXPECT_EQ(count(set_.get()), 0U) << testing::PrintToString(row.path);
    }
    EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(INVALID_HANDLE_VALUE, path_.c_str(), 0, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    // A caller's structure of the wrong size is reported, but the interface is open.
    SP_DEVICE_INTERFACE_DATA wrong{};
    EXPECT_FALSE(open(path_, 0, &wrong));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_USER_BUFFER));
    EXPECT_TRUE(open(path_, DIODI_NO_ADD, nullptr));
}

} // namespace zorvan::test
