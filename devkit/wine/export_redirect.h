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
    ExportRedirect(void* function, void* replacement) : function_(function), replacement_(replacement) {}
    ~ExportRedirect() { remove(); }
    ExportRedirect(const ExportRedirect&) = delete;
    ExportRedirect& operator=(const ExportRedirect&) = delete;

    // Both do nothing when it is so already. Not for use by two threads at once: the loader's lock serves.
    bool install();
    void remove();
    // Leaves the function as it is: for when the process ends and other DLLs may be gone.
    void abandon() { active_ = false; }

private:
    // mov rax, address; jmp rax
    static constexpr std::size_t kJumpSize = 12;
    using Code = std::array<unsigned char, kJumpSize>;

    static Code jumpTo(void* target);
    bool overwrite(const Code& code);

    void* function_;
    void* replacement_;
    Code original_{};
    bool active_ = false;
};

} // namespace zorvan::devkit
