#include "session.hpp"

#include <algorithm>
#include <cctype>
#include <stdexcept>

using tarvix_detail::AsyncSession;

TarvixAsyncSDK::TarvixAsyncSDK() : session_(std::make_unique<AsyncSession>()) {}

TarvixAsyncSDK::TarvixAsyncSDK(const SessionOptions& options) : TarvixAsyncSDK()
{
    session_->options = options;
    session_->link.transport().setOptions({options.detectRemoval, options.exclusive, options.queueReports});
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

bool TarvixAsyncSDK::isConnected() const noexcept
{
    return session_->live();
}

void TarvixAsyncSDK::onResponse(ResponseHandler handler)
{
    session_->link.setResponseHandler(std::move(handler));
}

std::string TarvixAsyncSDK::getVersion()
{
    return TARVIXSDK_VERSION_STR;
}

SessionOptions TarvixAsyncSDK::options() const noexcept
{
    return session_->options;
}

ConnectError TarvixAsyncSDK::lastConnectError() const
{
    return session_->link.transport().lastError();
}

std::string TarvixAsyncSDK::lastConnectErrorMessage() const
{
    return session_->link.transport().lastErrorMessage();
}

std::uint64_t TarvixAsyncSDK::handlerExceptionCount() const noexcept
{
    return session_->link.transport().handlerExceptionCount();
}

std::string TarvixAsyncSDK::lastHandlerException() const
{
    return session_->link.transport().lastHandlerException();
}

bool TarvixAsyncSDK::connectTo(const std::string& selector)
{
    tarvix_detail::HidTransport& transport = session_->link.transport();
    const auto startsWith = [&selector](const char* prefix) { return selector.rfind(prefix, 0) == 0; };
    if (selector.empty()) {
        return connect();
    }
    if (startsWith("serial:")) {
        try {
            return connectWithSerialNumber(selector.substr(7));
        } catch (const std::range_error&) {
            return false; // the transport has said BAD_SERIAL
        }
    }
    if (startsWith("path:") && selector.size() > 5) {
        return connect(selector.substr(5));
    }
    const bool isIndex = selector.size() <= 6 && std::all_of(selector.begin(), selector.end(), [](char c) {
                             return std::isdigit(static_cast<unsigned char>(c)) != 0;
                         });
    if (isIndex) {
        const std::vector<tarvix_detail::ListedAdapter> adapters = tarvix_detail::listSupportedAdapters();
        const std::size_t index = std::stoul(selector);
        if (index < adapters.size()) {
            return connect(adapters[index].path);
        }
        transport.reportConnectError(adapters.empty() ? ConnectError::NO_ADAPTER : ConnectError::NO_MATCH,
                                     "no adapter with index " + selector + ": " + std::to_string(adapters.size()) +
                                         " adapter" + (adapters.size() == 1 ? " is" : "s are") +
                                         " attached, numbered from 0");
        return false;
    }
    transport.reportConnectError(ConnectError::NO_MATCH, "unknown adapter selector \"" + selector +
                                                             "\": use serial:SERIAL, path:PATH or an index from "
                                                             "the adapter listing");
    return false;
}

void TarvixAsyncSDK::onFrame(FrameTap tap)
{
    session_->link.setFrameTap(std::move(tap));
}
