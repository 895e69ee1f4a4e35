// Requests to the driver: what was written into a record is read back from it, and from a cut record the part that is
// there, with the rest as zeros.
#include "driver/protocol.h"
#include "driver/record.h"
#include "property.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <variant>

using namespace zorvan;
using zorvan::fuzz::require;

namespace {

using List = std::vector<std::uint16_t>;
using Item = std::variant<std::uint8_t, std::uint32_t, std::uint64_t, WideString, List>;

template <class Entries>
Entries consumeEntries(FuzzedDataProvider& input) {
    Entries entries(input.ConsumeIntegralInRange<std::size_t>(0, 40), 0);
    for (auto& entry : entries)
        entry = static_cast<typename Entries::value_type>(input.ConsumeIntegral<std::uint16_t>());
    return entries;
}

Item consumeItem(FuzzedDataProvider& input) {
    switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
        return input.ConsumeIntegral<std::uint8_t>();
    case 1:
        return input.ConsumeIntegral<std::uint32_t>();
    case 2:
        return input.ConsumeIntegral<std::uint64_t>();
    case 3:
        return consumeEntries<WideString>(input);
    default:
        return consumeEntries<List>(input);
    }
}

std::vector<Item> consumeItems(FuzzedDataProvider& input) {
    std::vector<Item> items;
    for (auto count = input.ConsumeIntegralInRange(0, 8); count != 0; --count)
        items.push_back(consumeItem(input));
    return items;
}

struct Write {
    protocol::RecordWriter& writer;

    void operator()(const WideString& text) const { writer.appendString(text); }
    void operator()(const List& entries) const { writer.appendList(entries); }
    template <class Number>
    void operator()(Number number) const {
        writer.append(number);
    }
};

// Reads an item of the same kind.
struct ReadBack {
    protocol::RecordReader& reader;

    Item operator()(const WideString&) const { return reader.readString(); }
    Item operator()(const List&) const { return reader.readList(); }
    template <class Number>
    Item operator()(Number) const {
        return reader.read<Number>();
    }
};

struct SizeOf {
    template <class Entries>
    std::size_t operator()(const Entries& entries) const {
        if constexpr (std::is_integral_v<Entries>)
            return sizeof entries;
        else
            return sizeof(std::uint32_t) + entries.size() * sizeof(std::uint16_t);
    }
};

struct IsEmpty {
    template <class Entries>
    bool operator()(const Entries& entries) const {
        if constexpr (std::is_integral_v<Entries>)
            return entries == 0;
        else
            return entries.empty();
    }
};

void requireWhole(const std::vector<Item>& items, const std::vector<std::uint8_t>& record) {
    protocol::RecordReader reader(record);
    for (const Item& item : items)
        require(std::visit(ReadBack{reader}, item) == item, "what was written is read back");
    require(reader.atEnd(), "a record holds nothing but what was written");
    require(!reader.truncated(), "a whole record is not too short");
}

void requireCut(const std::vector<Item>& items, const std::vector<std::uint8_t>& record) {
    protocol::RecordReader reader(record);
    std::size_t end = 0;
    for (const Item& item : items) {
        const std::size_t start = end;
        end += std::visit(SizeOf{}, item);
        const Item read = std::visit(ReadBack{reader}, item);
        require(end > record.size() || read == item, "what is there of a cut record is read back");
        require(start < record.size() || std::visit(IsEmpty{}, read), "what was cut off reads as zeros");
    }
    require(reader.truncated(), "a cut record is too short");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const std::vector<Item> items = consumeItems(input);

    protocol::RecordWriter writer;
    std::size_t expectedSize = 0;
    for (const Item& item : items) {
        std::visit(Write{writer}, item);
        expectedSize += std::visit(SizeOf{}, item);
    }
    require(writer.bytes().size() == expectedSize, "items are written without gaps");

    const auto begin = writer.bytes().begin();
    requireWhole(items, {begin, writer.bytes().end()});
    if (expectedSize == 0)
        return 0;
    const auto cut = input.ConsumeIntegralInRange<std::ptrdiff_t>(0, static_cast<std::ptrdiff_t>(expectedSize) - 1);
    requireCut(items, {begin, begin + cut});
    return 0;
}
