#include "session.hpp"

using tarvix_detail::AsyncSession;

TarvixAsyncSDK::TarvixAsyncSDK() : session_(std::make_unique<AsyncSession>()) {}

TarvixAsyncSDK::TarvixAsyncSDK(const SessionOptions& options) : TarvixAsyncSDK()
{
    session_->options = options;
    session_->link.transport().setOptions({options.detectRemoval, options.exclusive});
}

TarvixAsyncSDK::~TarvixAsyncSDK()
{
    tarvix_detail::HidTransport& transport = session_->link.transport();
    if (transport.onReaderThread()) {
        // Destroyed from its own handler: the reader finishes the job once the handler returns.
        AsyncSession* session = session_.release();
        transport.releaseFromReader([session] { delete session; });
    }
}

bool TarvixAsyncSDK::connect(const std::string& path)
{
    session_->connected = session_->link.connect(path, std::string());
    return session_->connected;
}

bool TarvixAsyncSDK::connectWithSerialNumber(const std::string& serialNumber)
{
    session_->connected = session_->link.connect(std::string(), serialNumber);
    return session_->connected;
}

void TarvixAsyncSDK::disconnect()
{
    session_->link.disconnect();
    session_->connected = false;
}

bool TarvixAsyncSDK::isConnected() const noexcept { return session_->live(); }

void TarvixAsyncSDK::onResponse(ResponseHandler handler) { session_->link.setResponseHandler(std::move(handler)); }

std::string TarvixAsyncSDK::getVersion() { return TARVIXSDK_VERSION_STR; }

SessionOptions TarvixAsyncSDK::options() const noexcept { return session_->options; }

ConnectError TarvixAsyncSDK::lastConnectError() const { return session_->link.transport().lastError(); }

std::string TarvixAsyncSDK::lastConnectErrorMessage() const { return session_->link.transport().lastErrorMessage(); }

std::uint64_t TarvixAsyncSDK::handlerExceptionCount() const noexcept
{
    return session_->link.transport().handlerExceptionCount();
}

std::string TarvixAsyncSDK::lastHandlerException() const { return session_->link.transport().lastHandlerException(); }
