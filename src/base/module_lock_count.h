// How many objects and locks keep the module from being unloaded.
#pragma once

namespace zorvan::moduleLockCount {

void add();
void remove();
bool isZero();

} // namespace zorvan::moduleLockCount
