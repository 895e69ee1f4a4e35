// Control requests to a port that is known by its name, past the library. Every failure is thrown as a
// std::system_error.
#pragma once

#include "driver/protocol.h"
#include "driver/record.h"

#include <string>

namespace zorvan::devkit {

// The control interface path of the present port with this name.
std::wstring controlPathOf(const std::wstring& portName);

void sendRequest(const std::wstring& controlPath, protocol::Set request, const protocol::Bytes& input = {});

// The record of CreateBridge for a partner on this computer; the bridge does not outlive the partner's absence.
protocol::Bytes localBridge(const std::wstring& partnerName);

} // namespace zorvan::devkit
