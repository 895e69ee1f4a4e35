// A client of the library, as the system tests need it.
#pragma once

#include "base/com_pointer.h"

#include <windows.h>

#include <zorvanlib.h>

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zorvan::test {

using Library = ComPointer<IVirtualSerialLibrary>;
using Device = ComPointer<IVirtualSerialDevice>;

constexpr HRESULT kNumberIsTaken = static_cast<HRESULT>(0x800702BA);

// Activates the library by its ProgID. It looks at the system while it is created.
Library createLibrary();

// No name: the argument is left out.
HRESULT createPort(IVirtualSerialLibrary& library, const std::optional<std::wstring>& name, Device& device);

std::wstring portName(IVirtualSerialDevice& device);
std::wstring path(IVirtualSerialDevice& device);
bool isDeleted(IVirtualSerialDevice& device);

std::vector<Device> listDevices(IVirtualSerialLibrary& library);
std::set<std::wstring> listPortNames(IVirtualSerialLibrary& library);

// What a client sees that comes anew.
std::set<std::wstring> presentPortNames();

// Opens a port as any program would; null when it cannot be opened.
HANDLE openPort(const std::wstring& path);

// Fails the test when it leaves other ports behind than it found, and deletes them.
class SystemTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Creates a port, which must succeed; the test ends otherwise.
    Device create(const std::optional<std::wstring>& name = std::nullopt);
    // Deletes the ports that create has made and that are still there.
    void deletePorts();

    Library library_;

private:
    std::set<std::wstring> portsBefore_;
    std::vector<Device> created_;
};

} // namespace zorvan::test
