// Names and sentences for status codes and connect errors, for messages and logs.
#include "status_text.hpp"

#include <tarvixsdk/types.hpp>

#include <cstdio>

const char* statusCodeName(StatusCode status) noexcept
{
    switch (status) {
    case StatusCode::SUCCESS: return "SUCCESS";
    case StatusCode::NO_RESPONSE: return "NO_RESPONSE";
    case StatusCode::NOT_CONNECTED: return "NOT_CONNECTED";
    case StatusCode::UNEXPECTED_RESPONSE: return "UNEXPECTED_RESPONSE";
    case StatusCode::INVALID_ARGUMENT: return "INVALID_ARGUMENT";
    case StatusCode::RESPONSE_TOO_SHORT: return "RESPONSE_TOO_SHORT";
    case StatusCode::SYSTEM_ERROR: return "SYSTEM_ERROR";
    }
    return "DEVICE_STATUS";
}

const char* tarvix_detail::libraryStatusSentence(StatusCode status) noexcept
{
    switch (status) {
    case StatusCode::SUCCESS: return "success";
    case StatusCode::NO_RESPONSE: return "no response arrived before the timeout";
    case StatusCode::NOT_CONNECTED: return "no adapter is connected; nothing was sent";
    case StatusCode::UNEXPECTED_RESPONSE: return "the response does not answer this request";
    case StatusCode::INVALID_ARGUMENT: return "an argument is out of range or missing; nothing was sent";
    case StatusCode::RESPONSE_TOO_SHORT: return "the response is shorter than the fields or the count it declares";
    case StatusCode::SYSTEM_ERROR: return "the library ran out of memory or of a system resource";
    }
    return nullptr;
}

std::string statusCodeMessage(StatusCode status)
{
    if (const char* sentence = tarvix_detail::libraryStatusSentence(status)) {
        return sentence;
    }
    char text[32];
    std::snprintf(text, sizeof text, "device status 0x%04X", static_cast<unsigned>(status));
    return text;
}

const char* connectErrorName(ConnectError error) noexcept
{
    switch (error) {
    case ConnectError::NONE: return "NONE";
    case ConnectError::NO_ADAPTER: return "NO_ADAPTER";
    case ConnectError::NO_MATCH: return "NO_MATCH";
    case ConnectError::PERMISSION_DENIED: return "PERMISSION_DENIED";
    case ConnectError::BUSY: return "BUSY";
    case ConnectError::OPEN_FAILED: return "OPEN_FAILED";
    case ConnectError::BAD_SERIAL: return "BAD_SERIAL";
    case ConnectError::SYSTEM_ERROR: return "SYSTEM_ERROR";
    }
    return "UNKNOWN";
}
