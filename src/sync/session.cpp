#include "session.hpp"

#include <atomic>
#include <chrono>
#include <cstdint>

#include "../async/session.hpp"
#include "../protocol/layout.hpp"

namespace tarvix_detail {

namespace {

// Where the transaction ids of a matching session start: anywhere in 0..65534, so that two
// sessions on one adapter rarely number their requests alike. Not a secret, just spread out.
TransactionId randomStart(const void* salt) noexcept
{
    std::uint64_t x = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
                      reinterpret_cast<std::uintptr_t>(salt);
    x ^= x >> 33;
    x *= 0xff51afd7ed558ccdULL;
    x ^= x >> 33;
    return static_cast<TransactionId>(x % 0xFFFF);
}

} // namespace

SyncSession::SyncSession(int timeoutMs, const SessionOptions& options)
    : waiter_(timeoutMs, options.matchResponses), pipeline(timeoutMs), async(options)
{
    if (options.matchResponses) {
        counter_ = randomStart(this);
    }
    // A pipeline records each request it sends; a single call tells the waiter (with matching).
    async.session_->beforeSend = [this](TransactionId id, std::uint16_t code) {
        if (pipeline.active()) {
            pipeline.sent(id, code);
        } else {
            waiter_.expect(id, code);
        }
    };
    async.onResponse([this](const std::vector<std::uint8_t>& frame) { handleResponse(frame); });
    transport().setRemovalHandler([this] {
        waiter_.abandon();
        pipeline.abandon();
    });
}

HidTransport& SyncSession::transport() noexcept
{
    return async.session_->link.transport();
}

void SyncSession::prepareConnect()
{
    // Before the open: a reader that finds the new device gone at once must not be undone.
    waiter_.restore();
    pipeline.restore();
}

SyncSession::~SyncSession()
{
    // Stop the reader first: no handler may run while this object is being taken apart.
    async.disconnect();
}

void SyncSession::handleResponse(const std::vector<std::uint8_t>& frame)
{
    const bool answer = u16At(frame, kTransactionIdOffset) != 0;
    if (answer && pipeline.offer(frame)) {
        return; // an answer to a pipelined request, or a late one of a run given up on
    }
    if (answer) {
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

TarvixSDK::TarvixSDK(int timeout) : TarvixSDK(timeout, SessionOptions{}) {}

TarvixSDK::TarvixSDK(int timeout, const SessionOptions& options)
    : session_(std::make_unique<SyncSession>(timeout, options))
{}

TarvixSDK::~TarvixSDK()
{
    tarvix_detail::HidTransport& transport = session_->transport();
    if (transport.onReaderThread()) {
        // Destroyed from its own handler: the reader finishes the job once the handler returns.
        SyncSession* session = session_.release();
        transport.releaseFromReader([session] { delete session; });
    }
}

bool TarvixSDK::connect(const std::string& path)
{
    session_->prepareConnect();
    return session_->async.connect(path);
}

bool TarvixSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    session_->prepareConnect();
    return session_->async.connectWithSerialNumber(serialNumber);
}

void TarvixSDK::disconnect()
{
    session_->async.disconnect();
}

bool TarvixSDK::isConnected() const noexcept
{
    return session_->async.isConnected();
}

std::string TarvixSDK::getVersion()
{
    return TarvixAsyncSDK::getVersion();
}

void TarvixSDK::onNotification(NotificationHandler handler)
{
    session_->setNotificationHandler(std::move(handler));
}

SessionOptions TarvixSDK::options() const noexcept
{
    return session_->async.options();
}

ConnectError TarvixSDK::lastConnectError() const
{
    return session_->async.lastConnectError();
}

std::string TarvixSDK::lastConnectErrorMessage() const
{
    return session_->async.lastConnectErrorMessage();
}

std::uint64_t TarvixSDK::handlerExceptionCount() const noexcept
{
    return session_->async.handlerExceptionCount();
}

std::string TarvixSDK::lastHandlerException() const
{
    return session_->async.lastHandlerException();
}

std::uint64_t TarvixSDK::droppedResponseCount() const noexcept
{
    return session_->droppedResponses();
}

bool TarvixSDK::connectTo(const std::string& selector)
{
    session_->prepareConnect();
    return session_->async.connectTo(selector);
}

void TarvixSDK::onFrame(TarvixAsyncSDK::FrameTap tap)
{
    session_->async.onFrame(std::move(tap));
}

std::vector<TarvixSDK::AdapterInfo> TarvixSDK::listAdapters()
{
    std::vector<AdapterInfo> adapters;
    for (tarvix_detail::ListedAdapter& listed : tarvix_detail::listSupportedAdapters()) {
        AdapterInfo info;
        info.path = std::move(listed.path);
        info.vendorId = listed.kind->vendorId;
        info.productId = listed.kind->productId;
        info.reportSize = listed.kind->reportSize;
        info.hasSerialNumber = listed.hasSerial;
        info.serialNumber = std::move(listed.serial);
        info.manufacturer = std::move(listed.manufacturer);
        info.product = std::move(listed.product);
        adapters.push_back(std::move(info));
    }
    return adapters;
}
