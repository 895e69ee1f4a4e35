// Joins two virtual COM ports of this computer by a request to the driver, or ends what a port is connected to.
//
//   bridge_ports.exe PORT PARTNER
//   bridge_ports.exe PORT
#include "port_control.h"

#include "base/hresult_error.h"

#include <cstdio>

using namespace zorvan;

int wmain(int argumentCount, wchar_t** arguments) {
    if (argumentCount != 2 && argumentCount != 3) {
        std::fputs("usage: bridge_ports PORT [PARTNER]\n", stderr);
        return 2;
    }
    try {
        const auto path = devkit::controlPathOf(arguments[1]);
        if (argumentCount == 3)
            devkit::bridge(path, arguments[2]);
        else
            devkit::disconnect(path);
        return 0;
    } catch (const HResultError& error) {
        std::fprintf(stderr, "bridge_ports: error 0x%08lX\n", error.code());
        return 1;
    }
}
