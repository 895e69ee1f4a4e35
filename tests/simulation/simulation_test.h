// What every test of the DLL starts from: a machine, and the DLL loaded afresh over it when the test first uses it.
//
// At the end of the test the DLL must be unloadable and hold nothing of the machine; a test need not ask.
#pragma once

#include "simulation/call.h"
#include "simulation/machine.h"
#include "simulation/shipped_library.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

namespace zorvan::simulation {

inline const std::wstring kPipe = L"\\\\.\\pipe\\Serial1";
inline constexpr HRESULT kRestartNeeded = static_cast<HRESULT>(0x80070BC2);
inline constexpr HRESULT kNumberTaken = static_cast<HRESULT>(0x800702BA);

class SimulationTest : public testing::Test {
protected:
    Machine machine;

    ShippedLibrary& dll();
    ComPointer<IClassFactory> classFactory(const CLSID& clsid = __uuidof(VirtualSerialLibrary));
    // Returns when the library's thread waits for what comes.
    ComPointer<IVirtualSerialLibrary> createLibrary();

    // Through the interfaces. A failure throws, which ends the test as failed.
    static ComPointer<IDeviceCollection> collection(IVirtualSerialLibrary& library);
    static ComPointer<IVirtualSerialDevice> device(IVirtualSerialLibrary& library, const wchar_t* portName);
    static std::set<std::wstring> portNames(IVirtualSerialLibrary& library);
    static ComPointer<IVirtualSerialDevice> createDevice(IVirtualSerialLibrary& library, const wchar_t* portName);

    // Has the library look at the machine again, as each creation does. The port that this takes is gone again.
    void refresh(IVirtualSerialLibrary& library);

    void TearDown() override;

private:
    std::unique_ptr<ShippedLibrary> dll_;
};

} // namespace zorvan::simulation
