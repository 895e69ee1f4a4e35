// Reading and writing the records of control requests.
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
    RecordReader reader(writer.bytes());
    EXPECT_EQ(reader.read<std::uint8_t>(), 1);
    EXPECT_EQ(reader.read<std::uint32_t>(), 0x05040302U);
    EXPECT_EQ(reader.readString(), L"Az");
    EXPECT_EQ(reader.read<std::uint64_t>(), 7U);
    EXPECT_EQ(reader.readList(), (std::vector<std::uint16_t>{0x1234, 0xFFFF}));
    EXPECT_TRUE(reader.atEnd());
    EXPECT_FALSE(reader.truncated());
}

TEST(Record, ReadsAsZerosBeyondItsEnd) {
    const Bytes bytes{1, 2, 3};
    RecordReader reader(bytes);
    EXPECT_EQ(reader.read<std::uint64_t>(), 0x030201U);
    EXPECT_TRUE(reader.truncated());
    EXPECT_EQ(reader.read<std::uint32_t>(), 0U);
    EXPECT_EQ(reader.readString(), L"");
    EXPECT_TRUE(reader.readList().empty());
}

TEST(Record, CountThatPromisesTooMuchIsCutToWhatIsThere) {
    const Bytes bytes{0xFF, 0xFF, 0xFF, 0xFF, 'A', 0, 'B', 0, 'C'};
    RecordReader text(bytes);
    EXPECT_EQ(text.readString(), L"AB");
    EXPECT_TRUE(text.truncated());
    EXPECT_EQ(text.read<std::uint8_t>(), 0) << "half a code unit is not the start of the next item";
    EXPECT_TRUE(text.atEnd());
    RecordReader list(bytes);
    EXPECT_EQ(list.readList(), (std::vector<std::uint16_t>{'A', 'B'}));
    EXPECT_TRUE(list.truncated());
}

TEST(Record, TextKeepsItsNuls) {
    RecordWriter writer;
    writer.appendString(std::wstring(L"a\0b", 3));
    RecordReader reader(writer.bytes());
    EXPECT_EQ(reader.readString(), std::wstring(L"a\0b", 3));
}

} // namespace

} // namespace zorvan::protocol
