// State behind TarvixSDK and the one send-and-wait that every blocking method uses.
#pragma once

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <memory>
#include <vector>

#include "../protocol/frame_reader.hpp"
#include "pipeline.hpp"
#include "waiter.hpp"

namespace tarvix_detail {

class HidTransport;

class SyncSession {
public:
    SyncSession(int timeoutMs, const SessionOptions& options);
    ~SyncSession();
    SyncSession(const SyncSession&) = delete;
    SyncSession& operator=(const SyncSession&) = delete;

    // Transaction ids run 1..65535 and wrap to 1: 0 is reserved for notifications.
    TransactionId nextTransactionId() noexcept
    {
        counter_ = counter_ < 0xFFFF ? static_cast<TransactionId>(counter_ + 1) : TransactionId{1};
        return counter_;
    }

    // One request: `send(async, id)` issues it through the asynchronous method of the same name.
    // A non-zero asynchronous status is returned as it is (nothing was sent, nothing is awaited);
    // otherwise the call waits for the next response (with matchResponses: for its own), after
    // which `response()` holds it. An adapter found gone meanwhile gives NOT_CONNECTED.
    template <class Send>
    StatusCode exchange(Send&& send, TransactionId& transactionId)
    {
        if (pipeline.active()) {
            // Within TarvixSDK::runPipeline: send only, or decode the answer kept for this request.
            return pipeline.exchange([&](TransactionId id) { return send(async, id); },
                                     [this] { return nextTransactionId(); }, transactionId, response_);
        }
        transactionId = nextTransactionId();
        const StatusCode sent = send(async, transactionId);
        if (sent != StatusCode::SUCCESS) {
            return sent;
        }
        switch (waiter_.wait(response_)) {
        case ResponseWaiter::Outcome::ARRIVED: return StatusCode::SUCCESS;
        case ResponseWaiter::Outcome::DEVICE_GONE: return StatusCode::NOT_CONNECTED;
        case ResponseWaiter::Outcome::TIMED_OUT: break;
        }
        return StatusCode::NO_RESPONSE;
    }

    // The blocking method pattern: exchange, then `decode(reader)` writes the outputs from the
    // response (before the status is looked at), then the status is returned.
    template <class Send, class Decode>
    StatusCode call(Send&& send, Decode&& decode)
    {
        TransactionId transactionId = 0;
        const StatusCode exchanged = exchange(send, transactionId);
        if (exchanged != StatusCode::SUCCESS) {
            return exchanged;
        }
        // Matched answers (the option, or any pipelined call) are also checked for length: a
        // frame stitched from two answers after lost segments is dropped, never decoded.
        FrameReader reader(response_, waiter_.matching() || pipeline.active());
        decode(reader);
        if (reader.overlong()) {
            waiter_.countDropped();
        }
        return reader.result();
    }

    template <class Send>
    StatusCode call(Send&& send)
    {
        return call(send, [](const FrameReader&) {});
    }

    const std::vector<std::uint8_t>& response() const noexcept { return response_; }

    // Reader thread: a frame with a transaction id is the response being waited for; a frame
    // with transaction id 0 is a notification for the application's handler.
    void handleResponse(const std::vector<std::uint8_t>& frame);
    void setNotificationHandler(TarvixSDK::NotificationHandler handler);

    void prepareConnect();
    std::uint64_t droppedResponses() const noexcept { return waiter_.dropped() + pipeline.dropped(); }
    HidTransport& transport() noexcept;

private:
    ResponseWaiter waiter_; // constructed before, and destroyed after, the session that feeds it

public:
    PipelineRun pipeline; // likewise fed by the session's reader
    TarvixAsyncSDK async;

private:
    TransactionId counter_ = 0;
    std::vector<std::uint8_t> response_; // caller thread only
    // Swapped atomically so that onNotification may replace it while the reader runs it.
    std::shared_ptr<const TarvixSDK::NotificationHandler> notificationHandler_;
};

// Builds the record handed to notification handlers (views zeroed, filled on demand).
Notification makeNotification(const std::vector<std::uint8_t>& frame) noexcept;

} // namespace tarvix_detail
