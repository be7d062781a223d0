#include "session.hpp"

#include <atomic>

namespace tarvix_detail {

SyncSession::SyncSession(int timeoutMs) : waiter_(timeoutMs)
{
    async.onResponse([this](const std::vector<std::uint8_t>& frame) { handleResponse(frame); });
}

SyncSession::~SyncSession()
{
    // Stop the reader first: no handler may run while this object is being taken apart.
    async.disconnect();
}

void SyncSession::handleResponse(const std::vector<std::uint8_t>& frame)
{
    const std::uint16_t transactionId =
        frame.size() >= 2 ? static_cast<std::uint16_t>(frame[0] | (frame[1] << 8)) : std::uint16_t{0};
    if (transactionId != 0) {
        // Not matched against the request: the adapter answers one request at a time, and a
        // late answer is served to the next call.
        waiter_.store(frame);
        return;
    }
    const auto handler = std::atomic_load(&notificationHandler_);
    if (handler && *handler) {
        const Notification notification = makeNotification(frame);
        (*handler)(notification);
    }
}

void SyncSession::setNotificationHandler(TarvixSDK::NotificationHandler handler)
{
    std::shared_ptr<const TarvixSDK::NotificationHandler> next;
    if (handler) {
        next = std::make_shared<const TarvixSDK::NotificationHandler>(std::move(handler));
    }
    std::atomic_store(&notificationHandler_, std::move(next));
}

} // namespace tarvix_detail

using tarvix_detail::SyncSession;

TarvixSDK::TarvixSDK(int timeout) : session_(std::make_unique<SyncSession>(timeout)) {}

TarvixSDK::~TarvixSDK() = default;

bool TarvixSDK::connect(const std::string& path) { return session_->async.connect(path); }

bool TarvixSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    return session_->async.connectWithSerialNumber(serialNumber);
}

void TarvixSDK::disconnect() { session_->async.disconnect(); }

bool TarvixSDK::isConnected() const noexcept { return session_->async.isConnected(); }

std::string TarvixSDK::getVersion() { return TarvixAsyncSDK::getVersion(); }

void TarvixSDK::onNotification(NotificationHandler handler) { session_->setNotificationHandler(std::move(handler)); }
