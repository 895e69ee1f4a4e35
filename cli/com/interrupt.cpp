#include "com/interrupt.h"

#include "base/unique.h"
#include "com/failure.h"

namespace portwright::interrupt {
namespace {

zorvan::UniqueHandle& requestedEvent() {
    static zorvan::UniqueHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    return event;
}

// On a thread of the system's.
BOOL WINAPI onControl(DWORD type) {
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT)
        return FALSE;
    SetEvent(requestedEvent().get());
    return TRUE;
}

} // namespace

void install() {
    if (!requestedEvent() || SetConsoleCtrlHandler(onControl, TRUE) == FALSE)
        throwLastError("get ready for Ctrl+C");
}

bool requested() {
    return WaitForSingleObject(event(), 0) == WAIT_OBJECT_0;
}

HANDLE event() {
    return requestedEvent().get();
}

} // namespace portwright::interrupt
