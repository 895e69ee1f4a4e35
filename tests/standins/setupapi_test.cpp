// The functions of setupapi that are stood in for, and how they are redirected.
#include "base/guid.h"
#include "database_fixture.h"
#include "test_device.h"

#include <windows.h>

#include <cfgmgr32.h>

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace zorvan::test {

namespace {

constexpr GUID kInterfaceClass = parseGuid("{6C3A1F52-9A0B-4C47-8E6D-5A7F0B1C2D3E}");
constexpr GUID kOtherClass = parseGuid("{4D36E96B-E325-11CE-BFC1-08002BE10318}");

class DeviceSet {
public:
    explicit DeviceSet(const GUID* setupClass = nullptr) : set_(SetupDiCreateDeviceInfoList(setupClass, nullptr)) {}
    ~DeviceSet() { SetupDiDestroyDeviceInfoList(set_); }
    DeviceSet(const DeviceSet&) = delete;
    DeviceSet& operator=(const DeviceSet&) = delete;

    operator HDEVINFO() const { return set_; }

    DWORD count() const {
        SP_DEVINFO_DATA element{};
        element.cbSize = sizeof element;
        DWORD index = 0;
        while (SetupDiEnumDeviceInfo(set_, index, &element))
            ++index;
        return index;
    }

private:
    HDEVINFO set_;
};

std::wstring pathOf(HDEVINFO set, SP_DEVICE_INTERFACE_DATA* interfaceData) {
    alignas(DWORD) std::array<BYTE, 1024> buffer{};
    auto* const detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(buffer.data());
    detail->cbSize = sizeof *detail;
    if (!SetupDiGetDeviceInterfaceDetailW(set, interfaceData, detail, buffer.size(), nullptr, nullptr))
        return {};
    return detail->DevicePath;
}

SP_DEVICE_INTERFACE_DATA emptyInterface() {
    SP_DEVICE_INTERFACE_DATA data{};
    data.cbSize = sizeof data;
    return data;
}

// As a driver registers one.
std::wstring registerInterface(TestDevice& device, const wchar_t* reference = L"") {
    SP_DEVICE_INTERFACE_DATA data = emptyInterface();
    if (!SetupDiCreateDeviceInterfaceW(device.set(), device.element(), &kInterfaceClass, reference, 0, &data))
        return {};
    return pathOf(device.set(), &data);
}

std::wstring replaced(std::wstring text, const std::wstring& part, const std::wstring& other) {
    return text.replace(text.find(part), part.size(), other);
}

} // namespace

// Leaves no trace of the interface class.
class InterfaceTest : public DatabaseTest {
protected:
    ~InterfaceTest() override {
        RegDeleteKeyW(
            HKEY_LOCAL_MACHINE,
            L"SYSTEM\\CurrentControlSet\\Control\\DeviceClasses\\{6C3A1F52-9A0B-4C47-8E6D-5A7F0B1C2D3E}");
    }
};

class OpenDeviceInterfaceTest : public InterfaceTest {};

TEST_F(OpenDeviceInterfaceTest, AddsTheDeviceAndJustThatInterface) {
    TestDevice device;
    for (const wchar_t* reference : {L"", L"first", L"second"}) {
        const std::wstring path = registerInterface(device, reference);
        ASSERT_FALSE(path.empty());
        const DeviceSet set;
        SP_DEVICE_INTERFACE_DATA opened = emptyInterface();
        ASSERT_TRUE(SetupDiOpenDeviceInterfaceW(set, path.c_str(), 0, &opened)) << GetLastError();
        EXPECT_EQ(opened.InterfaceClassGuid, kInterfaceClass);
        EXPECT_EQ(pathOf(set, &opened), path);
        EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set, nullptr, &kInterfaceClass, 1, &opened));

        SP_DEVINFO_DATA element{};
        element.cbSize = sizeof element;
        ASSERT_TRUE(SetupDiEnumDeviceInfo(set, 0, &element));
        wchar_t id[MAX_DEVICE_ID_LEN] = {};
        EXPECT_EQ(CM_Get_Device_IDW(element.DevInst, id, MAX_DEVICE_ID_LEN, 0), CR_SUCCESS);
        EXPECT_EQ(id, device.instanceId());
        EXPECT_EQ(set.count(), 1U);
    }
}

TEST_F(OpenDeviceInterfaceTest, OpensAgainWhatTheSetHas) {
    TestDevice device;
    std::wstring path = registerInterface(device);
    const DeviceSet set;
    ASSERT_TRUE(SetupDiOpenDeviceInterfaceW(set, path.c_str(), 0, nullptr));
    CharUpperW(path.data());
    SP_DEVICE_INTERFACE_DATA opened = emptyInterface();
    EXPECT_TRUE(SetupDiOpenDeviceInterfaceW(set, path.c_str(), DIODI_NO_ADD, &opened));
    EXPECT_EQ(set.count(), 1U);
    EXPECT_FALSE(SetupDiEnumDeviceInterfaces(set, nullptr, &kInterfaceClass, 1, &opened));
}

