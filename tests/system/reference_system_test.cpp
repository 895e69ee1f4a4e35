// docs/reference.md against the library: it names every member of the type library and nothing else, and what it
// calls "not yet" answers so.
#include "client.h"
#include "reference_facts.h"

#include "runner/runner.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>

namespace zorvan::test {

namespace {

Facts difference(const Facts& facts, const Facts& others) {
    Facts result;
    std::set_difference(
        facts.begin(), facts.end(), others.begin(), others.end(), std::inserter(result, result.end()));
    return result;
}

TEST(ReferenceSystemTest, NamesEveryMemberAndNothingElse) {
    const auto library = factsOfTypeLibrary(siblingPath(L"..\\zorvanlib.dll"));
    const auto reference = factsOfReference();
    ASSERT_GT(library.size(), 60U);
    EXPECT_EQ(Facts{}, difference(library, reference)) << "in the type library, but not in the reference";
    EXPECT_EQ(Facts{}, difference(reference, library)) << "in the reference, but not in the type library";
}

using Calls = std::map<std::string, std::function<HRESULT()>>;

// The null pointers are never reached: a member that is not there yet looks at no argument.
Calls laterMembersOf(IVirtualSerialDevice& device) {
    return {
        {"startListening", [&] { return device.startListening({}); }},
        {"securityDescriptor", [&] { return device.get_securityDescriptor(nullptr); }},
        {"connectToPipe", [&] { return device.connectToPipe(nullptr); }},
        {"createAndConnectPipe", [&] { return device.createAndConnectPipe(nullptr, 255, 65536, 65536, 0); }},
        {"PipeName", [&] { return device.get_PipeName(nullptr); }},
        {"createBridge", [&] { return device.createBridge(nullptr, VARIANT_TRUE); }},
        {"pair", [&] { return device.get_pair(nullptr); }},
        {"remoteServer", [&] { return device.get_remoteServer(nullptr); }},
        {"remotePort", [&] { return device.get_remotePort(nullptr); }},
        {"remoteEndpoint", [&] { return device.get_remoteEndpoint(nullptr); }},
        {"createRemoteBridge",
         [&] { return device.createRemoteBridge(nullptr, nullptr, VARIANT_TRUE, nullptr, nullptr, nullptr); }},
        {"localSocket", [&] { return device.get_localSocket(nullptr); }},
        {"remoteSocket", [&] { return device.get_remoteSocket(nullptr); }},
        {"restoreDefaultPins", [&] { return device.restoreDefaultPins(); }},
        {"connectToFiles", [&] { return device.connectToFiles(nullptr, nullptr, CTF_CreateNew); }},
        {"inputFileName", [&] { return device.get_inputFileName(nullptr); }},
        {"outputFileName", [&] { return device.get_outputFileName(nullptr); }},
    };
}

void expectNotYet(const std::string& interfaceName, const Calls& calls) {
    std::set<std::string> names;
    for (const auto& [name, call] : calls) {
        names.insert(name);
        EXPECT_EQ(E_NOTIMPL, call()) << interfaceName << '.' << name;
    }
    EXPECT_EQ(names, notYetInReference(interfaceName));
}

using ReferencedMembersSystemTest = SystemTest;

TEST_F(ReferencedMembersSystemTest, WhatIsMarkedNotYetSaysSo) {
    expectNotYet("IVirtualSerialLibrary", {});
    const auto device = create();
    expectNotYet("IVirtualSerialDevice", laterMembersOf(*device));
}

} // namespace

} // namespace zorvan::test
