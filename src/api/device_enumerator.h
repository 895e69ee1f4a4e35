// For-each over a device collection.
#pragma once

#include "api/device_collection.h"
#include "base/com_object.h"

#include <cstddef>

namespace zorvan {

// One enumerator is for one thread at a time.
class CDeviceEnumerator final : public ComObject<IEnumVARIANT> {
public:
    explicit CDeviceEnumerator(ComPointer<CDeviceCollection> owner) : owner_(std::move(owner)) {}

    HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* elements, ULONG* fetched) noexcept override;
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override;
    HRESULT STDMETHODCALLTYPE Reset() noexcept override;
    HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** clone) noexcept override;

private:
    ~CDeviceEnumerator() override = default;

    std::size_t left() const { return owner_->devices().size() - cursor_; }

    const ComPointer<CDeviceCollection> owner_;
    std::size_t cursor_ = 0;
};

} // namespace zorvan
