#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <utility>

/// Owns an object or an array and may stand wherever its plain pointer does: it converts to that by itself,
/// and stays the owner. Never release what such a pointer points at.
template <class T, class Release>
class Owned {
 public:
    using Pointer = typename std::unique_ptr<T, Release>::pointer;

    Owned() = default;
    Owned(std::nullptr_t) {}
    explicit Owned(Pointer pointer) : owner_(pointer) {}

    operator Pointer() const { return owner_.get(); }
    Pointer get() const { return owner_.get(); }
    void reset(Pointer pointer = nullptr) { owner_.reset(pointer); }
    /// Hands the ownership over.
    Pointer release() { return owner_.release(); }

 private:
    std::unique_ptr<T, Release> owner_;
};

/// Releases what `malloc` or `realloc` gave.
struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

/// A buffer of bytes. All of the program's are allocated so, and one that an interface hands over as a
/// pointer is released by its receiver with `free`.
using OwnedBytes = Owned<unsigned char[], FreeMemory>;

/// A new buffer of `size` bytes, not null for a size of 0; null when memory is out.
inline OwnedBytes AllocateBytes(std::size_t size) {
    return OwnedBytes(static_cast<unsigned char*>(std::malloc(size != 0 ? size : 1)));
}
