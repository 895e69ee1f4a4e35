#include "simulation/security_descriptors.h"

#include "simulation/machine.h"
#include "simulation/simulated_function.h"

#include <sddl.h>

namespace zorvan::simulation {

namespace {

BOOL WINAPI convertText(LPCWSTR text, DWORD revision, PSECURITY_DESCRIPTOR* descriptor, PULONG size) {
    Call call(
        "ConvertStringSecurityDescriptorToSecurityDescriptorW", text, revision, size == nullptr ? "no size" : "size");
    if (call.fails() || !ConvertStringSecurityDescriptorToSecurityDescriptorW(text, revision, descriptor, size))
        return FALSE;
    call->securityDescriptors.allocated.insert(*descriptor);
    return TRUE;
}
SIMULATE(ConvertStringSecurityDescriptorToSecurityDescriptorW, convertText);

HLOCAL WINAPI localFree(HLOCAL memory) {
    Call call("LocalFree");
    if (call->securityDescriptors.allocated.erase(memory) == 0)
        call.reportMisuse("the library freed memory that it was not given, or has freed already");
    return ::LocalFree(memory);
}
SIMULATE(LocalFree, localFree);

BOOL WINAPI getControl(PSECURITY_DESCRIPTOR descriptor, PSECURITY_DESCRIPTOR_CONTROL control, LPDWORD revision) {
    Call call("GetSecurityDescriptorControl");
    return call.fails() ? FALSE : ::GetSecurityDescriptorControl(descriptor, control, revision);
}
SIMULATE(GetSecurityDescriptorControl, getControl);

BOOL WINAPI makeSelfRelative(PSECURITY_DESCRIPTOR descriptor, PSECURITY_DESCRIPTOR copy, LPDWORD size) {
    Call call("MakeSelfRelativeSD");
    return call.fails() ? FALSE : ::MakeSelfRelativeSD(descriptor, copy, size);
}
SIMULATE(MakeSelfRelativeSD, makeSelfRelative);

} // namespace

} // namespace zorvan::simulation
