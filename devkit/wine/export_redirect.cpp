#include "export_redirect.h"

#include <cstring>

namespace zorvan::devkit {

static_assert(sizeof(void*) == 8, "the jump is x86-64 code");

// push r15, r14, r13, r12, rbp, rdi, rsi, rbx: what a function starts with that needs many registers. These
// instructions may stand anywhere, and are exactly as long as the jump that takes their place.
constexpr unsigned char kPushes[] = {0x41, 0x57, 0x41, 0x56, 0x41, 0x55, 0x41, 0x54, 0x55, 0x57, 0x56, 0x53};

ExportRedirect::Code ExportRedirect::jumpTo(void* target) {
    Code code{0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};
    std::memcpy(&code[2], &target, sizeof target);
    return code;
}

bool ExportRedirect::overwrite(const Code& code) {
    DWORD protection = 0;
    if (!VirtualProtect(function_, code.size(), PAGE_EXECUTE_READWRITE, &protection))
        return false;
    std::memcpy(function_, code.data(), code.size());
    // What stays writable still works.
    VirtualProtect(function_, code.size(), protection, &protection);
    FlushInstructionCache(GetCurrentProcess(), function_, code.size());
    return true;
}

// A copy of the first instructions, and a jump to the rest.
bool ExportRedirect::keepOriginal() {
    if (std::memcmp(original_.data(), kPushes, original_.size()) != 0)
        return false;
    auto* code = static_cast<unsigned char*>(
        VirtualAlloc(nullptr, 2 * kJumpSize, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE));
    if (code == nullptr)
        return false;
    const Code jump = jumpTo(static_cast<unsigned char*>(function_) + kJumpSize);
    std::memcpy(code, original_.data(), original_.size());
    std::memcpy(code + kJumpSize, jump.data(), jump.size());
    copy_ = code;
    return true;
}

bool ExportRedirect::install() {
    if (active_)
        return true;
    if (function_ == nullptr)
        return false;
    std::memcpy(original_.data(), function_, original_.size());
    if (keep_ == KeepOriginal::Yes && copy_ == nullptr && !keepOriginal())
        return false;
    active_ = overwrite(jumpTo(replacement_));
    return active_;
}

void ExportRedirect::remove() {
    if (active_)
        active_ = !overwrite(original_);
    // The copy stays, some bytes: a thread may be in it.
}

} // namespace zorvan::devkit
