// Replies of the driver, read in any order of items, and written into a request: as far as they go these are the same
// bytes again, and the reader knows how far that is. The sanitizer sees reads beyond the end.
#include "driver/record.h"
#include "driver/protocol.h"

#include <fuzzer/FuzzedDataProvider.h>

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

template <class Record>
void copyRecord(protocol::RecordReader& reader, protocol::RecordWriter& writer) {
    writer.append(reader.read<Record>());
}

template <auto kRead, auto kAppend>
void copyEntries(protocol::RecordReader& reader, protocol::RecordWriter& writer) {
    (writer.*kAppend)((reader.*kRead)());
}

constexpr auto kString = copyEntries<&protocol::RecordReader::readString, &protocol::RecordWriter::appendString>;
constexpr auto kList = copyEntries<&protocol::RecordReader::readList, &protocol::RecordWriter::appendList>;
constexpr decltype(kList) kItems[] = {
    copyRecord<std::uint8_t>,
    copyRecord<std::uint32_t>,
    copyRecord<std::uint64_t>,
    copyRecord<protocol::TrafficCounters>,
    copyRecord<protocol::HostHandlePair>,
    copyRecord<protocol::PipeConnection>,
    copyRecord<protocol::ErrorEmulationState>,
    copyRecord<protocol::ErrorEmulationShort>,
    copyRecord<protocol::ErrorEmulationLong>,
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
    for (const std::size_t item : items)
        kItems[item](reader, writer);
    const auto& written = writer.bytes();
    const bool same = written.size() <= reply.size() && std::equal(written.begin(), written.end(), reply.begin());
    require(same || reader.truncated(), "what was read is written as it was, without gaps");
    require(!reader.truncated() || reader.atEnd(), "a reply that is too short is read to its end");
    require(reader.truncated() || reader.atEnd() == (written.size() == reply.size()), "the end is known");
    return 0;
}
