#include "simulation/call.h"

#include "simulation/machine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

namespace zorvan::simulation {

std::recursive_mutex& simulationMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

std::string describeNumber(unsigned long long number) {
    char text[24];
    std::snprintf(text, sizeof text, number > 0xFFFF ? "0x%llx" : "%llu", number);
    return text;
}

std::string describe(const GUID& guid) {
    return nameOfClass(guid);
}

// A number in the place of a name.
static bool isOrdinal(const void* text) {
    return reinterpret_cast<ULONG_PTR>(text) <= 0xFFFF;
}

std::string describe(const char* text) {
    return isOrdinal(text) ? describe(static_cast<const void*>(text)) : text;
}

std::string describe(const wchar_t* text) {
    return isOrdinal(text) ? describe(static_cast<const void*>(text)) : describe(std::wstring(text));
}

std::string describe(SECURITY_ATTRIBUTES* attributes) {
    if (attributes == nullptr)
        return "null";
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(attributes->lpSecurityDescriptor, &control, &revision);
    const bool inherited = attributes->bInheritHandle != FALSE;
    return "{" + describe(attributes->nLength) + ", " + describe(control) + ", " + describe(inherited ? 1 : 0) + "}";
}

std::string describe(HANDLE handle) {
    if (handle == GetCurrentProcess() || handle == GetCurrentThread())
        return "own";
    const Guard lock(simulationMutex());
    const auto object = Machine::current().handles.find(handle);
    return object != nullptr ? object->description : handle == nullptr ? "null" : "...";
}

bool CallLog::Rule::applies(const std::string& called) {
    if (countdown == kOver || (!function.empty() && function != called))
        return false;
    if (countdown == kEvery)
        return true;
    if (--countdown != 0)
        return false;
    countdown = kOver;
    return true;
}

void CallLog::add(Rule rule) {
    const Guard lock(simulationMutex());
    rules_.push_back(std::move(rule));
}

void CallLog::fail(const std::string& function, int nth, DWORD error) {
    add({function, nth, [error](Fate& fate) { fate.error = error; }});
}

void CallLog::shortenNth(int nth, Share share) {
    add({{}, nth, [share](Fate& fate) { fate.share = share; }});
}

void CallLog::after(const std::string& function, int nth, std::function<void()> action) {
    add({function, nth, [action = std::move(action)](Fate& fate) { fate.actions.push_back(action); }});
}

bool CallLog::disturbed() const {
    const Guard lock(simulationMutex());
    return disturbed_;
}

void CallLog::clear() {
    const Guard lock(simulationMutex());
    texts_.clear();
    rules_.clear();
    disturbed_ = false;
}

std::vector<std::string> CallLog::names() const {
    auto names = texts();
    for (auto& text : names)
        text.resize(text.find('('));
    return names;
}

std::vector<std::string> CallLog::texts(const std::string& function) const {
    const Guard lock(simulationMutex());
    std::vector<std::string> texts;
    for (const auto& text : texts_)
        if (function.empty() || text.starts_with(function + "("))
            texts.push_back(text);
    return texts;
}

CallLog::Fate CallLog::record(const std::string& function, std::string text) {
    Fate fate;
    for (auto& rule : rules_)
        if (rule.applies(function))
            rule.effect(fate);
    texts_.push_back(std::move(text));
    return fate;
}

static std::string callText(const char* function, const std::vector<std::string>& arguments) {
    std::string list;
    for (const auto& argument : arguments)
        list += (list.empty() ? "" : ", ") + argument;
    return std::string(function) + "(" + list + ")";
}

Call::Call(const char* function, const std::vector<std::string>& arguments)
    : lastError_(GetLastError()), lock_(simulationMutex()), machine_(Machine::current()), handles_(machine_.handles),
      function_(function), fate_(machine_.calls.record(function_, callText(function, arguments))) {
    SetLastError(lastError_);
}

void Call::over() const {
    if (!lock_.owns_lock())
        return;
    for (const auto& action : fate_.actions)
        action();
    const DWORD lastError = GetLastError();
    lock_.unlock();
    SetLastError(lastError);
}

void Call::failIfTold() const {
    if (!fate_.error)
        return;
    machine_.calls.disturbed_ = true;
    throw Failure{*fate_.error};
}

std::size_t Call::bring(std::size_t all) const {
    if (fate_.share == Share::Whole)
        return all;
    machine_.calls.disturbed_ = true;
    return fate_.share == Share::Half ? all / 2 : 0;
}

void Call::reportMisuse(const std::string& what, DWORD error) const {
    ADD_FAILURE() << function_ << ": " << what << "\nThe calls before it:\n"
                  << testing::PrintToString(machine_.calls.texts());
    throw Failure{error};
}

void Call::reportBadHandle(HANDLE handle) const {
    const auto object = handles_.find(handle);
    const char* kind = HandleTable::isSimulated(handle) ? "a closed handle" : "a handle that it was not given";
    reportMisuse(
        "the library used " + (object ? "a handle of the wrong kind, " + object->description : kind) + " (" +
            describeNumber(reinterpret_cast<ULONG_PTR>(handle)) + ")",
        ERROR_INVALID_HANDLE);
}

} // namespace zorvan::simulation
