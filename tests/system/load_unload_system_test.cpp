// Loading, using and unloading the library over and over: nothing of it may stay behind in the process.
#include "listener.h"
#include "other_process.h"
#include "port_control.h"

#include "base/unique.h"
#include "runner/runner.h"

#include <tlhelp32.h>
#include <winternl.h>

#include <algorithm>
#include <chrono>
#include <functional>

namespace zorvan::test {

namespace {

constexpr wchar_t kModuleName[] = L"zorvanlib.dll";
constexpr wchar_t kWindowClass[] = L"ZorvanlibEventWindow";

struct ModuleTraits {
    using Value = HMODULE;
    static Value invalid() { return nullptr; }
    static void close(Value module) { FreeLibrary(module); }
};
using UniqueModule = Unique<ModuleTraits>;

// Loads the library past COM, which would keep it loaded for a while after its last use.
UniqueModule loadModule() {
    UniqueModule module(LoadLibraryW(siblingPath(L"..\\zorvanlib.dll").c_str()));
    if (!module)
        throw std::runtime_error("zorvanlib.dll does not load: error " + std::to_string(GetLastError()));
    return module;
}

FARPROC exportOf(HMODULE module, const char* name) {
    const auto function = GetProcAddress(module, name);
    if (function == nullptr)
        throw std::runtime_error(std::string("no export ") + name);
    return function;
}

Library createLibraryOf(HMODULE module) {
    // GetProcAddress has one type for every function.
    const auto getClassObject = reinterpret_cast<decltype(&DllGetClassObject)>(
        reinterpret_cast<void*>(exportOf(module, "DllGetClassObject")));
    ComPointer<IClassFactory> factory;
    Library library;
    EXPECT_EQ(
        S_OK,
        getClassObject(__uuidof(VirtualSerialLibrary), IID_IClassFactory, reinterpret_cast<void**>(factory.put())));
    EXPECT_EQ(
        S_OK,
        factory->CreateInstance(nullptr, __uuidof(IVirtualSerialLibrary), reinterpret_cast<void**>(library.put())));
    return library;
}

bool canUnload(HMODULE module) {
    const auto canUnloadNow =
        reinterpret_cast<decltype(&DllCanUnloadNow)>(reinterpret_cast<void*>(exportOf(module, "DllCanUnloadNow")));
    return canUnloadNow() == S_OK;
}

int threadCount() {
    const UniqueHandle snapshot(fileHandle(CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0)));
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot.get(), &entry); more; more = Thread32Next(snapshot.get(), &entry))
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    return count;
}

// One entry of the system's list of all handles; the documented headers lack it.
struct SystemHandle {
    void* object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT creatorBackTrace;
    USHORT objectType;
    ULONG attributes;
    ULONG reserved;
};

struct SystemHandles {
    ULONG_PTR count;
    ULONG_PTR reserved;
    SystemHandle handles[1];
};

// From the list of all, because Wine's GetProcessHandleCount answers 0.
int handleCount() {
    ULONG extendedHandleInformation = 64; // beyond the enumeration's declared range
    std::vector<ULONG_PTR> buffer(1 << 18);
    const auto status = NtQuerySystemInformation(
        static_cast<SYSTEM_INFORMATION_CLASS>(extendedHandleInformation), buffer.data(),
        static_cast<ULONG>(buffer.size() * sizeof buffer[0]), nullptr);
    EXPECT_LE(0, status) << "the handles cannot be counted";
    const auto* all = reinterpret_cast<const SystemHandles*>(buffer.data());
    return static_cast<int>(std::count_if(all->handles, all->handles + all->count, [](const SystemHandle& entry) {
        return entry.processId == GetCurrentProcessId();
    }));
}

// The class belongs to the module, which the address of its handle names.
bool isWindowClass(HMODULE module) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    return GetClassInfoExW(module, kWindowClass, &windowClass) != FALSE;
}

bool becomesTrue(const std::function<bool()>& condition) {
    constexpr ULONGLONG kTimeLimit = 10000; // milliseconds
    const auto deadline = GetTickCount64() + kTimeLimit;
    while (!condition()) {
        if (GetTickCount64() > deadline)
            return false;
        Sleep(1);
    }
    return true;
}

