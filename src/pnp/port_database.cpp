#include "pnp/port_database.h"

#include "base/hresult_error.h"

namespace zorvan::pnp {

PortDatabase::PortDatabase() {
    if (ComDBOpen(database_.put()) < 0 || !database_)
        throw HResultError(E_FAIL);
}

} // namespace zorvan::pnp
