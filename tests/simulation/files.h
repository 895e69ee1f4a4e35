// Files and named pipes: which there are, and those that are open. Their content is nobody's business here.
#pragma once

#include "simulation/handle_table.h"

#include <set>
#include <string>

namespace zorvan::simulation {

// A file or an end of a pipe that is open.
struct File : Object {
    explicit File(std::wstring opened) : path(std::move(opened)) {}
    std::string description() const override;

    // As the system tells it: without the drive, or the namespace of pipes.
    std::wstring name() const;

    const std::wstring path;
};

class Files {
public:
    // The paths of what can be opened.
    std::set<std::wstring> existing;

    // What a CreateFile with this disposition does; the result is a Windows error.
    DWORD create(const std::wstring& path, DWORD disposition);
};

} // namespace zorvan::simulation
