// Requests that the engine has: cancelling and completing them.
#pragma once

#include "device.h"

namespace zorvan::engine {

// Hands the request over to the engine. To be returned by the dispatch routine.
NTSTATUS submit(Device& device, IRP* irp, Operation operation, std::uint32_t size);

// Called by the engine, on any thread.
void completeSubmitted(void* request, Outcome outcome);

// The driver is unloaded: no request can come any more.
void freeCompletedRequests();

} // namespace zorvan::engine
