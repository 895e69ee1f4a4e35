#include "sample.h"

#include "support/port_control.h"

#include "driver/control_channel.h"

#include <algorithm>
#include <stdexcept>

namespace zorvan::devkit {

namespace {

const Process& processWithId(const std::vector<Process>& processes, DWORD id, const char* which) {
    const auto found =
        std::find_if(processes.begin(), processes.end(), [&](const Process& process) { return process.id == id; });
    if (found == processes.end())
        throw std::runtime_error(std::string("the process has ended: ") + which);
    return *found;
}

} // namespace

// The driver starts the host processes.
Sampler::Sampler(const std::wstring& portName) {
    const auto host = driver::query<std::uint32_t>(controlPathOf(portName), protocol::Query::HostProcessId);
    driver_ = processWithId(runningProcesses(), host, "the port's host process").parent;
}

Sample Sampler::take() const {
    const auto processes = runningProcesses();
    Sample sample;
    sample.client = processWithId(processes, GetCurrentProcessId(), "this process").figures;
    sample.driver = processWithId(processes, driver_, "the driver's process").figures;
    for (const auto& process : processes)
        if (process.parent == driver_)
            sample.hosts += process.figures;
    return sample;
}

} // namespace zorvan::devkit
