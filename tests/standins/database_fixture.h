// A test with a port database that is empty at its beginning; the prefix has its own back at the end.
#pragma once

#include "base/unique.h"
#include "stand_ins.h"

#include <gtest/gtest.h>

#include <vector>

namespace zorvan::test {

class DatabaseTest : public testing::Test {
protected:
    DatabaseTest();
    ~DatabaseTest() override;

    std::vector<BYTE> registryValue() const;
    bool isUsed(DWORD number) const;
    DWORD usedCount() const;

    StandIns standIns_;
    UniqueRegistryKey key_;
    HCOMDB database_ = HCOMDB_INVALID_HANDLE_VALUE;

private:
    std::vector<BYTE> saved_;
};

} // namespace zorvan::test