TEST_F(OpenDeviceInterfaceTest, FailsWithAnErrorAndLeavesTheSetAsItWas) {
    TestDevice device;
    const std::wstring path = registerInterface(device);
    const std::wstring classText = path.substr(path.find(L'{'));
    struct Row {
        std::wstring path;
        DWORD flags;
        DWORD error;
    };
    const Row rows[] = {
        {path, DIODI_NO_ADD, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {path, 0x2, ERROR_INVALID_FLAGS},
        {path + L"\\reference", 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {replaced(path, L"#ports#", L"#nowhere#"), 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {replaced(path, L"{6c3a1f52", L"{6c3a1f53"), 0, ERROR_NO_SUCH_DEVICE_INTERFACE},
        {replaced(path, L"{6c3a1f52", L"{6c3a1fxx"), 0, ERROR_INVALID_PARAMETER},
        {classText, 0, ERROR_INVALID_PARAMETER},
        {L"", 0, ERROR_INVALID_PARAMETER},
        {L"\\\\?\\", 0, ERROR_INVALID_PARAMETER},
        {L"COM1", 0, ERROR_INVALID_PARAMETER},
    };
    const DeviceSet set;
    for (const Row& row : rows) {
        SP_DEVICE_INTERFACE_DATA opened = emptyInterface();
        SetLastError(ERROR_SUCCESS);
        EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(set, row.path.c_str(), row.flags, &opened));
        EXPECT_EQ(GetLastError(), row.error) << testing::PrintToString(row.path);
        EXPECT_EQ(set.count(), 0U) << testing::PrintToString(row.path);
    }
    EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(INVALID_HANDLE_VALUE, path.c_str(), 0, nullptr));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    const DeviceSet other(&kOtherClass);
    EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(other, path.c_str(), 0, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_CLASS_MISMATCH);
    EXPECT_EQ(other.count(), 0U);
}

TEST_F(OpenDeviceInterfaceTest, ACallersStructureOfTheWrongSizeIsReportedAndTheInterfaceIsOpen) {
    TestDevice device;
    const std::wstring path = registerInterface(device);
    const DeviceSet set;
    SP_DEVICE_INTERFACE_DATA opened{};
    EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(set, path.c_str(), 0, &opened));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_USER_BUFFER));
    opened = emptyInterface();
    EXPECT_TRUE(SetupDiEnumDeviceInterfaces(set, nullptr, &kInterfaceClass, 0, &opened));
}

