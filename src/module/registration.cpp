#include "module/registration.h"

#include "base/com_pointer.h"
#include "base/hresult_error.h"
#include "base/module_instance.h"
#include "module/module.h"
#include "module/registry_script.h"
#include "module/registry_writer.h"
#include "module/resource.h"

#include <oleauto.h>

#include <bit>
#include <cwchar>
#include <mutex>
#include <string>

namespace zorvan::registration {

namespace {

constexpr const wchar_t* kApplicationId = L"{AEE4DA7F-086F-441D-8EF9-430D82DBC750}";

enum class Scope { Machine, CurrentUser };

Scope processScope = Scope::Machine; // read and changed by the entry points alone, which hold the lock

// Registration is written in the system's locale, whatever the calling thread uses. Setting it cannot fail for
// locales that the system itself has named.
class SystemLocale {
public:
    SystemLocale() : saved_(GetThreadLocale()) { SetThreadLocale(LOCALE_SYSTEM_DEFAULT); }
    SystemLocale(const SystemLocale&) = delete;
    SystemLocale& operator=(const SystemLocale&) = delete;
    ~SystemLocale() { SetThreadLocale(saved_); }

private:
    LCID saved_;
};

std::wstring modulePath() {
    std::wstring path;
    DWORD length = 0;
    do { // a path that does not fit is cut off and fills the buffer
        path.resize(path.size() + MAX_PATH);
        length = GetModuleFileNameW(moduleInstance(), path.data(), static_cast<DWORD>(path.size()));
    } while (length == path.size());
    if (length == 0)
        throwLastError();
    path.resize(length);
    return path;
}

// The scripts.

std::string_view resourceText(UINT number) {
    const HMODULE module = moduleInstance();
    const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(number), L"REGISTRY");
    const HGLOBAL loaded = resource == nullptr ? nullptr : LoadResource(module, resource);
    if (loaded == nullptr)
        throwLastError();
    return {static_cast<const char*>(LockResource(loaded)), SizeofResource(module, resource)};
}

// Every variable of both scripts. Within quotes a path needs its quotes doubled; Module_Raw has the path as it is.
std::wstring expandedScript(UINT number) {
    const std::string_view text = resourceText(number);
    const std::wstring path = modulePath();
    const Replacement replacements[] = {
        {"APPID", kApplicationId},
        {"MODULE", doubleQuotes(path)},
        {"Module_Raw", path},
    };
    // The scripts are plain ASCII.
    return replaceVariables(std::wstring(text.begin(), text.end()), replacements);
}

std::vector<RegistryTree> loadScript(UINT number, Scope scope) {
    const std::wstring script = expandedScript(number);
    return scope == Scope::CurrentUser ? parseForCurrentUser(script) : parseRegistryScript(script);
}

// The type library.

// What registers for the current user is looked up, so that the module also loads on a system that lacks it. Its
// signature is that of the function for the machine.
template <class Function>
Function* automationFunction(Scope scope, Function* forMachine, const char* nameForCurrentUser) {
    if (scope == Scope::Machine)
        return forMachine;
    const FARPROC function = GetProcAddress(GetModuleHandleW(L"OLEAUT32.DLL"), nameForCurrentUser);
    if (function == nullptr)
        throwLastError();
    return std::bit_cast<Function*>(function);
}

ComPointer<ITypeLib> loadTypeLibrary(const std::wstring& path) {
    ComPointer<ITypeLib> library;
    throwIfFailed(LoadTypeLib(path.c_str(), library.put()));
    return library;
}

// The attributes of a type library go back to it.
class LibraryAttributes {
public:
    explicit LibraryAttributes(ComPointer<ITypeLib> library) : library_(std::move(library)) {
        throwIfFailed(library_->GetLibAttr(&attributes_));
    }
    LibraryAttributes(const LibraryAttributes&) = delete;
    LibraryAttributes& operator=(const LibraryAttributes&) = delete;
    ~LibraryAttributes() { library_->ReleaseTLibAttr(attributes_); }

    const TLIBATTR* operator->() const { return attributes_; }

private:
    ComPointer<ITypeLib> library_;
    TLIBATTR* attributes_ = nullptr;
};

void registerTypeLibrary(Scope scope) {
    std::wstring path = modulePath();
    const ComPointer<ITypeLib> library = loadTypeLibrary(path);
    const auto registerLibrary = automationFunction(scope, &RegisterTypeLib, "RegisterTypeLibForUser");
    throwIfFailed(registerLibrary(library.get(), path.data(), nullptr));
}

void unregisterTypeLibrary(Scope scope) {
    const LibraryAttributes library(loadTypeLibrary(modulePath()));
    const auto unregisterLibrary = automationFunction(scope, &UnRegisterTypeLib, "UnRegisterTypeLibForUser");
    throwIfFailed(unregisterLibrary(
        library->guid, library->wMajorVerNum, library->wMinorVerNum, library->lcid, library->syskind));
}

// The steps of registration and of removal, in their order.

void registerApplicationId(Scope scope) {
    writeTrees(loadScript(IDR_APPLICATION_ID_SCRIPT, scope));
}

void unregisterApplicationId(Scope scope) {
    removeTrees(loadScript(IDR_APPLICATION_ID_SCRIPT, scope));
}

void registerClass(Scope scope) {
    writeTrees(loadScript(IDR_CLASS_SCRIPT, scope));
}

void unregisterClass(Scope scope) {
    removeTrees(loadScript(IDR_CLASS_SCRIPT, scope));
}

using Step = void(Scope);
constexpr Step* kRegistration[] = {registerApplicationId, registerClass, registerTypeLibrary};
constexpr Step* kRemoval[] = {unregisterClass, unregisterTypeLibrary, unregisterApplicationId};

void runRegistration(Scope scope) {
    const SystemLocale locale;
    for (Step* step : kRegistration)
        step(scope);
}

void runRemoval(Scope scope) {
    for (Step* step : kRemoval)
        step(scope);
}

// Unlike a removal it goes on after a failure: what was never written cannot be removed, and must not keep the rest
// from being removed.
void undoRegistration(Scope scope) {
    for (Step* step : kRemoval)
        comBoundary([&] { step(scope); });
}

void runUndoableRegistration(Scope scope) {
    try {
        runRegistration(scope);
    } catch (...) {
        undoRegistration(scope);
        throw;
    }
}

bool asksForCurrentUser(const wchar_t* commandLine) {
    constexpr wchar_t kUser[] = L"user";
    // The terminator is compared too, so that nothing may follow.
    return commandLine != nullptr && _wcsnicmp(commandLine, kUser, std::size(kUser)) == 0;
}

} // namespace

void registerServer() {
    const std::unique_lock held(registrationLock());
    runRegistration(processScope);
}

void unregisterServer() {
    const std::unique_lock held(registrationLock());
    runRemoval(processScope);
}

void install(bool install, const wchar_t* commandLine) {
    const std::unique_lock held(registrationLock());
    if (asksForCurrentUser(commandLine))
        processScope = Scope::CurrentUser;
    if (install)
        runUndoableRegistration(processScope);
    else
        runRemoval(processScope);
}

} // namespace zorvan::registration
