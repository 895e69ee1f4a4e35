// Loading, using and unloading the library over and over: nothing of it may stay behind in the process.
#include "client.h"
#include "support/event_watch.h"
#include "support/port_control.h"
#include "support/process_figures.h"

#include "support/program.h"
#include "support/test_main.h"

#include <bit>

namespace zorvan::test {

namespace {

using Library = ComPointer<IVirtualSerialLibrary>;

bool isLoaded() {
    return GetModuleHandleW(L"zorvanlib.dll") != nullptr;
}

// Past COM, which would keep the library loaded for a while after its last use.
HMODULE load() {
    const HMODULE module = LoadLibraryW(siblingPath(L"..\\zorvanlib.dll").c_str());
    expect(module != nullptr, "that the library loads");
    return module;
}

template <class Function>
Function* entryPoint(HMODULE module, const char* name) {
    return std::bit_cast<Function*>(GetProcAddress(module, name));
}

Library createLibraryOf(HMODULE module) {
    ComPointer<IClassFactory> factory;
    Library library;
    require(
        entryPoint<decltype(DllGetClassObject)>(module, "DllGetClassObject")(
            __uuidof(VirtualSerialLibrary), IID_PPV_ARGS(factory.put())),
        "DllGetClassObject");
    require(factory->CreateInstance(nullptr, IID_PPV_ARGS(library.put())), "CreateInstance");
    return library;
}

// The class belongs to the module, which the address of its handle names.
bool isWindowClass(HMODULE module) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    return GetClassInfoExW(module, L"ZorvanlibEventWindow", &windowClass) != FALSE;
}

// The first rounds are not counted: the system keeps some things from the first uses on. Threads of the system's own,
// such as the one that delivers notifications, end a little later than their last use.
void expectNothingIsLeft(int rounds, const std::function<void()>& round) {
    constexpr int kWarmUp = 5;
    for (int i = 0; i < kWarmUp; ++i)
        round();
    const auto before = devkit::thisProcess();
    for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i)
        round();
    EXPECT_TRUE(becomesTrue([&] {
        const auto now = devkit::thisProcess();
        return now.threads <= before.threads && now.handles <= before.handles;
    })) << "before: "
        << before.threads << " threads, " << before.handles << " handles; now: " << devkit::thisProcess().threads
        << ", " << devkit::thisProcess().handles;
}

// Another process makes the ports: COM must not have loaded the library into this one.
class LoadUnloadSystemTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(isLoaded());
        act(L"create COM95");
        act(L"create COM96");
    }
    void TearDown() override {
        act(L"delete COM95");
        act(L"delete COM96");
    }
};

void loadUseAndUnload() {
    const HMODULE module = load();
    const auto canUnload = entryPoint<decltype(DllCanUnloadNow)>(module, "DllCanUnloadNow");
    {
        const auto library = createLibraryOf(module);
        const auto watch = makeComObject<EventWatch>();
        EXPECT_EQ(S_OK, library->addListener(watch.get()));
        DISPID id = 0;
        EXPECT_EQ(S_OK, dispatchId(*library, L"devicesArray", id));
        // A failing call: inside the library it is an exception, of which nothing may stay behind either.
        ComPointer<IVirtualSerialDevice> none;
        EXPECT_EQ(E_INVALIDARG, library->createDevice(Variant(0L), none.put()));
        EXPECT_TRUE(isWindowClass(module));
        EXPECT_EQ(S_FALSE, canUnload());
        EXPECT_EQ(S_OK, library->removeListener(watch.get()));
    }
    EXPECT_EQ(S_OK, canUnload());
    EXPECT_FALSE(isWindowClass(module));
    FreeLibrary(module);
    EXPECT_FALSE(isLoaded()) << "the event thread ends before the last release returns";
}

TEST_F(LoadUnloadSystemTest, AThousandTimes) {
    expectNothingIsLeft(1000, loadUseAndUnload);
}

// Lets go of the last reference from inside a listener.
class LastHolder final : public ComObject<IVirtualSerialLibraryListener> {
public:
    explicit LastHolder(Library library) : library_(std::move(library)) {}

    HRESULT STDMETHODCALLTYPE added(SAFEARRAY*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE deleted(SAFEARRAY*) noexcept override { return S_OK; }
    HRESULT STDMETHODCALLTYPE changed(IVirtualSerialDevice*, ChangeMode) noexcept override {
        library_ = {};
        return S_OK;
    }

private:
    Library library_;
};

TEST_F(LoadUnloadSystemTest, LastReleaseInsideAListener) {
    const auto port = devkit::controlPathOf(L"COM95");
    expectNothingIsLeft(50, [&] {
        const HMODULE module = load();
        {
            const auto library = createLibraryOf(module);
            EXPECT_EQ(S_OK, library->addListener(makeComObject<LastHolder>(library).get()));
        }
        FreeLibrary(module);
        ASSERT_TRUE(isLoaded()) << "the event thread keeps the module loaded";
        devkit::bridge(port, L"COM96");
        ASSERT_TRUE(becomesTrue([] { return !isLoaded(); })) << "the event thread has taken the library along";
        EXPECT_FALSE(isWindowClass(module));
        devkit::disconnect(port);
    });
}

TEST_F(LoadUnloadSystemTest, LastReleaseWhileTheProcessEnds) {
    EXPECT_EQ(runProgram(L"rundll32.exe " + siblingPath(L"late_client.dll") + L",keepLibrary").exitCode, 0);
}

TEST_F(LoadUnloadSystemTest, DoesNotLoadWithoutAPlaceForExceptions) {
    std::vector<DWORD> slots;
    for (DWORD slot = FlsAlloc(nullptr); slot != FLS_OUT_OF_INDEXES; slot = FlsAlloc(nullptr))
        slots.push_back(slot);
    EXPECT_EQ(LoadLibraryW(siblingPath(L"..\\zorvanlib.dll").c_str()), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DLL_INIT_FAILED});
    for (const DWORD slot : slots)
        FlsFree(slot);
    loadUseAndUnload();
}

} // namespace

} // namespace zorvan::test
