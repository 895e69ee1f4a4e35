#include "com/wine_stub.h"

#include "com/failure.h"

#include <fmt/core.h>

namespace portwright {
namespace {

constexpr DWORD kWineStub = 0x80000100;

// Its arguments are the names of the module and the function, which may also be a number.
LONG WINAPI onUnhandled(EXCEPTION_POINTERS* exception) {
    const auto& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != kWineStub || record.NumberParameters < 2)
        return EXCEPTION_CONTINUE_SEARCH;
    const auto* const module = reinterpret_cast<const char*>(record.ExceptionInformation[0]);
    const auto* const function = reinterpret_cast<const char*>(record.ExceptionInformation[1]);
    const Failure failure(
        fmt::format("Wine lacks {}.{}", module, IS_INTRESOURCE(function) ? "a function without a name" : function),
        "use Windows, or a prefix that script/wine of the library's project has prepared");
    TerminateProcess(GetCurrentProcess(), tell(failure));
    return EXCEPTION_EXECUTE_HANDLER;
}

} // namespace

void tellMissingFunctionsOfWine() {
    SetUnhandledExceptionFilter(onUnhandled);
}

} // namespace portwright
