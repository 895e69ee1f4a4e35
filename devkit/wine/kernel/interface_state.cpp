#include "interface_state.h"

#include "kernel_call.h"

namespace zorvan::engine {
namespace {

constexpr wchar_t kDeviceClasses[] = L"\\Registry\\Machine\\System\\CurrentControlSet\\Control\\DeviceClasses\\";
constexpr ULONG kClassLength = 38; // "{24E7F5CF-EF4A-4BD2-87F4-722102E53963}"

// A registry key that exists while this does. What was there before stays.
class BorrowedKey {
public:
    explicit BorrowedKey(UNICODE_STRING& path) {
        OBJECT_ATTRIBUTES attributes;
        InitializeObjectAttributes(&attributes, &path, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
        ULONG disposition = 0;
        const auto status =
            ZwCreateKey(&key_, KEY_READ | DELETE, &attributes, 0, nullptr, REG_OPTION_VOLATILE, &disposition);
        if (!NT_SUCCESS(status))
            key_ = nullptr;
        created_ = disposition == REG_CREATED_NEW_KEY;
    }
    BorrowedKey(const BorrowedKey&) = delete;
    BorrowedKey& operator=(const BorrowedKey&) = delete;
    ~BorrowedKey() {
        if (!key_)
            return;
        if (created_)
            ZwDeleteKey(key_);
        ZwClose(key_);
    }

    bool created() const { return created_; }

private:
    HANDLE key_ = nullptr;
    bool created_ = false;
};

void deleteKey(UNICODE_STRING& path) {
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &path, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    HANDLE key = nullptr;
    if (!NT_SUCCESS(ZwOpenKey(&key, DELETE, &attributes)))
        return;
    ZwDeleteKey(key);
    ZwClose(key);
}

// The key of an interface: DeviceClasses\{class}\##?#ROOT#PORTS#0000#{class}, and in it "#" with the state.
class InterfaceKeyPath {
public:
    explicit InterfaceKeyPath(const UNICODE_STRING& interfacePath) {
        path_.MaximumLength = sizeof text_;
        path_.Buffer = text_;
        const auto length = interfacePath.Length / sizeof(wchar_t);
        UNICODE_STRING interfaceClass{
            kClassLength * sizeof(wchar_t), kClassLength * sizeof(wchar_t),
            interfacePath.Buffer + length - kClassLength};
        append(kDeviceClasses);
        RtlAppendUnicodeStringToString(&path_, &interfaceClass);
        append(L"\\");
        const auto name = path_.Length / sizeof(wchar_t);
        RtlAppendUnicodeStringToString(&path_, const_cast<UNICODE_STRING*>(&interfacePath));
        text_[name] = text_[name + 1] = text_[name + 3] = L'#'; // "\??\" is spelled "##?#"
    }

    UNICODE_STRING& path() { return path_; }
    void append(const wchar_t* text) { RtlAppendUnicodeToString(&path_, const_cast<wchar_t*>(text)); }

private:
    wchar_t text_[512]{};
    UNICODE_STRING path_{};
};

} // namespace

// Wine's setupapi deletes an interface's key before the driver learns that its device is removed, and its kernel
// refuses to switch off an interface without a key: the interface would stay on for ever, nobody would be told of the
// removal, and a later device of the same instance ID could not switch its own on. So the key is lent to it.
void disableInterface(UNICODE_STRING* interfacePath) {
    InterfaceKeyPath path(*interfacePath);
    const BorrowedKey interfaceKey(path.path());
    path.append(L"\\#");
    const BorrowedKey referenceKey(path.path());
    {
        const KernelCall call;
        IoSetDeviceInterfaceState(interfacePath, FALSE);
    }
    if (referenceKey.created()) {
        path.append(L"\\Control"); // made by the call above
        deleteKey(path.path());
    }
}

} // namespace zorvan::engine