// What the process holds while the library is not loaded.
struct Holdings {
    int threads = threadCount();
    int handles = handleCount();

    bool within(const Holdings& limit) const { return threads <= limit.threads && handles <= limit.handles; }
};

std::ostream& operator<<(std::ostream& out, const Holdings& holdings) {
    return out << holdings.threads << " threads, " << holdings.handles << " handles";
}

// Threads of the system's own, such as the one that delivers notifications, end a little later than their last use:
// some that were there before may be gone.
void expectNoMoreThan(const Holdings& before) {
    EXPECT_TRUE(becomesTrue([&] { return Holdings().within(before); }))
        << "before: " << before << ", now: " << Holdings();
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

// Another process makes the ports: COM must not have loaded the library into this one.
class LoadUnloadSystemTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(nullptr, GetModuleHandleW(kModuleName));
        createElsewhere(kPort);
        createElsewhere(kPartner);
        controlPath_ = devkit::controlPathOf(kPort);
    }

    void TearDown() override {
        deleteElsewhere(kPort);
        deleteElsewhere(kPartner);
    }

    static constexpr wchar_t kPort[] = L"COM95";
    static constexpr wchar_t kPartner[] = L"COM96";
    std::wstring controlPath_;
};

void useLibrary(IVirtualSerialLibrary& library) {
    EXPECT_LE(2U, listDevices(library).size());
    auto name = std::wstring(L"devicesArray");
    auto* names = name.data();
    DISPID id = 0;
    EXPECT_EQ(S_OK, library.GetIDsOfNames(IID_NULL, &names, 1, LOCALE_USER_DEFAULT, &id));
    const Listening listening{Library(&library)};
    // A failing call: inside the library it is an exception, of which nothing may stay behind either.
    VARIANT number{};
    number.vt = VT_I4;
    ComPointer<IVirtualSerialDevice> none;
    EXPECT_EQ(E_INVALIDARG, library.createDevice(number, none.put()));
}

void loadUseAndUnload() {
    auto module = loadModule();
    const HMODULE address = module.get();
    {
        const auto library = createLibraryOf(address);
        useLibrary(*library);
        EXPECT_TRUE(isWindowClass(address));
        EXPECT_FALSE(canUnload(address));
    }
    EXPECT_TRUE(canUnload(address));
    EXPECT_FALSE(isWindowClass(address));
    module.reset();
    EXPECT_EQ(nullptr, GetModuleHandleW(kModuleName)) << "the event thread ends before the last release returns";
}

TEST_F(LoadUnloadSystemTest, AThousandTimes) {
    constexpr int kRounds = 1000;
    constexpr int kWarmUp = 5; // the system keeps some things from the first uses on
    allowTime(std::chrono::minutes(3));
    for (int i = 0; i < kWarmUp; ++i)
        loadUseAndUnload();
    const Holdings before;
    for (int i = 0; i < kRounds && !HasFailure(); ++i)
        loadUseAndUnload();
    expectNoMoreThan(before);
}

TEST_F(LoadUnloadSystemTest, LastReleaseInsideAListener) {
    constexpr int kRounds = 50;
    allowTime(std::chrono::minutes(2));
    HMODULE address = nullptr;
    const auto round = [&] {
        auto module = loadModule();
        address = module.get();
        auto library = createLibraryOf(address);
        const auto holder = makeComObject<LastHolder>(library);
        EXPECT_EQ(S_OK, library->addListener(holder.get()));
        library = {};
        module.reset();
        ASSERT_NE(nullptr, GetModuleHandleW(kModuleName)) << "the event thread keeps the module loaded";
        devkit::bridge(controlPath_, kPartner);
        ASSERT_TRUE(becomesTrue([] { return GetModuleHandleW(kModuleName) == nullptr; }))
            << "the event thread has ended and taken the library along";
        EXPECT_FALSE(isWindowClass(address));
        devkit::disconnect(controlPath_);
    };
    round();
    const Holdings before;
    for (int i = 0; i < kRounds && !HasFailure(); ++i)
        round();
    expectNoMoreThan(before);
}

} // namespace

} // namespace zorvan::test
