#include "report_queue.hpp"

namespace tarvix_detail {

ReportQueue::ReportQueue(std::size_t capacity, std::size_t reportSize)
    : capacity_(capacity > 0 ? capacity : 1), reportSize_(reportSize), storage_(capacity_ * reportSize_, 0)
{}

std::uint8_t* ReportQueue::slot()
{
    std::unique_lock<std::mutex> lock(mutex_);
    notFull_.wait(lock, [this] { return stopped_ || count_ < capacity_; });
    if (stopped_) {
        return nullptr;
    }
    return storage_.data() + ((head_ + count_) % capacity_) * reportSize_;
}

void ReportQueue::commit()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_ || count_ == capacity_) {
            return;
        }
        ++count_;
    }
    notEmpty_.notify_one();
}

void ReportQueue::finish()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        finished_ = true;
    }
    notEmpty_.notify_all();
}

const std::uint8_t* ReportQueue::front()
{
    std::unique_lock<std::mutex> lock(mutex_);
    notEmpty_.wait(lock, [this] { return stopped_ || finished_ || count_ > 0; });
    if (stopped_ || count_ == 0) {
        return nullptr;
    }
    return storage_.data() + head_ * reportSize_;
}

void ReportQueue::pop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (count_ == 0) {
            return;
        }
        head_ = (head_ + 1) % capacity_;
        --count_;
    }
    notFull_.notify_one();
}

void ReportQueue::stop()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    notEmpty_.notify_all();
    notFull_.notify_all();
}

} // namespace tarvix_detail
