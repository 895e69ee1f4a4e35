// Writing and reading the bytes of control request records. Shared with the development driver; see protocol.h.
#pragma once

#include "base/wide_string.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>
#include <vector>

namespace zorvan::protocol {

// Memory that is wiped before it is freed.
template <class Item>
class WipingAllocator {
public:
    using value_type = Item;

    WipingAllocator() = default;
    template <class Other>
    WipingAllocator(const WipingAllocator<Other>&) {}

    Item* allocate(std::size_t count) { return std::allocator<Item>().allocate(count); }
    void deallocate(Item* items, std::size_t count) noexcept {
        // Through a volatile pointer, so that no compiler takes writing to memory that is freed for useless.
        static void* (*const volatile fill)(void*, int, std::size_t) = std::memset;
        fill(items, 0, count * sizeof(Item));
        std::allocator<Item>().deallocate(items, count);
    }

    friend bool operator==(const WipingAllocator&, const WipingAllocator&) { return true; }
};

// The bytes of a record. A request may carry a password, so none leaves a copy behind, whichever way its buffer grew.
using Bytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

// Appends items one after another, with nothing between them.
class RecordWriter {
public:
    template <class Record>
    requires std::is_trivially_copyable_v<Record> RecordWriter& append(const Record& record) {
        return appendRaw(&record, sizeof record);
    }

    RecordWriter& appendString(WideStringView text) {
        append(static_cast<std::uint32_t>(text.size()));
        return appendRaw(text.data(), text.size() * sizeof(WideStringView::value_type));
    }

    RecordWriter& appendList(std::span<const std::uint16_t> entries) {
        append(static_cast<std::uint32_t>(entries.size()));
        return appendRaw(entries.data(), entries.size_bytes());
    }

    const Bytes& bytes() const { return bytes_; }
    Bytes& bytes() { return bytes_; }

private:
    RecordWriter& appendRaw(const void* data, std::size_t size) {
        const auto* first = static_cast<const std::uint8_t*>(data);
        bytes_.insert(bytes_.end(), first, first + size);
        return *this;
    }

    Bytes bytes_;
};

// Reads items one after another. Beyond the end everything reads as zeros, and a count that promises more than there
// is means what is there: a record shorter than expected is no error. Callers that must refuse one ask truncated().
class RecordReader {
public:
    explicit RecordReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    template <class Record>
    requires std::is_trivially_copyable_v<Record> Record read() {
        Record record{};
        const auto size = std::min(sizeof record, rest_.size());
        truncated_ |= size < sizeof record;
        if (size != 0)
            std::memcpy(&record, rest_.data(), size);
        rest_ = rest_.subspan(size);
        return record;
    }

    WideString readString() {
        WideString text(readCount(sizeof(WideString::value_type)), 0);
        readRaw(text.data(), text.size() * sizeof(WideString::value_type));
        return text;
    }

    std::vector<std::uint16_t> readList() {
        std::vector<std::uint16_t> entries(readCount(sizeof(std::uint16_t)));
        readRaw(entries.data(), entries.size() * sizeof(std::uint16_t));
        return entries;
    }

    bool truncated() const { return truncated_; }
    bool atEnd() const { return rest_.empty(); }

private:
    std::size_t readCount(std::size_t itemSize) {
        const std::size_t promised = read<std::uint32_t>();
        const auto present = std::min(promised, rest_.size() / itemSize);
        if (present < promised) {
            truncated_ = true;
            rest_ = rest_.first(present * itemSize); // half an item is none, nor is it the start of the next one
        }
        return present;
    }

    void readRaw(void* target, std::size_t size) {
        if (size != 0)
            std::memcpy(target, rest_.data(), size);
        rest_ = rest_.subspan(size);
    }

    std::span<const std::uint8_t> rest_;
    bool truncated_ = false;
};

} // namespace zorvan::protocol
