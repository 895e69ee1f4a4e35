// A device of the Ports class with a driver package of its own, which starts no service: what is installed and
// removed is everything but a driver.
#pragma once

#include <windows.h>

#include <setupapi.h>

#include <string>

namespace zorvan::test {

// The description that the package gives to a device.
constexpr wchar_t kTestDescription[] = L"Stand-in test port";

// An element of a set of its own, registered by the steps that a program takes to add a device.
class TestDevice {
public:
    enum class Driver { InPackage, None };

    explicit TestDevice(Driver driver = Driver::InPackage);
    // Removes the device unless that was done, so that no test leaves one in the prefix.
    ~TestDevice();
    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

    HDEVINFO set() const { return set_; }
    SP_DEVINFO_DATA* element() { return &element_; }

    std::wstring instanceId();
    std::wstring friendlyName();
    // Empty when there is none.
    std::wstring portName();
    void setPortName(const std::wstring& name);
    bool exists() const;

private:
    HDEVINFO set_;
    SP_DEVINFO_DATA element_{};
    std::wstring instanceId_;
};

// The package, in the folder where drivers are looked for, while the object lives.
class TestPackage {
public:
    TestPackage();
    ~TestPackage();
    TestPackage(const TestPackage&) = delete;
    TestPackage& operator=(const TestPackage&) = delete;
};

} // namespace zorvan::test
