#include "client.h"

#include "support/program.h"

#include <filesystem>

namespace zorvan::test {

std::set<std::wstring> presentPortNames() {
    std::set<std::wstring> names;
    for (const auto& device : devicesOf(*createRegisteredLibrary()))
        names.insert(portName(*device));
    return names;
}

void runScript(const std::wstring& script, const std::string& lastWords) {
    const std::filesystem::path folder(SOURCE_FOLDER "tests/live/ports/scripts/");
    auto path = folder / script.substr(0, script.find(L' '));
    const auto result = runProgram(
        L"cscript.exe \"" + path.make_preferred().wstring() + L"\"" +
        script.substr(path.filename().wstring().size()));
    // Wine's cscript ends with 0 even after an error that no script handled.
    EXPECT_EQ(lastWords + "\n", result.output) << testing::PrintToString(script);
}

void SystemTest::TearDown() {
    deletePorts();
    EXPECT_EQ(portsBefore_, presentPortNames()) << "ports are left behind, or lost";
}

} // namespace zorvan::test
