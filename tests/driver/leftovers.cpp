// Every run of the tests starts without test ports.
#include "device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

class NoLeftovers : public testing::Environment {
public:
    // The class installer of ports lives in msports.dll, which setupapi would load and unload for each of its calls;
    // a C++ DLL does not give back all thread-local slots that a loading takes, and they run out.
    void SetUp() override {
        LoadLibraryW(L"msports.dll"); // kept until the end; without it setupapi does without, too
        removeLeftovers();
    }
};

const auto* const environment = testing::AddGlobalTestEnvironment(new NoLeftovers); // GoogleTest's own

} // namespace
} // namespace zorvan::test
