#include "database_fixture.h"

#include <numeric>

namespace zorvan::test {

namespace {

constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\COM Name Arbiter";
constexpr wchar_t kValue[] = L"ComDB";

} // namespace

DatabaseTest::DatabaseTest() {
    EXPECT_EQ(RegCreateKeyW(HKEY_LOCAL_MACHINE, kKey, key_.put()), ERROR_SUCCESS);
    saved_ = registryValue();
    RegDeleteValueW(key_.get(), kValue);
    EXPECT_EQ(standIns_.open(&database_), ERROR_SUCCESS);
}

DatabaseTest::~DatabaseTest() {
    EXPECT_EQ(standIns_.close(database_), ERROR_SUCCESS);
    if (saved_.empty())
        RegDeleteValueW(key_.get(), kValue);
    else
        RegSetValueExW(key_.get(), kValue, 0, REG_BINARY, saved_.data(), static_cast<DWORD>(saved_.size()));
}

std::vector<BYTE> DatabaseTest::registryValue() const {
    std::vector<BYTE> value(COMDB_MAX_PORTS_ARBITRATED / 8);
    auto size = static_cast<DWORD>(value.size());
    if (RegGetValueW(key_.get(), nullptr, kValue, RRF_RT_REG_BINARY, nullptr, value.data(), &size) != ERROR_SUCCESS)
        return {};
    value.resize(size);
    return value;
}

bool DatabaseTest::isUsed(DWORD number) const {
    std::vector<BYTE> used(COMDB_MAX_PORTS_ARBITRATED);
    EXPECT_EQ(
        standIns_.getCurrentPortUsage(database_, used.data(), COMDB_MAX_PORTS_ARBITRATED, CDB_REPORT_BYTES, nullptr),
        ERROR_SUCCESS);
    return used[number - 1] != 0;
}

DWORD DatabaseTest::usedCount() const {
    std::vector<BYTE> used(COMDB_MAX_PORTS_ARBITRATED);
    EXPECT_EQ(
        standIns_.getCurrentPortUsage(database_, used.data(), COMDB_MAX_PORTS_ARBITRATED, CDB_REPORT_BYTES, nullptr),
        ERROR_SUCCESS);
    return std::accumulate(used.begin(), used.end(), DWORD{0});
}

} // namespace zorvan::test
