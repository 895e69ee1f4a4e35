#include "export_redirect.h"

#include <cstring>

namespace zorvan::devkit {

static_assert(sizeof(void*) == 8, "the jump is x86-64 code");

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

bool ExportRedirect::install() {
    if (active_)
        return true;
    std::memcpy(original_.data(), function_, original_.size());
    active_ = overwrite(jumpTo(replacement_));
    return active_;
}

void ExportRedirect::remove() {
    if (active_)
        active_ = !overwrite(original_);
}

} // namespace zorvan::devkit
