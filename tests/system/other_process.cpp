#include "other_process.h"

#include "programs.h"

#include "runner/runner.h"

#include <stdexcept>

namespace zorvan::test {

namespace {

void act(const std::wstring& arguments) {
    const auto result = runScript(L"act.js", arguments);
    if (result.output != "Done.\n")
        throw std::runtime_error("act.js: " + result.output);
}

} // namespace

void createElsewhere(const std::wstring& name) {
    act(L"create " + name);
}

void renameElsewhere(const std::wstring& name, const std::wstring& newName) {
    act(L"rename " + name + L" " + newName);
}

void deleteElsewhere(const std::wstring& name) {
    act(L"delete " + name);
}

void bridgeElsewhere(const std::wstring& name, const std::wstring& partner) {
    act(L"bridge " + name + L" " + partner);
}

void disconnectElsewhere(const std::wstring& name) {
    act(L"disconnect " + name);
}

} // namespace zorvan::test
