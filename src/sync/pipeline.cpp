#include "pipeline.hpp"

#include <algorithm>

#include "../protocol/layout.hpp"
#include "session.hpp"

namespace tarvix_detail {

void PipelineRun::begin(std::size_t window)
{
    window_ = window;
    sending_ = false;
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.clear();
    outstanding_.clear();
    collecting_ = true;
}

void PipelineRun::end()
{
    pass_ = Pass::NONE;
    std::lock_guard<std::mutex> lock(mutex_);
    // An answer still to come for a request given up on must not complete a later call.
    for (const Entry& entry : entries_) {
        if (entry.state == State::TIMED_OUT || entry.state == State::GONE || entry.state == State::OUTSTANDING) {
            rememberStale(key(entry.id, entry.code));
        }
    }
    entries_.clear();
    outstanding_.clear();
    collecting_ = false;
}

void PipelineRun::rememberStale(std::uint32_t staleKey)
{
    if (stale_.insert(staleKey).second) {
        staleOrder_.push_back(staleKey);
    }
    if (staleOrder_.size() > kStaleMemory) {
        stale_.erase(staleOrder_.front());
        staleOrder_.pop_front();
    }
}

void PipelineRun::sent(TransactionId id, std::uint16_t code)
{
    if (!sending_) {
        // A request outside an exchange: a command without an answer (reset, boot mode), or the
        // decoding pass sending again. Nothing has been written yet.
        throw NotQueueable{};
    }
    const Clock::time_point now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    // A request id reused within the stale memory's reach: its old answer is no longer stale.
    stale_.erase(key(id, code));
    const Clock::time_point deadline = now + std::chrono::milliseconds(std::max(timeoutMs_, 0));
    entries_.push_back(
        Entry{step_, id, code, gone_ ? State::GONE : State::OUTSTANDING, StatusCode::SUCCESS, deadline, {}});
    if (!gone_) {
        outstanding_.push_back(entries_.size() - 1);
    }
}

void PipelineRun::refused(TransactionId id, StatusCode status)
{
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.push_back(Entry{step_, id, 0, State::REFUSED, status, Clock::time_point{}, {}});
}

bool PipelineRun::offer(const std::vector<std::uint8_t>& frame)
{
    const std::uint32_t frameKey = key(u16At(frame, kTransactionIdOffset), u16At(frame, kCodeOffset));
    const Clock::time_point now = Clock::now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (frame.size() >= 4) {
        for (auto it = outstanding_.begin(); it != outstanding_.end(); ++it) {
            Entry& entry = entries_[*it];
            if (key(entry.id, entry.code) != frameKey) {
                continue;
            }
            const bool inTime = timeoutMs_ == -1 || now <= entry.deadline;
            entry.state = inTime ? State::ANSWERED : State::TIMED_OUT;
            if (inTime) {
                entry.frame.assign(frame.begin(), frame.end());
            } else {
                ++dropped_;
            }
            outstanding_.erase(it);
            changed_.notify_all();
            return true;
        }
        if (stale_.erase(frameKey) != 0) {
            ++dropped_;
            return true;
        }
    }
    if (!collecting_) {
        return false;
    }
    // During a run every answer belongs to it: a foreign or duplicated one is never decoded.
    ++dropped_;
    return true;
}

void PipelineRun::abandon()
{
    std::lock_guard<std::mutex> lock(mutex_);
    gone_ = true;
    for (const std::size_t index : outstanding_) {
        entries_[index].state = State::GONE;
    }
    outstanding_.clear();
    changed_.notify_all();
}

void PipelineRun::restore()
{
    std::lock_guard<std::mutex> lock(mutex_);
    gone_ = false;
}

std::uint64_t PipelineRun::dropped() const noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
}

void PipelineRun::expireLocked(Clock::time_point now)
{
    if (timeoutMs_ == -1) {
        return;
    }
    while (!outstanding_.empty() && entries_[outstanding_.front()].deadline <= now) {
        entries_[outstanding_.front()].state = State::TIMED_OUT;
        outstanding_.pop_front();
    }
}

void PipelineRun::waitLocked(std::unique_lock<std::mutex>& lock)
{
    // Deadlines grow in sending order, so the oldest outstanding request expires first.
    if (timeoutMs_ == -1) {
        changed_.wait(lock);
    } else {
        changed_.wait_until(lock, entries_[outstanding_.front()].deadline);
    }
}

void PipelineRun::awaitRoom()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        expireLocked(Clock::now());
        if (outstanding_.size() < window_) {
            return;
        }
        waitLocked(lock);
    }
}

void PipelineRun::awaitAll()
{
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
        expireLocked(Clock::now());
        if (outstanding_.empty()) {
            return;
        }
        waitLocked(lock);
    }
}

StatusCode PipelineRun::take(TransactionId& transactionId, std::vector<std::uint8_t>& response)
{
    // No request is outstanding in this pass, so the reader no longer touches the entries.
    while (cursor_ < entries_.size() && entries_[cursor_].step < step_) {
        ++cursor_;
    }
    if (cursor_ == entries_.size() || entries_[cursor_].step != step_) {
        // The step asks for an answer it did not request in the sending pass (a method whose
        // later requests depend on earlier answers, like getDeviceInfo).
        return StatusCode::INVALID_ARGUMENT;
    }
    Entry& entry = entries_[cursor_++];
    transactionId = entry.id;
    switch (entry.state) {
    case State::ANSWERED: response.swap(entry.frame); return StatusCode::SUCCESS;
    case State::REFUSED: return entry.refusal;
    case State::GONE: return StatusCode::NOT_CONNECTED;
    case State::OUTSTANDING:
    case State::TIMED_OUT: break;
    }
    return StatusCode::NO_RESPONSE;
}

} // namespace tarvix_detail

using tarvix_detail::PipelineRun;

std::vector<StatusCode> TarvixSDK::runPipeline(const Pipeline& pipeline)
{
    const std::vector<Pipeline::Step>& steps = pipeline.steps_;
    PipelineRun& run = session_->pipeline;
    if (run.active()) {
        // A step may not run a pipeline of its own.
        return std::vector<StatusCode>(steps.size(), StatusCode::INVALID_ARGUMENT);
    }
    std::vector<StatusCode> statuses(steps.size(), StatusCode::SUCCESS);
    struct EndRun {
        PipelineRun& run;
        ~EndRun() { run.end(); }
    } endRun{run};
    run.begin(pipeline.window());
    const auto pass = [&](PipelineRun::Pass which) {
        run.startPass(which);
        for (std::size_t i = 0; i < steps.size(); ++i) {
            run.nextStep(i);
            try {
                const StatusCode status = steps[i](*this);
                if (which == PipelineRun::Pass::DECODE && statuses[i] == StatusCode::SUCCESS) {
                    statuses[i] = status;
                }
            } catch (const PipelineRun::NotQueueable&) {
                statuses[i] = StatusCode::INVALID_ARGUMENT;
            }
        }
    };
    pass(PipelineRun::Pass::SEND);
    run.awaitAll();
    pass(PipelineRun::Pass::DECODE);
    return statuses;
}
