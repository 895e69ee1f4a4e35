#include "engine_lock.h"

#include <mutex>
#include <utility>
#include <vector>

namespace zorvan::driver {
namespace {

struct Completion {
    void* request;
    Outcome outcome;
};

struct PutOff {
    std::vector<Completion> completions;
    std::vector<std::shared_ptr<void>> releases;
};

std::mutex mutex;
PutOff putOff;
CompleteRequest completeRequest = nullptr;

} // namespace

EngineLock::EngineLock() {
    mutex.lock();
}

EngineLock::~EngineLock() {
    auto due = std::exchange(putOff, {});
    mutex.unlock();
    for (const auto& completion : due.completions)
        completeRequest(completion.request, completion.outcome);
    for (auto& object : due.releases) // in order: a handle before the process in which it lives
        object.reset();
}

void completeLater(void* request, Status status, std::size_t size) {
    putOff.completions.push_back({request, {status, static_cast<std::uint32_t>(size)}});
}

void releaseLater(std::shared_ptr<void> object) {
    putOff.releases.push_back(std::move(object));
}

void setCompletion(CompleteRequest complete) {
    completeRequest = complete;
}

} // namespace zorvan::driver
