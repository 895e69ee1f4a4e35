// A listener that notes what it hears.
#pragma once

#include "client.h"

#include "base/com_object.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace zorvan::test {

// Sets the port name.
HRESULT rename(IVirtualSerialDevice& device, const std::wstring& newName);

enum class Happening { Added, Deleted, Renamed, ModeChanged };

struct Event {
    Happening happening;
    std::wstring portName; // when the event was heard
    Device device;         // kept, so that no other device gets the same address
    DWORD thread;
};

class RecordingListener final : public ComObject<IVirtualSerialLibraryListener> {
public:
    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override;
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override;
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept override;

    // Waits until the event was heard; the test case ends when that takes too long. Returns its first occurrence.
    Event waitFor(Happening happening, const std::wstring& portName);
    Event waitFor(Happening happening, const Device& device);

    std::size_t count(Happening happening);
    std::size_t count(Happening happening, const Device& device);
    // The devices keep their library alive.
    void forget();

private:
    using Condition = std::function<bool(const Event&)>;

    void note(Happening happening, IVirtualSerialDevice& device);
    void noteAll(Happening happening, SAFEARRAY* devices);
    Event waitFor(const Condition& condition, const std::string& what);

    std::mutex lock_;
    std::condition_variable noted_;
    std::vector<Event> events_;
};

// A listener of a library for as long as this lives.
class Listening {
public:
    explicit Listening(Library library);
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
    ~Listening();

    RecordingListener& listener() const { return *listener_; }

private:
    Library library_;
    ComPointer<RecordingListener> listener_;
};

} // namespace zorvan::test
