// Replies of the driver, read in any order of items: what the reader makes of any bytes is what a plain model, which
// looks at one byte at a time, makes of them, and written into a request they are the same bytes again. The sanitizer
// sees reads beyond the end.
#include "driver/record.h"
#include "driver/protocol.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>
#include <cstdio>
#include <cstdlib>

using namespace zorvan;

namespace {

// Ends the program, which the fuzzer reports with the input that did it.
void require(bool holds, const char* property) {
    if (holds)
        return;
    std::fprintf(stderr, "\nproperty violated: %s\n", property);
    std::abort();
}

struct Model {
    const std::vector<std::uint8_t>& bytes;
    std::size_t position = 0;
    bool truncated = false;

    // Zeros beyond the end.
    std::uint8_t nextByte() {
        if (position < bytes.size())
            return bytes[position++];
        truncated = true;
        return 0;
    }

    std::uint32_t nextNumber(int size) {
        std::uint32_t number = 0;
        for (int i = 0; i < size; ++i)
            number |= static_cast<std::uint32_t>(nextByte()) << 8 * i;
        return number;
    }

    // Counted entries of two bytes, as many as are there. An odd last byte is no entry, nor the start of anything.
    template <class Entries>
    Entries nextEntries() {
        Entries entries;
        for (auto count = nextNumber(4); count != 0; --count) {
            if (bytes.size() - position < 2) {
                truncated = true;
                position = bytes.size();
                break;
            }
            entries.push_back(static_cast<typename Entries::value_type>(nextNumber(2)));
        }
        return entries;
    }
};

template <class Record>
void checkRecord(protocol::RecordReader& reader, Model& model, protocol::RecordWriter& writer) {
    const auto record = reader.read<Record>();
    for (const std::uint8_t byte : std::bit_cast<std::array<std::uint8_t, sizeof(Record)>>(record))
        require(byte == model.nextByte(), "a record holds the bytes that were sent, and zeros beyond them");
    writer.append(record);
}

template <auto kRead, auto kAppend>
void checkEntries(protocol::RecordReader& reader, Model& model, protocol::RecordWriter& writer) {
    const auto entries = (reader.*kRead)();
    require(entries == model.nextEntries<std::decay_t<decltype(entries)>>(), "entries are those that were sent");
    (writer.*kAppend)(entries);
}

constexpr auto kString = checkEntries<&protocol::RecordReader::readString, &protocol::RecordWriter::appendString>;
constexpr auto kList = checkEntries<&protocol::RecordReader::readList, &protocol::RecordWriter::appendList>;
constexpr decltype(kList) kItems[] = {
    checkRecord<std::uint8_t>,
    checkRecord<std::uint32_t>,
    checkRecord<std::uint64_t>,
    checkRecord<protocol::TrafficCounters>,
    checkRecord<protocol::HostHandlePair>,
    checkRecord<protocol::PipeConnection>,
    checkRecord<protocol::ErrorEmulationState>,
    checkRecord<protocol::ErrorEmulationShort>,
    checkRecord<protocol::ErrorEmulationLong>,
    kString,
    kList};

} // namespace

// Which items are read stands at the end of the input; the reply is what comes before.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    std::vector<std::size_t> items(input.ConsumeIntegralInRange<std::size_t>(0, 8));
    for (std::size_t& item : items)
        item = input.ConsumeIntegralInRange<std::size_t>(0, std::size(kItems) - 1);
    const auto reply = input.ConsumeRemainingBytes<std::uint8_t>();

    protocol::RecordReader reader(reply);
    protocol::RecordWriter writer;
    Model model{reply};
    for (const std::size_t item : items) {
        kItems[item](reader, model, writer);
        require(reader.truncated() == model.truncated, "the reader knows whether the reply was too short");
        require(reader.atEnd() == (model.position == reply.size()), "the reader knows whether all was read");
    }
    const auto& written = writer.bytes();
    const bool same = std::equal(
        written.begin(), written.end(), reply.begin(), reply.begin() + static_cast<std::ptrdiff_t>(model.position));
    require(same || model.truncated, "what was read is written as it was, without gaps");
    return 0;
}
