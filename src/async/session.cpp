#include "session.hpp"

using tarvix_detail::AsyncSession;

TarvixAsyncSDK::TarvixAsyncSDK() : session_(std::make_unique<AsyncSession>()) {}

TarvixAsyncSDK::~TarvixAsyncSDK() = default;

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

bool TarvixAsyncSDK::isConnected() const noexcept { return session_->connected; }

void TarvixAsyncSDK::onResponse(ResponseHandler handler) { session_->link.setResponseHandler(std::move(handler)); }

std::string TarvixAsyncSDK::getVersion() { return TARVIXSDK_VERSION_STR; }
