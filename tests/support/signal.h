// Something that one thread waits for and another one tells. Once told, it stays so.
#pragma once

#include "base/unique.h"

namespace zorvan::test {

class Signal {
public:
    void tell() const { SetEvent(event_.get()); }
    void wait() const { WaitForSingleObject(event_.get(), INFINITE); }

private:
    UniqueHandle event_{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

} // namespace zorvan::test
