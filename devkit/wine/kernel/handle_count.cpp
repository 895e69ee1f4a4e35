#include "handle_count.h"

#include <winternl.h>

namespace zorvan::engine {

bool isLastHandle(HANDLE handle) {
    PUBLIC_OBJECT_BASIC_INFORMATION information{};
    return NtQueryObject(handle, ObjectBasicInformation, &information, sizeof information, nullptr) >= 0 &&
           information.HandleCount == 1;
}

} // namespace zorvan::engine
