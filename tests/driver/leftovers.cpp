// Every run of the tests starts without test ports.
#include "device_node.h"

#include <gtest/gtest.h>

namespace zorvan::test {
namespace {

class NoLeftovers : public testing::Environment {
public:
    void SetUp() override { removeLeftovers(); }
};

const auto* const environment = testing::AddGlobalTestEnvironment(new NoLeftovers); // GoogleTest's own

} // namespace
} // namespace zorvan::test
