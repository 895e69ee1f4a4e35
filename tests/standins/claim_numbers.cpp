// Claims as many port numbers as it is told, one after the other, as soon as it is let go: the tests run several of
// it at once. Its exit code is the Windows error code of the claim that failed, or 0.
#include "claim_numbers.h"

#include "base/unique.h"
#include "stand_ins.h"

#include <string>

namespace {

using namespace zorvan;

bool waitForStart() {
    const UniqueHandle ready(OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, test::kClaimersReady));
    const UniqueHandle go(OpenEventW(SYNCHRONIZE, FALSE, test::kClaimersGo));
    return ready && go && ReleaseSemaphore(ready.get(), 1, nullptr) &&
           WaitForSingleObject(go.get(), test::kClaimersWait) == WAIT_OBJECT_0;
}

LONG claim(int count) {
    const test::StandIns standIns;
    HCOMDB database = HCOMDB_INVALID_HANDLE_VALUE;
    LONG status = standIns.open(&database);
    if (status == ERROR_SUCCESS && !waitForStart())
        status = ERROR_TIMEOUT;
    for (; count > 0 && status == ERROR_SUCCESS; --count) {
        DWORD number = 0;
        status = standIns.claimNextFreePort(database, &number);
    }
    standIns.close(database);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    return argc == 2 ? static_cast<int>(claim(std::stoi(argv[1]))) : ERROR_BAD_ARGUMENTS;
}
