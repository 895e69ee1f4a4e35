#include "client.h"

#include "support/program.h"
#include "support/test_main.h"

namespace zorvan::test {

std::set<std::wstring> presentPortNames() {
    std::set<std::wstring> names;
    for (const auto& device : devicesOf(*createRegisteredLibrary()))
        names.insert(portName(*device));
    return names;
}

void act(const std::wstring& arguments) {
    const auto result = runProgram(L"\"" + siblingPath(L"..\\portwright.exe") + L"\" " + arguments);
    EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(arguments) << result.output;
}

void SystemTest::TearDown() {
    deletePorts();
    EXPECT_EQ(portsBefore_, presentPortNames()) << "ports are left behind, or lost";
}

} // namespace zorvan::test
