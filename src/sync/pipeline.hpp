// Pipelined blocking calls: several requests in flight, each answer matched to its request by
// transaction id and command code.
//
// A pipeline runs the caller's queued steps twice. In the sending pass every blocking method's
// exchange writes its request and returns without waiting (the method then returns at once, its
// outputs untouched); the library then waits until every request is answered or has timed out.
// In the decoding pass every exchange takes the answer kept for it and the method's own decoder
// writes the outputs. So each method runs to completion in each pass, and its arguments need to
// live only as long as one call.
#pragma once

#include <tarvixsdk/types.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <unordered_set>
#include <vector>

namespace tarvix_detail {

class PipelineRun {
public:
    enum class Pass {
        NONE,
        SEND,
        DECODE
    };

    explicit PipelineRun(int timeoutMs) noexcept : timeoutMs_(timeoutMs) {}

    bool active() const noexcept { return pass_ != Pass::NONE; }

    // Caller thread: a run of `window` requests in flight at most. Forgets the entries of the
    // previous run (their late answers stay recognised as stale).
    void begin(std::size_t window);
    void startPass(Pass pass) noexcept
    {
        pass_ = pass;
        step_ = 0;
        cursor_ = 0;
    }
    void nextStep(std::size_t step) noexcept { step_ = step; }
    // Caller thread: waits until no request is outstanding (answered, timed out or device gone).
    void awaitAll();
    // Caller thread: back to single calls; unanswered requests become stale.
    void end();

    // One exchange of a blocking method during a run. `send(id)` writes the request through the
    // asynchronous method; `nextId()` numbers it. See SyncSession::exchange for the contract.
    template <class Send, class NextId>
    StatusCode exchange(Send&& send, NextId&& nextId, TransactionId& transactionId, std::vector<std::uint8_t>& response)
    {
        if (pass_ == Pass::SEND) {
            awaitRoom();
            transactionId = nextId();
            sending_ = true;
            const StatusCode sent = send(transactionId);
            sending_ = false;
            if (sent != StatusCode::SUCCESS) {
                refused(transactionId, sent);
                return sent;
            }
            // Not answered yet: the method must not decode anything in this pass.
            return StatusCode::NO_RESPONSE;
        }
        return take(transactionId, response);
    }

    // Caller thread, from the asynchronous session just before a request is written. Outside an
    // exchange (a command that gets no answer, such as a reset) it throws NotQueueable.
    void sent(TransactionId id, std::uint16_t code);
    struct NotQueueable {};

    // Reader thread: true if the frame belonged to a run (taken, or dropped as late or foreign
    // during a run); false sends it on to the single-call waiter.
    bool offer(const std::vector<std::uint8_t>& frame);
    // Reader thread: the device has gone; outstanding requests end as NOT_CONNECTED.
    void abandon();
    void restore();

    std::uint64_t dropped() const noexcept;

private:
    using Clock = std::chrono::steady_clock;
    enum class State {
        OUTSTANDING,
        ANSWERED,
        TIMED_OUT,
        GONE,
        REFUSED
    };
    struct Entry {
        std::size_t step;
        TransactionId id;
        std::uint16_t code;
        State state;
        StatusCode refusal; // REFUSED: the asynchronous status (nothing was sent)
        Clock::time_point deadline;
        std::vector<std::uint8_t> frame;
    };

    static std::uint32_t key(TransactionId id, std::uint16_t code) noexcept
    {
        return static_cast<std::uint32_t>(id) << 16 | code;
    }
    void awaitRoom();
    // With the lock held: marks requests past their deadline; waits for the earliest one.
    void expireLocked(Clock::time_point now);
    void waitLocked(std::unique_lock<std::mutex>& lock);
    void refused(TransactionId id, StatusCode status);
    StatusCode take(TransactionId& transactionId, std::vector<std::uint8_t>& response);
    void rememberStale(std::uint32_t staleKey);

    // Late answers of earlier runs recognised (and dropped) at most this far back.
    static constexpr std::size_t kStaleMemory = 1024;

    const int timeoutMs_;
    // Caller thread only.
    Pass pass_ = Pass::NONE;
    std::size_t step_ = 0;
    std::size_t cursor_ = 0; // decoding pass: next entry to look at
    std::size_t window_ = 1;
    bool sending_ = false;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Entry> entries_;          // in sending order
    std::deque<std::size_t> outstanding_; // indices into entries_, oldest first
    bool collecting_ = false;             // a run is going on: every answer frame is ours
    bool gone_ = false;
    std::unordered_set<std::uint32_t> stale_;
    std::deque<std::uint32_t> staleOrder_;
    std::uint64_t dropped_ = 0;
};

} // namespace tarvix_detail
