// Subscribers to the library's events that note what they are told, in one journal.
//
//     Journal journal;
//     Listener listener(journal, "listener");
//     Callback callback(journal, "script");
//     ...
//     EXPECT_EQ(journal.texts(), (Texts{"listener added COM5", "script COM5"}));
//
// Their lives are the test's. A reference that the library keeps too long fails the test at their end.
#pragma once

#include "base/com_object.h"
#include "simulation/call.h"

#include <condition_variable>
#include <functional>
#include <mutex>

namespace zorvan::simulation {

using Texts = std::vector<std::string>;

class Journal {
public:
    struct Entry {
        std::string text;
        DWORD thread;
    };

    void note(const std::string& text);
    void clear();

    // Waits until there are so many entries; fails the test when it takes too long.
    void await(std::size_t count);

    std::vector<Entry> entries() const;
    Texts texts() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable noted_;
    std::vector<Entry> entries_;
};

// The names of the ports in what an event brings.
std::string portNamesOf(SAFEARRAY& devices);
std::string portNamesOf(IDispatch& deviceArray);
std::string portNameOf(IVirtualSerialDevice& device);
const char* nameOf(LONG changeMode);

template <class Interface>
class Subscriber : public ComIdentity<Interface> {
public:
    Subscriber(Journal& journal, std::string name) : journal_(journal), name_(std::move(name)) {}
    ~Subscriber() { EXPECT_EQ(references_, 0) << "references to " << name_; }

    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return static_cast<ULONG>(++references_); }
    ULONG STDMETHODCALLTYPE Release() noexcept override {
        const long left = --references_;
        if (left == 0)
            onLastRelease();
        return static_cast<ULONG>(left);
    }

    // What a destructor would do.
    std::function<void()> onLastRelease = [] {};

    long references() const { return references_; }

protected:
    void note(const std::string& text) { journal_.note(name_ + " " + text); }

private:
    Journal& journal_;
    const std::string name_;
    std::atomic<long> references_{0};
};

class Listener : public Subscriber<IVirtualSerialLibraryListener> {
public:
    using Subscriber::Subscriber;

    std::function<HRESULT()> onEvent = [] { return S_OK; };

    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override {
        return noted("added " + portNamesOf(*devices));
    }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override {
        return noted("deleted " + portNamesOf(*devices));
    }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept override {
        return noted("changed " + portNameOf(*device) + nameOf(mode));
    }

private:
    HRESULT noted(const std::string& event) {
        note(event);
        return onEvent();
    }
};

// A script's function. Called otherwise than as a function, or with arguments that no event has, it fails the test.
class Callback : public Subscriber<IDispatch> {
public:
    using Subscriber::Subscriber;

    std::function<HRESULT(VARIANT& result)> onCall = [](VARIANT&) { return S_OK; };

    // The argument for the library's scripting methods; holds a reference.
    Variant variant();

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(
        DISPID member, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
        UINT*) noexcept override;
};

} // namespace zorvan::simulation
