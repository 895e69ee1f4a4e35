// The import table of a loaded DLL.
#pragma once

#include <windows.h>

#include <functional>
#include <string_view>
#include <vector>

namespace zorvan::bench {

// Keeps the DLLs that a module imports from in the process, and lets go of the module itself.
class KeptImports {
public:
    explicit KeptImports(HMODULE module);
    KeptImports(const KeptImports&) = delete;
    KeptImports& operator=(const KeptImports&) = delete;
    ~KeptImports();

private:
    std::vector<HMODULE> kept_;
};

// Lets a module call another function in place of one that it imports, while this lives.
class ReplacedImport {
public:
    ReplacedImport(HMODULE module, std::string_view name, void* replacement);
    ReplacedImport(const ReplacedImport&) = delete;
    ReplacedImport& operator=(const ReplacedImport&) = delete;
    ~ReplacedImport();

    // Null when the module does not import such a function.
    void* original() const { return original_; }

private:
    void write(void* function) const;

    void** entry_ = nullptr;
    void* original_ = nullptr;
};

} // namespace zorvan::bench
