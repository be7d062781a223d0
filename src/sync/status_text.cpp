// Names and sentences for status codes, for messages and logs.
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
    }
    return "DEVICE_STATUS";
}

std::string statusCodeMessage(StatusCode status)
{
    switch (status) {
    case StatusCode::SUCCESS: return "success";
    case StatusCode::NO_RESPONSE: return "no response arrived before the timeout";
    case StatusCode::NOT_CONNECTED: return "no adapter is connected; nothing was sent";
    case StatusCode::UNEXPECTED_RESPONSE: return "the response does not answer this request";
    case StatusCode::INVALID_ARGUMENT: return "an argument is out of range or missing; nothing was sent";
    case StatusCode::RESPONSE_TOO_SHORT: return "the response is shorter than the content it must carry";
    }
    char text[32];
    std::snprintf(text, sizeof text, "device status 0x%04X", static_cast<unsigned>(status));
    return text;
}
