// The parts of the table.
#pragma once

#include "report.h"

namespace zorvan::bench {

// Need no ports, and leave none.
void measureCreation(Report& report);

// Need a port.
void measureCalls(Report& report);
void measureEvents(Report& report);

// Need four ports.
void measureBridge(Report& report);

// With the ports that there are.
void measureRefresh(Report& report);

// What a library object holds; with how many ports.
struct Holdings {
    double ports;
    double bytes;
    double handles;
};
Holdings measureHoldings();
void reportHoldings(Report& report, const Holdings& few, const Holdings& many);

} // namespace zorvan::bench