TEST_F(OpenDeviceInterfaceTest, ARemovedDeviceHasNoInterface) {
    std::wstring path;
    {
        TestDevice device;
        path = registerInterface(device);
    }
    const DeviceSet set;
    EXPECT_FALSE(SetupDiOpenDeviceInterfaceW(set, path.c_str(), 0, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVICE_INTERFACE);
}

class ClassInstallParamsTest : public InterfaceTest {
protected:
    static SP_REMOVEDEVICE_PARAMS removal(DWORD scope = DI_REMOVEDEVICE_GLOBAL) {
        SP_REMOVEDEVICE_PARAMS params{};
        params.ClassInstallHeader.cbSize = sizeof(SP_CLASSINSTALL_HEADER);
        params.ClassInstallHeader.InstallFunction = DIF_REMOVE;
        params.Scope = scope;
        return params;
    }

    static bool hasParams(HDEVINFO set, SP_DEVINFO_DATA* element) {
        SP_DEVINSTALL_PARAMS_W params{};
        params.cbSize = sizeof params;
        EXPECT_TRUE(SetupDiGetDeviceInstallParamsW(set, element, &params));
        return (params.Flags & DI_CLASSINSTALLPARAMS) != 0;
    }
};

TEST_F(ClassInstallParamsTest, AreSetAndCleared) {
    TestDevice device;
    SP_REMOVEDEVICE_PARAMS params = removal();
    EXPECT_TRUE(
        SetupDiSetClassInstallParamsW(device.set(), device.element(), &params.ClassInstallHeader, sizeof params));
    EXPECT_TRUE(hasParams(device.set(), device.element()));
    EXPECT_TRUE(SetupDiSetClassInstallParamsW(device.set(), device.element(), nullptr, 0));
    EXPECT_FALSE(hasParams(device.set(), device.element()));
}

TEST_F(ClassInstallParamsTest, AreRefusedWhenTheyAreWrongOrWithoutEffect) {
    TestDevice device;
    SP_REMOVEDEVICE_PARAMS wrongHeader = removal();
    wrongHeader.ClassInstallHeader.cbSize = sizeof wrongHeader;
    SP_REMOVEDEVICE_PARAMS otherFunction = removal();
    otherFunction.ClassInstallHeader.InstallFunction = DIF_PROPERTYCHANGE;
    SP_REMOVEDEVICE_PARAMS right = removal();
    SP_REMOVEDEVICE_PARAMS oneProfile = removal(DI_REMOVEDEVICE_CONFIGSPECIFIC);
    SP_REMOVEDEVICE_PARAMS noScope = removal(0);
    struct Row {
        HDEVINFO set;
        SP_REMOVEDEVICE_PARAMS* params;
        DWORD size;
        DWORD error;
    };
    const Row rows[] = {
        {device.set(), &wrongHeader, sizeof right, ERROR_INVALID_USER_BUFFER},
        {device.set(), &right, sizeof right - 1, ERROR_INVALID_USER_BUFFER},
        {device.set(), &right, 0, ERROR_INVALID_USER_BUFFER},
        {device.set(), &otherFunction, sizeof right, ERROR_CALL_NOT_IMPLEMENTED},
        {device.set(), &oneProfile, sizeof right, ERROR_CALL_NOT_IMPLEMENTED},
        {device.set(), &noScope, sizeof right, ERROR_INVALID_PARAMETER},
        {device.set(), nullptr, 8, ERROR_INVALID_PARAMETER},
        {INVALID_HANDLE_VALUE, &right, sizeof right, ERROR_INVALID_HANDLE},
    };
    for (const Row& row : rows) {
        SetLastError(ERROR_SUCCESS);
        auto* const header = row.params ? &row.params->ClassInstallHeader : nullptr;
        EXPECT_FALSE(SetupDiSetClassInstallParamsW(row.set, device.element(), header, row.size));
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_FALSE(hasParams(device.set(), device.element()));
}

// The steps that a program takes which knows a device by the path of its interface.
TEST_F(ClassInstallParamsTest, LeadToTheRemovalOfADeviceOpenedByPath) {
    TestDevice device;
    const std::wstring path = registerInterface(device);
    const DeviceSet set;
    SP_DEVICE_INTERFACE_DATA opened = emptyInterface();
    ASSERT_TRUE(SetupDiOpenDeviceInterfaceW(set, path.c_str(), 0, &opened));
    SP_DEVINFO_DATA element{};
    element.cbSize = sizeof element;
    ASSERT_TRUE(SetupDiEnumDeviceInfo(set, 0, &element));
    SP_REMOVEDEVICE_PARAMS params = removal();
    ASSERT_TRUE(SetupDiSetClassInstallParamsW(set, &element, &params.ClassInstallHeader, sizeof params));
    EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REMOVE, set, &element)) << GetLastError();
    EXPECT_TRUE(SetupDiDeleteDeviceInterfaceData(set, &opened));
    EXPECT_FALSE(device.exists());
}

namespace {

using Code = std::array<unsigned char, 16>;

Code codeOf(const wchar_t* module, const char* function) {
    Code code{};
    std::memcpy(
        code.data(), reinterpret_cast<const void*>(GetProcAddress(GetModuleHandleW(module), function)), code.size());
    return code;
}

std::array<Code, 3> redirectedFunctions() {
    return {
        codeOf(L"setupapi.dll", "SetupDiOpenDeviceInterfaceW"),
        codeOf(L"setupapi.dll", "SetupDiSetClassInstallParamsW"), codeOf(L"newdev.dll", "DiInstallDevice")};
}

} // namespace

TEST(RedirectTest, LastsAsLongAsTheStandInIsLoaded) {
    ASSERT_EQ(GetModuleHandleW(L"msports.dll"), nullptr);
    ASSERT_NE(LoadLibraryW(L"newdev.dll"), nullptr);
    const std::array<Code, 3> before = redirectedFunctions();
    for (int i = 0; i < 3; ++i) {
        {
            const StandIns first;
            const std::array<Code, 3> redirected = redirectedFunctions();
            for (std::size_t function = 0; function < before.size(); ++function)
                EXPECT_NE(redirected[function], before[function]) << function;
            {
                const StandIns second;
                EXPECT_EQ(redirectedFunctions(), redirected);
            }
            EXPECT_EQ(redirectedFunctions(), redirected);
        }
        EXPECT_EQ(GetModuleHandleW(L"msports.dll"), nullptr);
        EXPECT_EQ(redirectedFunctions(), before);
    }
}

} // namespace zorvan::test
