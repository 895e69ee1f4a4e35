// Connecting ports that are known by their names, past the library. Failures are thrown as HResultError.
#pragma once

#include <string>

namespace zorvan::devkit {

// The control interface path of the present port with this name.
std::wstring controlPathOf(const std::wstring& portName);

// Joins the port with another one of this computer, until one of them is told otherwise.
void bridge(const std::wstring& controlPath, const std::wstring& partnerName);

void disconnect(const std::wstring& controlPath);

} // namespace zorvan::devkit
