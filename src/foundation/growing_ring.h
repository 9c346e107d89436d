#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace mcgate::foundation {

/// A first-in, first-out list in one block that doubles when it is full and never shrinks, so that a list which has
/// found its size allocates no more. Items are moved in and out; an empty place holds a default one. One thread at a
/// time.
template <class Item>
class GrowingRing {
public:
    GrowingRing() = default;
    explicit GrowingRing(std::size_t capacity) : slots_(capacity) {}
    GrowingRing(GrowingRing&& other) noexcept
        : slots_(std::move(other.slots_)), head_(std::exchange(other.head_, 0)), size_(std::exchange(other.size_, 0)) {}

    bool empty() const noexcept { return size_ == 0; }
    std::size_t size() const noexcept { return size_; }
    /// The item that pop would give; the list must not be empty.
    const Item& front() const noexcept { return slots_[head_]; }

    /// Throws std::bad_alloc, with the list and `item` as they were.
    void push(Item&& item) {
        if (size_ == slots_.size()) grow();
        slots_[place(size_)] = std::move(item);
        ++size_;
    }
    void push(const Item& item) { push(Item(item)); }

    /// The list must not be empty.
    Item pop() noexcept {
        Item item = std::exchange(slots_[head_], Item());
        head_ = place(1);
        --size_;
        return item;
    }

    /// Exchanges the contents, memory included.
    void swap(GrowingRing& other) noexcept {
        slots_.swap(other.slots_);
        std::swap(head_, other.head_);
        std::swap(size_, other.size_);
    }

private:
    std::size_t place(std::size_t offset) const noexcept {
        const std::size_t index = head_ + offset;
        return index < slots_.size() ? index : index - slots_.size();
    }

    void grow() {
        std::vector<Item> larger(slots_.empty() ? 16 : slots_.size() * 2);
        for (std::size_t i = 0; i < size_; ++i) larger[i] = std::move(slots_[place(i)]);
        slots_.swap(larger);
        head_ = 0;
    }

    std::vector<Item> slots_;
    std::size_t head_ = 0;
    std::size_t size_ = 0;
};

}  // namespace mcgate::foundation
