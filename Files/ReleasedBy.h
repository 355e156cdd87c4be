#pragma once

#include <type_traits>

namespace lumenwhirl {

/// Deleter of a std::unique_ptr to a handle of a C library: calls `release` with the handle or with its address,
/// as the function wants it. Not for functions that take any pointer (void*), such as av_freep.
template <auto release>
struct ReleasedBy {
    template <class T>
    void operator()(T* handle) const noexcept {
        if constexpr (std::is_invocable_v<decltype(release), T*>) {
            release(handle);
        } else {
            release(&handle);
        }
    }
};

}  // namespace lumenwhirl
