#include "engine_lock.h"

#include "base/slim_lock.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <utility>
#include <vector>

namespace zorvan::engine {
namespace {

struct Completion {
    void* request;
    Outcome outcome;
};

SlimLock mutex;                      // unlike std::mutex, needs no memory when it is first taken
std::vector<Completion> completions; // has room for every request that is expected
std::size_t expected = 0;
Releasable::Chain releases;
CompleteRequest completeRequest = nullptr;

// The first few of what is due, so that it needs no memory.
class DueCompletions {
public:
    DueCompletions() : count_(std::min(completions.size(), due_.size())) {
        const auto end = completions.begin() + static_cast<std::ptrdiff_t>(count_);
        std::copy(completions.begin(), end, due_.begin());
        completions.erase(completions.begin(), end);
        expected -= count_;
    }

    bool none() const { return count_ == 0; }
    void deliver() const {
        for (std::size_t i = 0; i < count_; ++i)
            completeRequest(due_[i].request, due_[i].outcome);
    }

private:
    std::array<Completion, 16> due_{};
    std::size_t count_;
};

// Also what is being put off by others meanwhile.
void deliverAll(DueCompletions due) {
    while (!due.none()) {
        due.deliver();
        const std::lock_guard lock(mutex);
        due = DueCompletions();
    }
}

} // namespace

void Releasable::Chain::append(std::shared_ptr<Releasable> object) noexcept {
    auto& link = last_ ? last_->next_ : first_;
    last_ = object.get();
    link = std::move(object);
}

// One by one: each might end a long chain of the others.
void Releasable::Chain::release() noexcept {
    last_ = nullptr;
    while (first_)
        first_ = std::move(first_->next_);
}

EngineLock::EngineLock() {
    mutex.lock();
}

EngineLock::~EngineLock() {
    const DueCompletions due;
    auto ended = std::exchange(releases, {});
    mutex.unlock();
    deliverAll(due);
    ended.release();
}

void expectCompletion() {
    if (completions.capacity() <= expected)
        completions.reserve(2 * expected + 16);
    ++expected;
}

void completeLater(void* request, Status status, std::size_t size) noexcept {
    completions.push_back({request, {status, static_cast<std::uint32_t>(size)}});
}

void releaseLater(std::shared_ptr<Releasable> object) noexcept {
    if (object)
        releases.append(std::move(object));
}

void setCompletion(CompleteRequest complete) {
    completeRequest = complete;
}

void completeUnexpected(void* request, Status status) {
    completeRequest(request, {status, 0});
}

} // namespace zorvan::engine
