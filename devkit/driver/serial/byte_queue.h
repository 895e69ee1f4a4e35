// Bytes on their way, in the order of their arrival.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zorvan::engine {

class ByteQueue {
public:
    std::size_t size() const { return bytes_.size() - taken_; }
    bool empty() const { return size() == 0; }

    // How many bytes may wait at a time: no more may be appended.
    void reserve(std::size_t size) {
        dropTaken();
        bytes_.reserve(size);
    }

    void append(std::span<const std::uint8_t> bytes) noexcept {
        if (bytes.size() > bytes_.capacity() - bytes_.size())
            dropTaken();
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }

    // Fills the block from the front of the queue; returns how many bytes there were for it.
    std::size_t take(std::span<std::uint8_t> block) {
        const auto count = std::min(block.size(), size());
        std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(taken_), count, block.begin());
        taken_ += count;
        return count;
    }

    void clear() {
        bytes_.clear();
        taken_ = 0;
    }

private:
    void dropTaken() {
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(taken_));
        taken_ = 0;
    }

    std::vector<std::uint8_t> bytes_;
    std::size_t taken_ = 0; // from the front of bytes_
};

} // namespace zorvan::engine
