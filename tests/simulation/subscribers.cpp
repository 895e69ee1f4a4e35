#include "simulation/subscribers.h"

#include "simulation/call.h"

namespace zorvan::simulation {

namespace {

constexpr std::chrono::seconds kPatience{20};

// What cannot be read is a "?" in the journal.
const char* const kUnreadable = "?";

std::string portNameOf(IDispatch& device) {
    Variant name;
    get(device, L"portName", &name);
    return name.vt == VT_BSTR ? describe({name.bstrVal, SysStringLen(name.bstrVal)}) : kUnreadable;
}

void appendWord(std::string& text, const std::string& word) {
    text += (text.empty() ? "" : " ") + word;
}

std::string argumentsText(const DISPPARAMS& parameters) {
    const auto* arguments = parameters.rgvarg;
    if (parameters.cArgs == 0)
        return "called";
    if (parameters.cArgs == 1 && arguments[0].vt == VT_DISPATCH)
        return portNamesOf(*arguments[0].pdispVal);
    if (parameters.cArgs == 2 && arguments[1].vt == VT_DISPATCH && arguments[0].vt == VT_I4)
        return portNameOf(*arguments[1].pdispVal) + nameOf(arguments[0].lVal);
    return "strange arguments";
}

} // namespace

void Journal::note(const std::string& text) {
    const std::lock_guard lock(mutex_);
    entries_.push_back({text, GetCurrentThreadId()});
    noted_.notify_all();
}

void Journal::clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
}

void Journal::await(std::size_t count) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(noted_.wait_for(lock, kPatience, [&] { return entries_.size() >= count; }))
        << "events are missing: there are " << entries_.size() << " of " << count;
}

std::vector<Journal::Entry> Journal::entries() const {
    const std::lock_guard lock(mutex_);
    return entries_;
}

Texts Journal::texts() const {
    Texts texts;
    for (const auto& entry : entries())
        texts.push_back(entry.text);
    return texts;
}

const char* nameOf(LONG mode) {
    return mode == Change_PortMode ? " mode" : mode == Change_PortName ? " name" : " ?";
}

std::string portNameOf(IVirtualSerialDevice& device) {
    Bstr name;
    return device.get_portName(name.put()) == S_OK ? describe(name.text()) : kUnreadable;
}

std::string portNamesOf(SAFEARRAY& devices) {
    EXPECT_EQ(devices.cDims, 1);
    EXPECT_EQ(devices.rgsabound[0].lLbound, 0);
    std::string names;
    auto** elements = static_cast<IDispatch**>(devices.pvData);
    for (ULONG i = 0; i < devices.rgsabound[0].cElements; ++i)
        appendWord(names, portNameOf(*elements[i]));
    return names;
}

std::string portNamesOf(IDispatch& deviceArray) {
    Variant length;
    if (FAILED(get(deviceArray, L"length", &length)))
        return kUnreadable;
    std::string names;
    for (LONG i = 0; i < length.lVal; ++i) {
        Variant device;
        get(deviceArray, std::to_wstring(i).c_str(), &device);
        appendWord(names, device.vt == VT_DISPATCH ? portNameOf(*device.pdispVal) : kUnreadable);
    }
    return names;
}

Variant Callback::variant() {
    Variant argument;
    argument.vt = VT_DISPATCH;
    argument.pdispVal = this;
    AddRef();
    return argument;
}

HRESULT Callback::Invoke(
    DISPID member, REFIID iid, LCID locale, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
    UINT*) noexcept {
    EXPECT_EQ(member, DISPID_VALUE);
    EXPECT_TRUE(iid == IID_NULL);
    EXPECT_EQ(locale, LCID{LOCALE_USER_DEFAULT});
    EXPECT_EQ(flags, DISPATCH_METHOD);
    EXPECT_EQ(parameters->cNamedArgs, 0U);
    EXPECT_NE(result, nullptr);
    note(argumentsText(*parameters));
    return onCall(*result);
}

} // namespace zorvan::simulation
