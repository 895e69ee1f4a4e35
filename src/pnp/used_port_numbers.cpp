#include "pnp/used_port_numbers.h"

#include "pnp/device_classes.h"
#include "pnp/device_information_set.h"
#include "pnp/port_name.h"

#include <algorithm>
#include <exception>

namespace zorvan::pnp {

namespace {

std::uint32_t usedNumber(HKEY hardwareKey) {
    const auto number = portNumber(readWellFormedPortName(hardwareKey));
    if (number == 0)
        throw std::exception();
    return number;
}

} // namespace

std::vector<std::uint32_t> listUsedPortNumbers() {
    std::vector<std::uint32_t> numbers;
    const auto set = presentDevices(kSerialPortInterface);
    forEachDevice(set, [&](SP_DEVINFO_DATA& device) {
        if (const auto key = openHardwareKey(set.get(), device, kReadAndWrite))
            numbers.push_back(usedNumber(key.get()));
    });
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

bool isUsed(const std::vector<std::uint32_t>& usedNumbers, std::uint32_t number) {
    return std::binary_search(usedNumbers.begin(), usedNumbers.end(), number);
}

} // namespace zorvan::pnp
