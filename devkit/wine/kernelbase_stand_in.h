#pragma once

#include <windows.h>

namespace zorvan::devkit {

// The function of kernelbase that defineDosDevice takes the place of; null on a system without it.
void* systemDefineDosDevice();

// DefineDosDeviceW, for whole names: they are made and removed.
BOOL WINAPI defineDosDevice(DWORD flags, PCWSTR name, PCWSTR target);

} // namespace zorvan::devkit
