#pragma once
#include <cstddef>
#include <utility>

namespace ZnLib {

// Intrusive, non-atomic reference count. An object starts with a count of 1 (its creator's),
// and deletes itself when the count falls from 1 to 0. Counts are only touched on the thread
// that owns the model (the UI thread, or the audio thread under the main lock), never raced.
template <typename Count = int, typename Reserved = int>
class _RefCounted {
public:
    _RefCounted() noexcept = default;
    // A copy is a new object with a count of its own.
    _RefCounted(const _RefCounted&) noexcept {}
    _RefCounted& operator=(const _RefCounted&) noexcept { return *this; }
    virtual ~_RefCounted() = default;

    void addRef() const noexcept { ++refCount_; }
    void dropRef() const noexcept {
        if (--refCount_ == 0) delete this;
    }
    Count refCount() const noexcept { return refCount_; }

private:
    mutable Count refCount_ = 1;
};

using RefCounted = _RefCounted<int, int>;

struct AdoptRef {};
inline constexpr AdoptRef adoptRef{};

// The owning pointer of the sound model. Never null where the model holds it (none objects stand
// in for "nothing"), but a default-constructed SharedRef is empty so that containers can grow.
template <typename T>
class SharedRef {
public:
    SharedRef() noexcept = default;
    // Shares an existing object: adds one reference.
    explicit SharedRef(T* p) noexcept : p_(p) {
        if (p_) p_->addRef();
    }
    // Takes over the creator's reference of a freshly made object.
    SharedRef(T* p, AdoptRef) noexcept : p_(p) {}
    SharedRef(const SharedRef& o) noexcept : SharedRef(o.p_) {}
    SharedRef(SharedRef&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    template <typename U>
    SharedRef(const SharedRef<U>& o) noexcept : SharedRef(static_cast<T*>(o.get())) {}
    template <typename U>
    SharedRef(SharedRef<U>&& o) noexcept : p_(o.detach()) {}
    ~SharedRef() {
        if (p_) p_->dropRef();
    }

    SharedRef& operator=(SharedRef o) noexcept {
        std::swap(p_, o.p_);
        return *this;
    }

    T* get() const noexcept { return p_; }
    T* operator->() const noexcept { return p_; }
    T& operator*() const noexcept { return *p_; }
    explicit operator bool() const noexcept { return p_ != nullptr; }
    void reset() noexcept { SharedRef().swap(*this); }
    void swap(SharedRef& o) noexcept { std::swap(p_, o.p_); }
    // Gives up the reference without dropping it.
    T* detach() noexcept { return std::exchange(p_, nullptr); }

    template <typename U>
    bool operator==(const SharedRef<U>& o) const noexcept {
        return p_ == o.get();
    }
    bool operator==(const T* o) const noexcept { return p_ == o; }

private:
    T* p_ = nullptr;
};

// Makes a new object and adopts its initial reference.
template <typename T, typename... Args>
SharedRef<T> makeRef(Args&&... args) {
    return SharedRef<T>(new T(std::forward<Args>(args)...), adoptRef);
}

// A checked downcast that shares the object; empty when the object is not a U.
template <typename U, typename T>
SharedRef<U> refCast(const SharedRef<T>& r) {
    return SharedRef<U>(dynamic_cast<U*>(r.get()));
}

}  // namespace ZnLib
