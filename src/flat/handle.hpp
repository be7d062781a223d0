// The flat interface's handle and the helpers every flat function is written with: the guard
// that keeps C++ exceptions on this side of the C boundary, and the one-line forward.
#pragma once

#include <tarvixsdk/tarvixsdk.h>
#include <tarvixsdk/tarvixsdk.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// Where notifications go: the plain callback or the one with user data, never both. Immutable
// once published, and swapped whole, so that the reader never sees a callback with another
// callback's user data.
struct TarvixSDK_NotificationTarget {
    TarvixSDK_NotificationCallback plain;
    TarvixSDK_NotificationCallbackEx extended;
    void* userData;
};

// One session as C callers see it. The notification buffer and its length are written and read
// only on the reader thread (by the bridge, then by the plain callback it calls); the target is
// read there through std::atomic_load while the caller's thread may replace it. The connect
// error is the caller's thread's alone: a copy of the session's after each connect attempt, so
// that the pointer handed out stays valid until the next one.
struct TarvixSDK_Handle {
    static constexpr std::size_t kNotificationCapacity = 256;

    // The session goes first: its reader, which runs the bridge on this handle, is joined
    // before the other fields are destroyed.
    ~TarvixSDK_Handle() { sdk.reset(); }

    std::unique_ptr<TarvixSDK> sdk;
    std::shared_ptr<const TarvixSDK_NotificationTarget> notificationTarget;
    std::uint8_t notificationBuffer[kNotificationCapacity];
    std::uint8_t notificationLength;
    ConnectError connectError;
    std::string connectErrorMessage;
};

namespace tarvix_flat {

// What a flat function returns when the C++ layer threw: a result its type already has.
template <class Result>
Result failure() noexcept
{
    if constexpr (std::is_same_v<Result, StatusCode>) {
        return StatusCode::SYSTEM_ERROR;
    } else if constexpr (std::is_same_v<Result, bool>) {
        return false;
    } else if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        static_assert(std::is_void_v<Result>, "a flat function returns a status, a bool, a pointer or nothing");
    }
}

// Runs the body of a flat function. No exception may unwind into a C caller (there it would end
// the process), so whatever the body throws ends here and the function returns failure<R>().
// `caught` runs inside the handler, where it may rethrow to look at the exception; what it
// throws itself is dropped.
template <class Body, class Caught>
auto guard(Body&& body, Caught&& caught) noexcept -> decltype(body())
{
    using Result = decltype(body());
    try {
        return body();
    } catch (...) {
        try {
            caught();
        } catch (...) {}
        return failure<Result>();
    }
}

template <class Body>
auto guard(Body&& body) noexcept -> decltype(body())
{
    return guard(std::forward<Body>(body), [] {});
}

// An output pointer handed on to the method as a reference. Required ones are tested for null
// (INVALID_ARGUMENT) before the call; unchecked ones are the caller's responsibility.
template <class T, bool kRequired>
struct Out {
    T* pointer;
};
template <class T>
Out<T, true> required(T* pointer) noexcept
{
    return {pointer};
}
template <class T>
Out<T, false> unchecked(T* pointer) noexcept
{
    return {pointer};
}

template <class T>
bool present(const T&) noexcept
{
    return true;
}
template <class T>
bool present(const Out<T, true>& out) noexcept
{
    return out.pointer != nullptr;
}

template <class T>
const T& pass(const T& value) noexcept
{
    return value;
}
template <class T, bool kRequired>
T& pass(const Out<T, kRequired>& out) noexcept
{
    return *out.pointer;
}

// A caller's input array as bytes; a null pointer or a count of 0 gives none.
inline std::vector<std::uint8_t> bytesFrom(const std::uint8_t* data, std::size_t count)
{
    return data != nullptr && count > 0 ? std::vector<std::uint8_t>(data, data + count) : std::vector<std::uint8_t>();
}

// A buffer whose count says there is something to read must be there.
inline bool inputValid(const void* data, std::size_t count) noexcept
{
    return count == 0 || data != nullptr;
}

// The whole of a flat function that only forwards: null handle first, then the required output
// pointers, then the method with the arguments unchanged (outputs as references), guarded.
template <class Method, class... Args>
StatusCode forward(TarvixSDK_Handle* handle, Method method, const Args&... args) noexcept
{
    if (handle == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!(present(args) && ...)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] { return (handle->sdk.get()->*method)(pass(args)...); });
}

} // namespace tarvix_flat
