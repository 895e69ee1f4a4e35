#include "scratch_database.h"

#include <gtest/gtest.h>

namespace zorvan::test {

namespace {

constexpr wchar_t kKey[] = L"SYSTEM\\CurrentControlSet\\Control\\COM Name Arbiter";
constexpr wchar_t kValue[] = L"ComDB";

std::vector<BYTE> read() {
    std::vector<BYTE> bits(COMDB_MAX_PORTS_ARBITRATED / 8);
    auto size = static_cast<DWORD>(bits.size());
    const auto status =
        RegGetValueW(HKEY_LOCAL_MACHINE, kKey, kValue, RRF_RT_REG_BINARY, nullptr, bits.data(), &size);
    bits.resize(status == ERROR_SUCCESS ? size : 0);
    return bits;
}

void write(const std::vector<BYTE>& bits) {
    const auto size = static_cast<DWORD>(bits.size());
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, kValue); // there may be none
    if (size == 0)
        return;
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, kValue, REG_BINARY, bits.data(), size), ERROR_SUCCESS);
}

} // namespace

ScratchDatabase::ScratchDatabase(const Numbers& used) : saved_(read()) {
    std::vector<BYTE> bits(used.empty() ? 0 : COMDB_MIN_PORTS_ARBITRATED / 8);
    for (const DWORD number : used)
        bits[(number - 1) / 8] |= static_cast<BYTE>(1U << (number - 1) % 8);
    write(bits);
    EXPECT_EQ(ComDBOpen(&handle_), ERROR_SUCCESS);
}

ScratchDatabase::~ScratchDatabase() {
    EXPECT_EQ(ComDBClose(handle_), ERROR_SUCCESS);
    write(saved_);
}

ScratchDatabase::Numbers ScratchDatabase::used() const {
    const std::vector<BYTE> bits = read();
    Numbers numbers;
    for (DWORD i = 0; i < 8 * bits.size(); ++i)
        if ((bits[i / 8] >> i % 8 & 1) != 0)
            numbers.push_back(i + 1);
    return numbers;
}

} // namespace zorvan::test
