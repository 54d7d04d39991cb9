#pragma once

/// @file
/// Shared objects and the handle that owns them. An object counts its own references, so a handle is one pointer wide
/// and a handle can be made again from a plain reference to an object that lives in one. Objects are born inside a
/// handle: `make_refcount<T>(...)`. An object on the stack works as a value and as a reference argument; handles to it
/// must be gone before it is.

#include <kxbase/export.h>

#include <atomic>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace kxbase {

/// Base of every shared object: an intrusive counter that starts at one, which is the reference of whoever makes the
/// object. Counting is safe from any thread; the object itself is not locked.
///
/// The header takes 16 bytes, the last four of which are free for a first member of the derived class.
class KXBASE_EXPORT object_refcount {
public:
    object_refcount() noexcept = default;
    /// A copy is an object of its own: it starts a fresh count.
    object_refcount(object_refcount const& /*other*/) noexcept {}
    /// Assigning to an object leaves its count alone.
    object_refcount& operator=(object_refcount const& /*other*/) noexcept { return *this; }
    virtual ~object_refcount();

    /// Adds a reference.
    void retain() const noexcept { references_.fetch_add(1, std::memory_order_relaxed); }

    /// Gives a reference up; the last one disposes of the object.
    void release() const noexcept {
        // The only owner needs no atomic decrement: nobody else is left who could race with it.
        if (references_.load(std::memory_order_acquire) == 1 ||
            references_.fetch_sub(1, std::memory_order_acq_rel) == 1)
            dispose();
    }

    /// Whether somebody else may hold a reference, too. False means that the caller, who holds one, holds the only one
    /// and may change the object in place.
    [[nodiscard]] bool is_shared() const noexcept { return references_.load(std::memory_order_acquire) != 1; }

    /// The number of references at this moment; other threads may change it at once, so it is for tests and messages.
    [[nodiscard]] std::uint32_t reference_count() const noexcept { return references_.load(std::memory_order_relaxed); }

protected:
    /// Called once, when the last reference is given up. Deletes the object, unless a class overrides it: a container
    /// does, so as to take nested objects apart one after the other instead of recursing into them. Nobody retains the
    /// object any more; what the counter says is not settled.
    virtual void dispose() const noexcept;

private:
    mutable std::atomic<std::uint32_t> references_{1};
};

/// A handle: one reference to a T, or empty. T may be incomplete where a handle is only declared.
template <class T>
class ptr_refcount {
public:
    using element_type = T;

    constexpr ptr_refcount() noexcept = default;
    constexpr ptr_refcount(std::nullptr_t) noexcept {} // NOLINT(google-explicit-constructor): an empty handle

    /// Another reference to an object that some handle (or the stack) owns already. It takes nothing over: an object
    /// fresh from `new` would never go away.
    explicit ptr_refcount(T* object) noexcept : object_(object) { retain(); }

    ptr_refcount(ptr_refcount const& other) noexcept : object_(other.object_) { retain(); }
    ptr_refcount(ptr_refcount&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}

    /// To handles of const T and of bases.
    template <class U>
    requires std::convertible_to<U*, T*> ptr_refcount(ptr_refcount<U> const& other)
    noexcept // NOLINT(google-explicit-constructor): as pointers convert
        : object_(other.object_) {
        retain();
    }
    template <class U>
    requires std::convertible_to<U*, T*> ptr_refcount(ptr_refcount<U>&& other)
    noexcept // NOLINT(google-explicit-constructor): as pointers convert
        : object_(std::exchange(other.object_, nullptr)) {}

    ~ptr_refcount() {
        if (object_) object_->release();
    }

    ptr_refcount& operator=(ptr_refcount const& other) noexcept { // NOLINT(bugprone-unhandled-self-assignment): swapped
        ptr_refcount(other).swap(*this);
        return *this;
    }
    ptr_refcount& operator=(ptr_refcount&& other) noexcept {
        ptr_refcount(std::move(other)).swap(*this);
        return *this;
    }

    /// A handle that takes over the reference which a fresh object starts with: for those who make objects in a way of
    /// their own (`T::create`). Everybody else calls `make_refcount`.
    [[nodiscard]] static ptr_refcount adopt(T* fresh) noexcept {
        ptr_refcount handle;
        handle.object_ = fresh;
        return handle;
    }

    void reset() noexcept { ptr_refcount().swap(*this); }
    void reset(T* object) noexcept { ptr_refcount(object).swap(*this); }
    void swap(ptr_refcount& other) noexcept { std::swap(object_, other.object_); }

    [[nodiscard]] T* get() const noexcept { return object_; }
    [[nodiscard]] T& operator*() const noexcept { return *object_; }
    [[nodiscard]] T* operator->() const noexcept { return object_; }
    [[nodiscard]] explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    template <class U>
    friend class ptr_refcount;

    void retain() const noexcept {
        if (object_) object_->retain();
    }

    T* object_ = nullptr;
};

/// Handles compare by the address of what they hold.
template <class T, class U>
[[nodiscard]] bool operator==(ptr_refcount<T> const& a, ptr_refcount<U> const& b) noexcept {
    return a.get() == b.get();
}
template <class T>
[[nodiscard]] bool operator==(ptr_refcount<T> const& a, std::nullptr_t) noexcept {
    return a.get() == nullptr;
}
template <class T, class U>
[[nodiscard]] std::strong_ordering operator<=>(ptr_refcount<T> const& a, ptr_refcount<U> const& b) noexcept {
    return std::compare_three_way()(static_cast<void const*>(a.get()), static_cast<void const*>(b.get()));
}

template <class T>
void swap(ptr_refcount<T>& a, ptr_refcount<T>& b) noexcept {
    a.swap(b);
}

/// Makes an object inside its first handle: through `T::create(args...)` where T has one, so that a class may allocate
/// its payload with itself, else with `new`.
template <class T, class... Args>
[[nodiscard]] ptr_refcount<T> make_refcount(Args&&... args) {
    using made = std::remove_const_t<T>;
    if constexpr (requires {
                      { made::create(std::forward<Args>(args)...) } -> std::convertible_to<ptr_refcount<T>>;
                  })
        return made::create(std::forward<Args>(args)...);
    else
        return ptr_refcount<T>::adopt(new made(std::forward<Args>(args)...));
}

/// The handle as one of another class; the caller knows that the object is one.
template <class T, class U>
[[nodiscard]] ptr_refcount<T> static_refcount_cast(ptr_refcount<U> const& handle) noexcept {
    return ptr_refcount<T>(static_cast<T*>(handle.get()));
}

/// The handle as one of another class, empty when the object is none.
template <class T, class U>
[[nodiscard]] ptr_refcount<T> dynamic_refcount_cast(ptr_refcount<U> const& handle) noexcept {
    return ptr_refcount<T>(dynamic_cast<T*>(handle.get()));
}

} // namespace kxbase

template <class T>
struct std::hash<kxbase::ptr_refcount<T>> {
    std::size_t operator()(kxbase::ptr_refcount<T> const& handle) const noexcept {
        return std::hash<T*>()(handle.get());
    }
};
