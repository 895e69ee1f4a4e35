#include "listener.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace zorvan::test {

namespace {

constexpr std::chrono::seconds kTimeLimit{20};

const char* nameOf(Happening happening) {
    static const char* const kNames[] = {"added", "deleted", "renamed", "mode changed"};
    return kNames[static_cast<int>(happening)];
}

std::string narrow(const std::wstring& text) {
    return {text.begin(), text.end()};
}

std::string describe(const std::vector<Event>& events) {
    std::ostringstream text;
    for (const auto& event : events)
        text << "\n  " << nameOf(event.happening) << " " << narrow(event.portName) << " on thread " << event.thread;
    return text.str();
}

} // namespace

HRESULT rename(IVirtualSerialDevice& device, const std::wstring& newName) {
    const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> text(SysAllocString(newName.c_str()), SysFreeString);
    return device.put_portName(text.get());
}

HRESULT RecordingListener::added(SAFEARRAY* devices) noexcept {
    noteAll(Happening::Added, devices);
    return S_OK;
}

HRESULT RecordingListener::deleted(SAFEARRAY* devices) noexcept {
    noteAll(Happening::Deleted, devices);
    return S_OK;
}

HRESULT RecordingListener::changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept {
    note(mode == Change_PortName ? Happening::Renamed : Happening::ModeChanged, *device);
    return S_OK;
}

Event RecordingListener::waitFor(Happening happening, const std::wstring& portName) {
    return waitFor(
        [&](const Event& event) { return event.happening == happening && event.portName == portName; },
        nameOf(happening) + (" " + narrow(portName)));
}

Event RecordingListener::waitFor(Happening happening, const Device& device) {
    return waitFor(
        [&](const Event& event) { return event.happening == happening && event.device.get() == device.get(); },
        nameOf(happening) + std::string(" a certain device, ") + narrow(test::portName(*device)));
}

Event RecordingListener::waitFor(const Condition& condition, const std::string& what) {
    std::unique_lock lock(lock_);
    auto found = events_.end();
    const bool heard = noted_.wait_for(lock, kTimeLimit, [&] {
        found = std::find_if(events_.begin(), events_.end(), condition);
        return found != events_.end();
    });
    if (!heard)
        throw std::runtime_error("not heard: " + what + "; heard:" + describe(events_));
    return *found;
}

std::size_t RecordingListener::count(Happening happening) {
    const std::lock_guard lock(lock_);
    return static_cast<std::size_t>(std::count_if(
        events_.begin(), events_.end(), [&](const Event& event) { return event.happening == happening; }));
}

std::size_t RecordingListener::count(Happening happening, const Device& device) {
    const std::lock_guard lock(lock_);
    return static_cast<std::size_t>(std::count_if(events_.begin(), events_.end(), [&](const Event& event) {
        return event.happening == happening && event.device.get() == device.get();
    }));
}

void RecordingListener::forget() {
    std::vector<Event> dropped; // released after the lock
    const std::lock_guard lock(lock_);
    dropped.swap(events_);
}

void RecordingListener::noteAll(Happening happening, SAFEARRAY* devices) {
    for (ULONG i = 0; i < devices->rgsabound[0].cElements; ++i)
        note(happening, *static_cast<IVirtualSerialDevice**>(devices->pvData)[i]);
}

void RecordingListener::note(Happening happening, IVirtualSerialDevice& device) {
    Event event{happening, portName(device), Device(&device), GetCurrentThreadId()};
    const std::lock_guard lock(lock_);
    events_.push_back(std::move(event));
    noted_.notify_all();
}

Listening::Listening(Library library) : library_(std::move(library)), listener_(makeComObject<RecordingListener>()) {
    EXPECT_EQ(S_OK, library_->addListener(listener_.get()));
}

Listening::~Listening() {
    EXPECT_EQ(S_OK, library_->removeListener(listener_.get()));
    listener_->forget();
}

} // namespace zorvan::test
