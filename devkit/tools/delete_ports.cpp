// Deletes every virtual COM port, in whatever state it is, for instance before the driver is uninstalled. Says what
// it deletes. Needs no library.
//
//   delete_ports.exe
#include "base/unique.h"
#include "leftovers.h"

#include <cstdio>
#include <string>
#include <system_error>

using namespace zorvan;

namespace {

// A port may be called anything, and its name is to be read where the output goes: in UTF-8.
void say(const std::wstring& line) {
    std::string text(line.size() * 3, '\0'); // no code unit needs more
    const int size = WideCharToMultiByte(
        CP_UTF8, 0, line.data(), static_cast<int>(line.size()), text.data(), static_cast<int>(text.size()), nullptr,
        nullptr);
    text.resize(static_cast<std::size_t>(size));
    std::puts(text.c_str());
}

void deletePorts() {
    for (const auto& node : leftovers::findNodes()) {
        say((node.portName.empty() ? L"a port without a name" : node.portName) + L", " + node.instanceId +
            (node.hasDriver ? L"" : L", without a driver"));
        leftovers::removeNode(node);
    }
    for (const DWORD number : leftovers::findNumbers()) {
        say(L"the number " + std::to_wstring(number) + L", which no port has");
        leftovers::releaseNumber(number);
    }
}

struct ServiceTraits {
    using Value = SC_HANDLE;
    static Value invalid() { return nullptr; }
    static void close(Value service) { CloseServiceHandle(service); }
};
using UniqueService = Unique<ServiceTraits>;

// A client that is ended between the two halves of a removal leaves a port without a node, which opens and which
// nothing lists. Wine's drivers look for nodes that are gone when they are told to; this is how setupapi tells them.
void endPortsWithoutNode() {
    constexpr DWORD kEnumerateRootDevices = 128;
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    const UniqueService driver(
        manager ? OpenServiceW(manager.get(), L"zorvan", SERVICE_USER_DEFINED_CONTROL) : nullptr);
    SERVICE_STATUS status{};
    if (driver) // a driver that does not run, or is not installed, has no ports
        ControlService(driver.get(), kEnumerateRootDevices, &status);
}

} // namespace

int main() {
    try {
        deletePorts();
        endPortsWithoutNode();
        return 0;
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "delete_ports: %s\n", error.what());
        return 1;
    }
}
