// The import table of a loaded DLL.
#pragma once

#include <windows.h>

#include <string_view>

namespace zorvan::bench {

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
