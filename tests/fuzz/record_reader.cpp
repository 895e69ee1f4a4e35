// Replies of the driver, read in any order of items: what the reader makes of any bytes is what a plain model, which
// looks at one byte at a time, makes of them. The sanitizer sees reads beyond the end.
#include "driver/protocol.h"
#include "driver/record.h"
#include "property.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <bit>

using namespace zorvan;
using zorvan::fuzz::require;

namespace {

class Model {
public:
    explicit Model(const std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}

    // Zeros beyond the end.
    std::uint8_t nextByte() {
        if (position_ == bytes_.size()) {
            truncated_ = true;
            return 0;
        }
        return bytes_[position_++];
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
            if (bytes_.size() - position_ < 2) {
                truncated_ = true;
                position_ = bytes_.size();
                break;
            }
            entries.push_back(static_cast<typename Entries::value_type>(nextNumber(2)));
        }
        return entries;
    }

    bool truncated() const { return truncated_; }
    bool atEnd() const { return position_ == bytes_.size(); }

private:
    const std::vector<std::uint8_t>& bytes_;
    std::size_t position_ = 0;
    bool truncated_ = false;
};

template <class Record>
void readRecord(protocol::RecordReader& reader, Model& model) {
    const auto bytes = std::bit_cast<std::array<std::uint8_t, sizeof(Record)>>(reader.read<Record>());
    for (const std::uint8_t byte : bytes)
        require(byte == model.nextByte(), "a record holds the bytes that were sent, and zeros beyond them");
}

void readString(protocol::RecordReader& reader, Model& model) {
    require(reader.readString() == model.nextEntries<WideString>(), "a string is the code units that were sent");
}

void readList(protocol::RecordReader& reader, Model& model) {
    require(
        reader.readList() == model.nextEntries<std::vector<std::uint16_t>>(), "a list is the entries that were sent");
}

constexpr void (*kItems[])(protocol::RecordReader&, Model&) = {
    readRecord<std::uint8_t>,
    readRecord<std::uint32_t>,
    readRecord<std::uint64_t>,
    readRecord<protocol::TrafficCounters>,
    readRecord<protocol::HostHandlePair>,
    readRecord<protocol::PipeConnection>,
    readRecord<protocol::ErrorEmulationState>,
    readRecord<protocol::ErrorEmulationShort>,
    readRecord<protocol::ErrorEmulationLong>,
    readString,
    readList,
};

} // namespace

// Which items are read stands at the end of the input; the reply is what comes before.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    std::vector<std::size_t> items(input.ConsumeIntegralInRange<std::size_t>(0, 8));
    for (std::size_t& item : items)
        item = input.ConsumeIntegralInRange<std::size_t>(0, std::size(kItems) - 1);
    const auto reply = input.ConsumeRemainingBytes<std::uint8_t>();

    protocol::RecordReader reader(reply);
    Model model(reply);
    for (const std::size_t item : items) {
        kItems[item](reader, model);
        require(reader.truncated() == model.truncated(), "the reader knows whether the reply was too short");
        require(reader.atEnd() == model.atEnd(), "the reader knows whether all was read");
    }
    return 0;
}
