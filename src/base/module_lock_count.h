// How many objects and locks keep the module from being unloaded.
#pragma once

namespace zorvan::moduleLockCount {

void add();
void remove();
bool isZero();

} // namespace zorvan::moduleLockCount

namespace zorvan {

// Keeps the module loaded for as long as it lives.
class ModuleUse {
public:
    ModuleUse() { moduleLockCount::add(); }
    ModuleUse(const ModuleUse&) = delete;
    ModuleUse& operator=(const ModuleUse&) = delete;
    ~ModuleUse() { moduleLockCount::remove(); }
};

} // namespace zorvan
