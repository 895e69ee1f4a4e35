#include "pnp/port_database.h"

#include "base/hresult_error.h"

namespace zorvan::pnp {

void PortDatabase::open() {
    if (ComDBOpen(database_.put()) < 0)
        throw HResultError(E_FAIL);
}

} // namespace zorvan::pnp
