#include "simulation/clock.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

namespace zorvan::simulation {

namespace {

void WINAPI sleep(DWORD milliseconds) {
    {
        Call call("Sleep", milliseconds);
        call->clock.milliseconds += milliseconds;
    }
    ::Sleep(0); // whoever sleeps lets others run
}
SIMULATE(Sleep, sleep);

} // namespace

} // namespace zorvan::simulation
