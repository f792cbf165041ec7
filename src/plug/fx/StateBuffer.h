#pragma once
#include <algorithm>
#include <cstddef>
#include <memory>

namespace ZnPlug::FX {

// Storage of an effect's running state, allocated by prepare. A copy of an effect carries its
// parameter values only, so copying a buffer yields an empty one and assigning one empties the
// target: a copied effect owns nothing until it is prepared.
template <typename T>
class StateBuffer {
public:
    StateBuffer() noexcept = default;
    StateBuffer(const StateBuffer&) noexcept {}
    StateBuffer& operator=(const StateBuffer& other) noexcept {
        if (this != &other) reset();
        return *this;
    }
    StateBuffer(StateBuffer&&) noexcept = default;
    StateBuffer& operator=(StateBuffer&&) noexcept = default;

    // [main-lock] `count` zeroed elements, replacing what was there. The same count again only
    // clears: a processor that a new note reuses is prepared again without allocating.
    void allocate(std::size_t count) {
        if (count == size_ && data_) {
            std::fill_n(data_.get(), count, T{});
            return;
        }
        data_ = std::make_unique<T[]>(count);
        size_ = count;
    }
    void reset() noexcept {
        data_.reset();
        size_ = 0;
    }

    bool empty() const noexcept { return size_ == 0; }
    std::size_t size() const noexcept { return size_; }
    T* data() noexcept { return data_.get(); }
    const T* data() const noexcept { return data_.get(); }
    T& operator[](std::size_t i) noexcept { return data_[i]; }
    const T& operator[](std::size_t i) const noexcept { return data_[i]; }

private:
    std::unique_ptr<T[]> data_;
    std::size_t size_ = 0;
};

}  // namespace ZnPlug::FX
