// Fixtures for the library's tests: a virtual adapter attached and a session connected to it.
//
// Test executables link libtarvix-virtual ahead of libtarvixsdk, so the SDK's hid_* calls reach
// the virtual adapter while the SDK itself is the production build.
#pragma once

#include <gtest/gtest.h>
#include <tarvix_virtual/virtual_adapter.hpp>
#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tarvix_test {

using Bytes = std::vector<std::uint8_t>;
namespace tv = tarvix_virtual;
using namespace std::chrono_literals;

// Timeout of the blocking session in tests: long enough never to fire on a loaded CI machine
// when an answer is coming, short where a test expects NO_RESPONSE (ShortTimeoutSyncSessionTest).
constexpr int kTimeoutMs = 5000;
constexpr int kShortTimeoutMs = 50;

// Items handed over by a handler on the reader thread (frames, or what a notification handler
// copied out of its record), collected for the test's thread.
template <class T>
class Inbox {
public:
    void push(T item)
    {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            items_.push_back(std::move(item));
        }
        arrived_.notify_all();
    }

    // The items received so far, once at least `count` have arrived or `timeout` has passed.
    std::vector<T> waitFor(std::size_t count, std::chrono::milliseconds timeout = std::chrono::milliseconds(kTimeoutMs))
    {
        std::unique_lock<std::mutex> lock(mutex_);
        arrived_.wait_for(lock, timeout, [&] { return items_.size() >= count; });
        return items_;
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<T> items_;
};

// Polls `done` every few milliseconds for at most `limit`, for effects that finish on another
// thread without a signal of their own (a deferred destruction, a removal noticed by the reader).
template <class Done>
bool eventually(Done done, std::chrono::milliseconds limit = std::chrono::milliseconds(kTimeoutMs))
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(5ms);
    }
    return true;
}

// A request frame without its transaction id, for frames sent by blocking calls.
inline Bytes withoutTransactionId(const Bytes& frame)
{
    return frame.size() < 2 ? Bytes{} : Bytes(frame.begin() + 2, frame.end());
}

inline SessionOptions optionsWith(bool matchResponses, bool detectRemoval, bool exclusive = false)
{
    SessionOptions options{};
    options.matchResponses = matchResponses;
    options.detectRemoval = detectRemoval;
    options.exclusive = exclusive;
    return options;
}

// An adapter's description; an empty path is made unique.
inline tv::AdapterConfig adapterWith(std::optional<std::wstring> serial, std::string path = "",
                                     std::uint16_t productId = 0x82FC, std::uint16_t vendorId = 0x1FC9)
{
    tv::AdapterConfig config;
    config.serialNumber = std::move(serial);
    config.path = std::move(path);
    config.productId = productId;
    config.vendorId = vendorId;
    return config;
}

// No adapter attached: the test attaches its own, and they are forgotten afterwards.
class NothingAttachedTest : public ::testing::Test {
protected:
    void SetUp() override { tv::reset(); }
    void TearDown() override { tv::reset(); }
};

// A virtual adapter per test, forgotten afterwards.
class VirtualAdapterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        tv::reset();
        adapter_.emplace(tv::attach(adapterConfig()));
    }
    void TearDown() override { tv::reset(); }

    // Override to attach another kind of adapter (e.g. the 1024-byte one).
    virtual tv::AdapterConfig adapterConfig() const { return {}; }

    tv::VirtualAdapter& adapter() { return *adapter_; }

    // The last request frame the adapter received (empty if none).
    Bytes lastRequest() const
    {
        const std::vector<Bytes> all = adapter_->requests();
        return all.empty() ? Bytes{} : all.back();
    }

    // Answers command `code` with an echo of the request's transaction id and code, `status`
    // and `payload`, as the adapter does.
    void answer(std::uint16_t code, std::uint16_t status, Bytes payload = {})
    {
        adapter_->setResponder(code, [code, status, payload](const Bytes& request) {
            return std::vector<Bytes>{tv::responseFrame(tv::transactionIdOf(request), code, status, payload)};
        });
    }

private:
    std::optional<tv::VirtualAdapter> adapter_;
};

// A blocking session connected to the virtual adapter.
class SyncSessionTest : public VirtualAdapterTest {
protected:
    void SetUp() override
    {
        VirtualAdapterTest::SetUp();
        sdk_ = std::make_unique<TarvixSDK>(sessionTimeoutMs());
        ASSERT_TRUE(sdk_->connect());
    }
    void TearDown() override
    {
        sdk_.reset();
        VirtualAdapterTest::TearDown();
    }
    virtual int sessionTimeoutMs() const { return kTimeoutMs; }

    TarvixSDK& sdk() { return *sdk_; }

private:
    std::unique_ptr<TarvixSDK> sdk_;
};

// A blocking session whose calls give up after kShortTimeoutMs, for NO_RESPONSE cases.
class ShortTimeoutSyncSessionTest : public SyncSessionTest {
protected:
    int sessionTimeoutMs() const override { return kShortTimeoutMs; }
};

// A non-blocking session connected to the virtual adapter; received frames are collected.
class AsyncSessionTest : public VirtualAdapterTest {
protected:
    void SetUp() override
    {
        VirtualAdapterTest::SetUp();
        sdk_ = std::make_unique<TarvixAsyncSDK>();
        // Installed before connecting, so that the reader thread never sees the handler change.
        sdk_->onResponse([this](const Bytes& frame) { received_.push(frame); });
        ASSERT_TRUE(sdk_->connect());
    }
    void TearDown() override
    {
        sdk_.reset();
        VirtualAdapterTest::TearDown();
    }

    TarvixAsyncSDK& sdk() { return *sdk_; }

    // Every frame the session's onResponse handler received, in order.
    Inbox<Bytes>& received() { return received_; }

    // Sends through `issue` and returns the request frame the adapter received.
    template <class Issue>
    Bytes requestOf(Issue&& issue)
    {
        adapter().clearRecords();
        EXPECT_EQ(issue(*sdk_), StatusCode::SUCCESS);
        EXPECT_TRUE(adapter().waitForRequests(1, 2s));
        return lastRequest();
    }

private:
    Inbox<Bytes> received_; // declared first: outlives the session whose reader feeds it
    std::unique_ptr<TarvixAsyncSDK> sdk_;
};

} // namespace tarvix_test
