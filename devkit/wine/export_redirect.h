// Sends the callers of another DLL's exported function to one of ours, for as long as the guard is active.
//
// The jump is written over the function itself, so that it holds for every way of calling it: import tables that
// are bound already, import tables to come and GetProcAddress.
#pragma once

#include <windows.h>

#include <array>

namespace zorvan::devkit {

class ExportRedirect {
public:
    // Whether the replacement calls what it replaces.
    enum class KeepOriginal { No, Yes };

    ExportRedirect(void* function, void* replacement, KeepOriginal keep = KeepOriginal::No)
        : function_(function), replacement_(replacement), keep_(keep) {}
    ~ExportRedirect() { remove(); }
    ExportRedirect(const ExportRedirect&) = delete;
    ExportRedirect& operator=(const ExportRedirect&) = delete;

    // Both do nothing when it is so already. A function that is missing or cannot be kept is not redirected. Not for
    // use by two threads at once: the loader's lock serves.
    bool install();
    void remove();
    // The original function where it was kept, while the redirect is active.
    void* original() const { return copy_; }
    // Leaves the function as it is: for when the process ends and other DLLs may be gone.
    void abandon() { active_ = false; }

private:
    // mov rax, address; jmp rax
    static constexpr std::size_t kJumpSize = 12;
    using Code = std::array<unsigned char, kJumpSize>;

    static Code jumpTo(void* target);
    bool overwrite(const Code& code);
    bool keepOriginal();

    void* function_;
    void* replacement_;
    KeepOriginal keep_;
    Code original_{};
    void* copy_ = nullptr; // the first instructions, and a jump to the rest
    bool active_ = false;
};

} // namespace zorvan::devkit
