// The kernel's declarations.
//
// The driver kit repeats two of the compiler's intrinsics in a form that C++ refuses; under other names they do no
// harm, and nobody uses them.
#pragma once

#include <intrin.h>

#define InterlockedBitTestAndSet KernelInterlockedBitTestAndSet
#define InterlockedBitTestAndReset KernelInterlockedBitTestAndReset
#include <ntddk.h>
#undef InterlockedBitTestAndSet
#undef InterlockedBitTestAndReset
#include <ntddser.h>

// Declared with the file systems' functions, whose header needs more than it is worth.
extern "C" NTSTATUS NTAPI
ObOpenObjectByPointer(void*, ULONG, ACCESS_STATE*, ACCESS_MASK, POBJECT_TYPE, KPROCESSOR_MODE, HANDLE*);
