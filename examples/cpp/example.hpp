// What every example here does around its task, so that each program shows only the task: take
// the adapter selector from the command line, connect with the session options below, and say
// why a step failed.
#pragma once

#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace example {

// The program's name, which starts every message; selector() sets it.
inline const char* program = "example";

// How long a call waits for its answer, in milliseconds.
constexpr int kTimeoutMs = 1000;

// The adapter named on the command line: serial:SERIAL, path:PATH or an index from `list`, ""
// for the first adapter. Anything else prints the usage and ends the program with status 2
// (before any connect, so that there is nothing to close).
inline const char* selector(int argc, char** argv, const char* name)
{
    program = name;
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: %s [serial:SERIAL | path:PATH | INDEX]\n", name);
        std::exit(2);
    }
    return argc == 2 ? argv[1] : "";
}

// The options every example's session takes.
inline SessionOptions options()
{
    SessionOptions options{};
    options.matchResponses = true; // a call takes only its own answer
    options.detectRemoval = true;  // an unplugged adapter fails the call at once
    options.exclusive = true;      // no other session may use the adapter meanwhile
    return options;
}

// Connects `sdk` to the adapter `selector` names; false after printing why not.
inline bool connect(TarvixSDK& sdk, const char* selector)
{
    if (sdk.connectTo(selector)) {
        return true;
    }
    std::fprintf(stderr, "%s: %s\n", program, sdk.lastConnectErrorMessage().c_str());
    return false;
}

// Prints why a step failed; false lets the caller stop in one line.
inline bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "%s: %s failed: %s (%s)\n", program, step, statusCodeName(status),
                     statusCodeMessage(status).c_str());
    }
    return status == StatusCode::SUCCESS;
}

// A value that a notification handler hands over to main. The handler runs on the session's
// reader thread, so the value lives under a lock, and main sleeps until it holds what main needs.
// Declare it before the session, so that it outlives the reader thread.
template <typename Value>
class Handover {
public:
    // On the reader thread: applies `change` to the value and wakes main.
    template <typename Change>
    void update(Change change)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        change(value_);
        changed_.notify_all();
    }

    // On main: waits until `ready(value)` is true or `timeout` has passed, and returns a copy of
    // the value either way.
    template <typename Ready>
    Value waitFor(std::chrono::milliseconds timeout, Ready ready)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const Value& value = value_;
        changed_.wait_for(lock, timeout, [&] { return ready(value); });
        return value;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    Value value_{};
};

} // namespace example
