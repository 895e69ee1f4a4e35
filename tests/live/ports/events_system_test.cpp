// Events for real: what other processes do to the ports. Callbacks of scripts are among the examples.
#include "client.h"

#include "base/com_object.h"

#include <mutex>

namespace zorvan::test {

namespace {

// Notes what it hears, as "added COM80".
class Recorder final : public ComObject<IVirtualSerialLibraryListener> {
public:
    HRESULT STDMETHODCALLTYPE added(SAFEARRAY* devices) noexcept override {
        noteAll(L"added ", devices);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY* devices) noexcept override {
        noteAll(L"deleted ", devices);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice* device, ChangeMode mode) noexcept override {
        note(mode == Change_PortName ? L"name of " : L"mode of ", *device);
        return S_OK;
    }

    std::size_t count(const wchar_t* event) {
        const std::lock_guard lock(lock_);
        return events_.count(event);
    }
    std::set<DWORD> threads() {
        const std::lock_guard lock(lock_);
        return threads_;
    }

private:
    void noteAll(const wchar_t* what, SAFEARRAY* devices) {
        for (ULONG i = 0; i < devices->rgsabound[0].cElements; ++i)
            note(what, *static_cast<IVirtualSerialDevice**>(devices->pvData)[i]);
    }
    void note(const wchar_t* what, IVirtualSerialDevice& device) {
        const auto name = portName(device);
        const std::lock_guard lock(lock_);
        events_.insert(what + name);
        threads_.insert(GetCurrentThreadId());
    }

    std::mutex lock_;
    std::multiset<std::wstring> events_;
    std::set<DWORD> threads_;
};

using EventsSystemTest = SystemTest;

TEST_F(EventsSystemTest, AnotherProcessChangesThePorts) {
    auto& own = create(L"COM81");
    const auto recorder = makeComObject<Recorder>();
    check(library_->addListener(recorder.get()), "addListener");
    const struct {
        const wchar_t* action;
        const wchar_t* event;
        std::size_t count;
    } steps[] = {
        {L"create COM80", L"added COM80", 1},         {L"rename COM80 COM82", L"name of COM82", 1},
        {L"bridge COM82 COM81", L"mode of COM81", 1}, {L"disconnect COM82", L"mode of COM81", 2},
        {L"delete COM82", L"deleted COM82", 1},       {L"delete COM81", L"deleted COM81", 1},
    };
    for (const auto& step : steps) {
        act(step.action);
        EXPECT_TRUE(becomesTrue([&] { return recorder->count(step.event) >= step.count; }))
            << testing::PrintToString(step.action);
    }
    for (const auto* event : {L"added COM80", L"name of COM82", L"deleted COM82", L"deleted COM81"})
        EXPECT_EQ(1U, recorder->count(event)) << testing::PrintToString(event);
    EXPECT_EQ(1U, recorder->threads().size());
    EXPECT_EQ(0U, recorder->threads().count(GetCurrentThreadId()));
    EXPECT_EQ(E_HANDLE, own.deleteDevice()) << "the library has seen it go";
    check(library_->removeListener(recorder.get()), "removeListener");
}

} // namespace

} // namespace zorvan::test
