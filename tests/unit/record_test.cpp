// The records of control requests, byte by byte. What readers make of any bytes is for the fuzz targets.
#include "driver/record.h"

#include <gtest/gtest.h>

namespace zorvan::protocol {

namespace {

TEST(Record, IsWrittenWithoutGaps) {
    RecordWriter writer;
    writer.append(std::uint8_t{1}).append(std::uint32_t{0x05040302}).appendString(L"Az").append(std::uint64_t{7});
    const std::uint16_t entries[] = {0x1234, 0xFFFF};
    writer.appendList(entries);
    const Bytes expected{1, 2, 3, 4, 5, 2, 0, 0, 0, 'A', 0,    'z',  0,    7,   0,
                         0, 0, 0, 0, 0, 0, 2, 0, 0, 0,   0x34, 0x12, 0xFF, 0xFF};
    EXPECT_EQ(writer.bytes(), expected);
}

} // namespace

} // namespace zorvan::protocol
