#include "com/port.h"

#include "com/failure.h"
#include "com/text.h"

#include <fmt/core.h>

#include <array>
#include <charconv>
#include <cmath>

namespace portwright {
namespace {

constexpr unsigned long kHighestNumber = 4096; // of the COM port database
constexpr char kNoLogon[] = "where nobody can be logged on, as under Wine, give --temporary";
constexpr char kNoPipe[] = "let another program create the pipe first, or create it here: --create";

using TextProperty = HRESULT (STDMETHODCALLTYPE IVirtualSerialDevice::*)(BSTR*);
template <class Value>
using Property = HRESULT (STDMETHODCALLTYPE IVirtualSerialDevice::*)(Value*);

template <class Value>
Value read(IVirtualSerialDevice& device, Property<Value> property, const std::string& port) {
    Value value{};
    check((device.*property)(&value), "read the state of " + port);
    return value;
}

std::string readText(IVirtualSerialDevice& device, TextProperty property, std::string_view asked) {
    Bstr text;
    check((device.*property)(text.put()), asked);
    return utf8(text);
}

std::optional<std::string> tryText(IVirtualSerialDevice& device, TextProperty property) {
    Bstr text;
    if (FAILED((device.*property)(text.put())))
        return std::nullopt;
    return utf8(text);
}

// None for a remote bridge, whose other end is no port of this library.
std::optional<std::string> tryPair(IVirtualSerialDevice& device) {
    zorvan::ComPointer<IVirtualSerialDevice> pair;
    if (FAILED(device.get_pair(pair.put())))
        return std::nullopt;
    return tryText(*pair, &IVirtualSerialDevice::get_portName);
}

VARIANT_BOOL toVariantBool(bool value) {
    return value ? VARIANT_TRUE : VARIANT_FALSE;
}

std::string shown(const std::optional<std::string>& name) {
    return name.value_or("(its name cannot be read)");
}

std::string otherEndOfBridge(const PortState& state) {
    if (state.pair)
        return *state.pair;
    return fmt::format("{}:{}", shown(state.remoteServer), shown(state.remotePort));
}

} // namespace

std::string modeInWords(VirtualSerialDeviceMode mode) {
    constexpr std::array kModes{"broken", "listening", "pipe", "bridge", "handles"};
    return kModes.at(static_cast<std::size_t>(mode));
}

Port::Port(zorvan::ComPointer<IVirtualSerialDevice> device)
    : device_(std::move(device)),
      name_(readText(*device_, &IVirtualSerialDevice::get_portName, "read the name of a port")) {}

VirtualSerialDeviceMode Port::mode() const {
    return read(*device_, &IVirtualSerialDevice::get_mode, name_);
}

std::string Port::pipeName() const {
    return readText(*device_, &IVirtualSerialDevice::get_PipeName, "read the name of the pipe of " + name_);
}

PortState Port::state() const {
    PortState state;
    state.portName = name_;
    state.mode = mode();
    state.enabled = read(*device_, &IVirtualSerialDevice::get_enabled, name_) != VARIANT_FALSE;
    state.path = readText(*device_, &IVirtualSerialDevice::get_path, "read the path of " + name_);
    state.connections = read(*device_, &IVirtualSerialDevice::get_connections, name_);
    state.bytesSent = read(*device_, &IVirtualSerialDevice::get_bytesSent, name_);
    state.bytesReceived = read(*device_, &IVirtualSerialDevice::get_bytesReceived, name_);
    state.emulateTxOverflow = read(*device_, &IVirtualSerialDevice::get_emulateTxOverflow, name_) != VARIANT_FALSE;
    // Kept in thousandths; the library's multiplication leaves a rest in the last digit.
    const auto probability = read(*device_, &IVirtualSerialDevice::get_crossoverProbability, name_);
    state.crossoverProbability = std::round(probability * kProbabilitySteps) / kProbabilitySteps;
    readConnection(state);
    return state;
}

void Port::readConnection(PortState& state) const {
    auto& device = *device_;
    switch (state.mode) {
    case VSDM_Listening:
        state.securityDescriptor = tryText(device, &IVirtualSerialDevice::get_securityDescriptor);
        break;
    case VSDM_Pipe:
        state.pipeName = tryText(device, &IVirtualSerialDevice::get_PipeName);
        break;
    case VSDM_Bridge:
        state.pair = tryPair(device);
        state.remoteServer = tryText(device, &IVirtualSerialDevice::get_remoteServer);
        state.remotePort = tryText(device, &IVirtualSerialDevice::get_remotePort);
        // A partner that has just come is not known to the library object yet.
        if (!state.pair && state.remoteServer == ".")
            state.pair = state.remotePort;
        break;
    case VSDM_Handles:
        state.inputFileName = tryText(device, &IVirtualSerialDevice::get_inputFileName);
        state.outputFileName = tryText(device, &IVirtualSerialDevice::get_outputFileName);
        break;
    case VSDM_Broken:
        break;
    }
}

bool Port::remove() const {
    const HRESULT result = device_->deleteDevice();
    check(result, "delete " + name_);
    return result == S_FALSE;
}

void Port::rename(const std::string& name) const {
    check(
        device_->put_portName(makeBstr(name).get()), fmt::format("rename {} to {}", name_, name),
        "take a number that no serial port has; portwright doctor shows which numbers are taken");
}

void Port::enable(bool enabled) const {
    check(
        device_->put_enabled(toVariantBool(enabled)), fmt::format("switch {} {}", name_, enabled ? "on" : "off"),
        "another serial port may have taken this number meanwhile: see what portwright doctor says");
}

void Port::emulateTxOverflow(bool emulate) const {
    check(device_->put_emulateTxOverflow(toVariantBool(emulate)), "set the transmit overflow emulation of " + name_);
}

void Port::setCrossoverProbability(double probability) const {
    check(device_->put_crossoverProbability(probability), "set the crossover probability of " + name_);
}

void Port::disconnect() const {
    check(device_->disconnectDevice(), "disconnect " + name_);
}

void Port::listen(const std::optional<std::string>& securityDescriptor) const {
    VARIANT argument{};
    const auto text = makeBstr(securityDescriptor.value_or(""));
    if (securityDescriptor) {
        argument.vt = VT_BSTR;
        argument.bstrVal = text.get();
    }
    check(
        device_->startListening(argument), "let " + name_ + " listen",
        securityDescriptor ? "check the security descriptor, such as D:AR(A;;CC;;;WD)" : "");
}

void Port::connectToPipe(const std::string& pipe) const {
    const HRESULT result = device_->connectToPipe(makeBstr(pipe).get());
    const bool noPipe = result == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    check(result, fmt::format("connect {} to the pipe {}", name_, pipe), noPipe ? kNoPipe : "");
}

void Port::createPipe(const std::string& pipe, const PipeOptions& options) const {
    check(
        device_->createAndConnectPipe(
            makeBstr(pipe).get(), options.instances, options.outputBufferSize, options.inputBufferSize,
            options.defaultTimeout),
        fmt::format("create the pipe {} for {}", pipe, name_));
}

void Port::joinPipe(const std::string& pipe) const {
    if (WaitNamedPipeW(wide(pipe).c_str(), 1) != FALSE || GetLastError() != ERROR_FILE_NOT_FOUND)
        connectToPipe(pipe);
    else
        createPipe(pipe, {});
}

void Port::bridge(const Port& other, bool permanent) const {
    check(
        device_->createBridge(other.device_.get(), toVariantBool(permanent)),
        fmt::format("bridge {} with {}, which now listens", name_, other.name_));
}

void Port::bridge(const RemoteEnd& other, bool permanent) const {
    const HRESULT result = device_->createRemoteBridge(
        makeBstr(other.port).get(), makeBstr(other.server).get(), toVariantBool(permanent),
        makeBstr(other.user).get(), makeBstr(other.password).get(), makeBstr(other.domain).get());
    const bool noLogon = result == E_HANDLE && permanent;
    check(result, fmt::format("bridge {} with {} of {}", name_, other.port, other.server), noLogon ? kNoLogon : "");
}

void Port::connectToFiles(const std::string& input, const std::string& output, FileCreationMode creation) const {
    const HRESULT result = device_->connectToFiles(makeBstr(input).get(), makeBstr(output).get(), creation);
    check(
        result, fmt::format("connect {} to the files {} and {}", name_, input, output),
        "the input file must exist; --mode says what becomes of an output file that exists");
}

std::optional<std::string> toPortName(std::string_view text) {
    const auto hasPrefix =
        text.size() > 3 && (text[0] | 0x20) == 'c' && (text[1] | 0x20) == 'o' && (text[2] | 0x20) == 'm';
    if (hasPrefix)
        text.remove_prefix(3);
    unsigned long number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0 || number > kHighestNumber)
        return std::nullopt;
    return fmt::format("COM{}", number);
}

unsigned long portNumber(std::string_view name) {
    unsigned long number = 0;
    if (name.size() > 3)
        std::from_chars(name.data() + 3, name.data() + name.size(), number);
    return number;
}

bool acceptsEveryone(const PortState& state) {
    return state.securityDescriptor == "" || state.securityDescriptor == "D:AR(A;;CC;;;WD)";
}

std::string otherEnd(const PortState& state) {
    switch (state.mode) {
    case VSDM_Pipe:
        return shown(state.pipeName);
    case VSDM_Bridge:
        return otherEndOfBridge(state);
    case VSDM_Handles:
        return fmt::format("{} -> {}", shown(state.inputFileName), shown(state.outputFileName));
    default:
        return {};
    }
}

} // namespace portwright
