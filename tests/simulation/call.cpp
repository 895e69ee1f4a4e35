#include "simulation/call.h"

#include "simulation/machine.h"
#include "simulation/plug_and_play.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

namespace zorvan::simulation {

namespace {

using Guard = std::lock_guard<std::recursive_mutex>;

std::string joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

std::string asciiOf(const std::wstring& text) {
    std::string ascii;
    for (const wchar_t unit : text)
        ascii += unit < 0x80 ? static_cast<char>(unit) : '?';
    return ascii;
}

} // namespace

std::recursive_mutex& simulationMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

std::string describe(const std::string& text) {
    return text;
}

std::string describe(const char* text) {
    return text;
}

std::string describe(const std::wstring& text) {
    return asciiOf(text);
}

std::string describe(const wchar_t* text) {
    return text == nullptr ? "null" : asciiOf(text);
}

std::string describe(unsigned long long number) {
    return std::to_string(number);
}

std::string describe(Hex number) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llx", number.value);
    return text;
}

std::string describe(const GUID* guid) {
    return guid == nullptr ? "null" : nameOfClass(*guid);
}

std::string describe(HANDLE handle) {
    const Guard lock(simulationMutex());
    const auto object = Machine::current().handles.find(handle);
    return object == nullptr ? describe(Hex{reinterpret_cast<ULONG_PTR>(handle)}) : object->description();
}

bool CallLog::Rule::applies(const std::string& called) {
    if (!function.empty() && function != called)
        return false;
    if (countdown == kEvery)
        return true;
    if (countdown == kOver)
        return false;
    if (--countdown != 0)
        return false;
    countdown = kOver;
    return true;
}

void CallLog::fail(const std::string& function, int nth, DWORD error) {
    const Guard lock(simulationMutex());
    failures_.push_back({function, nth, error, {}});
}

void CallLog::failNth(int nth, DWORD error) {
    fail({}, nth, error);
}

void CallLog::shortenNth(int nth, Share share) {
    const Guard lock(simulationMutex());
    failures_.push_back({{}, nth, ERROR_SUCCESS, {}, share});
}

bool CallLog::disturbed() const {
    const Guard lock(simulationMutex());
    return disturbed_;
}

void CallLog::after(const std::string& function, int nth, std::function<void()> action) {
    const Guard lock(simulationMutex());
    actions_.push_back({function, nth, 0, std::move(action)});
}

void CallLog::clear() {
    const Guard lock(simulationMutex());
    records_.clear();
    failures_.clear();
    actions_.clear();
    disturbed_ = false;
}

int CallLog::count(const std::string& function) const {
    return static_cast<int>(texts(function).size());
}

std::vector<std::string> CallLog::names() const {
    const Guard lock(simulationMutex());
    std::vector<std::string> names;
    for (const auto& record : records_)
        names.push_back(record.function);
    return names;
}

std::vector<std::string> CallLog::texts() const {
    const Guard lock(simulationMutex());
    std::vector<std::string> texts;
    for (const auto& record : records_)
        texts.push_back(record.text());
    return texts;
}

std::vector<std::string> CallLog::texts(const std::string& function) const {
    const Guard lock(simulationMutex());
    std::vector<std::string> texts;
    for (const auto& record : records_)
        if (record.function == function)
            texts.push_back(record.text());
    return texts;
}

CallLog::Fate CallLog::add(Record record) {
    records_.push_back(std::move(record));
    Fate fate;
    // Each rule counts every call; the first one whose turn it is decides.
    for (auto& rule : failures_) {
        if (!rule.applies(records_.back().function) || fate.error)
            continue;
        fate.share = rule.share;
        if (rule.share == Share::Whole)
            fate.error = rule.error;
    }
    return fate;
}

std::vector<std::function<void()>> CallLog::actionsAfter(const std::string& function) {
    std::vector<std::function<void()>> due;
    for (auto& rule : actions_)
        if (rule.applies(function))
            due.push_back(rule.action);
    return due;
}

Call::Call(const char* function, const std::vector<std::string>& arguments)
    : lastError_(GetLastError()), lock_(simulationMutex()), machine_(Machine::current()), function_(function),
      fate_(machine_.calls.add({function, joined(arguments)})) {
    SetLastError(lastError_);
}

Call::~Call() {
    lastError_ = GetLastError();
    const auto actions = machine_.calls.actionsAfter(function_);
    SetLastError(lastError_);
    for (const auto& action : actions)
        action();
    lastError_ = GetLastError();
    lock_.unlock();
    SetLastError(lastError_);
}

std::optional<DWORD> Call::failure() const {
    if (fate_.error)
        machine_.calls.disturbed_ = true;
    return fate_.error;
}

bool Call::fails() const {
    const auto error = failure();
    if (error)
        SetLastError(*error);
    return error.has_value();
}

std::optional<HRESULT> Call::failedResult() const {
    if (const auto error = failure())
        return HRESULT_FROM_WIN32(static_cast<LONG>(*error));
    return std::nullopt;
}

std::size_t Call::bring(std::size_t all) const {
    if (fate_.share == Share::Whole)
        return all;
    machine_.calls.disturbed_ = true;
    return fate_.share == Share::Half ? all / 2 : 0;
}

BOOL Call::failed(DWORD error) {
    SetLastError(error);
    return FALSE;
}

HANDLE Call::open(std::shared_ptr<Object> object) const {
    return machine_.handles.open(std::move(object));
}

void Call::close(HANDLE handle) const {
    machine_.handles.close(handle);
}

std::shared_ptr<Object> Call::find(HANDLE handle) const {
    return machine_.handles.find(handle);
}

void Call::reportMisuse(const std::string& what) const {
    ADD_FAILURE() << function_ << ": " << what << "\nThe calls before it:\n"
                  << testing::PrintToString(machine_.calls.texts());
}

void Call::reportBadHandle(HANDLE handle) const {
    const auto object = find(handle);
    const char* kind = HandleTable::isSimulated(handle) ? "a closed handle" : "a handle that it was not given";
    reportMisuse(
        "the library used " + (object ? "a handle of the wrong kind, " + object->description() : kind) + " (" +
        describe(Hex{reinterpret_cast<ULONG_PTR>(handle)}) + ")");
    SetLastError(ERROR_INVALID_HANDLE);
}

} // namespace zorvan::simulation
