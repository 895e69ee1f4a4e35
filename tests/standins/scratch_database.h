// The port database, open and with the numbers in use that a test wants. The prefix has its own back at the end.
#pragma once

#include "msports.h"

#include <vector>

namespace zorvan::test {

class ScratchDatabase {
public:
    using Numbers = std::vector<DWORD>;

    explicit ScratchDatabase(const Numbers& used = {});
    ~ScratchDatabase();
    ScratchDatabase(const ScratchDatabase&) = delete;
    ScratchDatabase& operator=(const ScratchDatabase&) = delete;

    HCOMDB handle() const { return handle_; }
    // Read from the registry value, where Windows keeps them.
    Numbers used() const;

private:
    std::vector<BYTE> saved_;
    HCOMDB handle_ = HCOMDB_INVALID_HANDLE_VALUE;
};

} // namespace zorvan::test
