// The flat interface's handle and the forwarding helpers every flat function is written with.
#pragma once

#include <tarvixsdk/tarvixsdk.h>
#include <tarvixsdk/tarvixsdk.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

// One session as C callers see it. The notification buffer and its length are written and read
// only on the reader thread (by the bridge, then by the callback it calls); the callback pointer
// is atomic because the caller's thread may replace it while the reader runs.
struct TarvixSDK_Handle {
    static constexpr std::size_t kNotificationCapacity = 256;

    std::unique_ptr<TarvixSDK> sdk;
    std::atomic<TarvixSDK_NotificationCallback> notificationCallback{nullptr};
    std::uint8_t notificationBuffer[kNotificationCapacity];
    std::uint8_t notificationLength;
};

namespace tarvix_flat {

// An output pointer handed on to the method as a reference. Required ones are tested for null
// (INVALID_ARGUMENT) before the call; unchecked ones are the caller's responsibility.
template <class T, bool kRequired>
struct Out {
    T* pointer;
};
template <class T>
Out<T, true> required(T* pointer) noexcept { return {pointer}; }
template <class T>
Out<T, false> unchecked(T* pointer) noexcept { return {pointer}; }

template <class T>
bool present(const T&) noexcept { return true; }
template <class T>
bool present(const Out<T, true>& out) noexcept { return out.pointer != nullptr; }

template <class T>
const T& pass(const T& value) noexcept { return value; }
template <class T, bool kRequired>
T& pass(const Out<T, kRequired>& out) noexcept { return *out.pointer; }

// The whole of a flat function that only forwards: null handle first, then the required output
// pointers, then the method with the arguments unchanged (outputs as references).
template <class Method, class... Args>
StatusCode forward(TarvixSDK_Handle* handle, Method method, const Args&... args)
{
    if (handle == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!(present(args) && ...)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return (handle->sdk.get()->*method)(pass(args)...);
}

} // namespace tarvix_flat
