#include "base/hresult_error.h"

#include <new>

namespace zorvan {

HRESULT hresultFromWin32(DWORD error) {
    return HRESULT_FROM_WIN32(error);
}

HRESULT lastErrorResult() {
    return hresultFromWin32(GetLastError());
}

void throwLastError() {
    throw HResultError(lastErrorResult());
}

void throwIfFailed(HRESULT result) {
    if (FAILED(result))
        throw HResultError(result);
}

HRESULT caughtExceptionResult() noexcept {
    try {
        throw;
    } catch (const HResultError& error) {
        return error.code();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace zorvan
