// State behind TarvixAsyncSDK and the one send path every asynchronous command uses.
#pragma once

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <vector>

#include "../transport/segmentation.hpp"
#include "frame_builder.hpp"

namespace tarvix_detail {

class AsyncSession {
public:
    FrameLink link;
    bool connected = false;

    // The steps of every command: connection first, then the argument checks, then the frame
    // (transaction id, command code, payload) goes to the transport. The write result is not
    // looked at: SUCCESS means the frame was handed over.
    template <class Payload>
    StatusCode send(TransactionId transactionId, std::uint16_t code, bool argumentsValid, Payload&& payload)
    {
        if (!connected) {
            return StatusCode::NOT_CONNECTED;
        }
        if (!argumentsValid) {
            return StatusCode::INVALID_ARGUMENT;
        }
        frame_.clear();
        FrameBuilder builder(frame_);
        builder.u16(transactionId).u16(code);
        payload(builder);
        link.send(frame_);
        return StatusCode::SUCCESS;
    }

    // A command without payload and without checks.
    StatusCode send(TransactionId transactionId, std::uint16_t code)
    {
        return send(transactionId, code, true, [](FrameBuilder&) {});
    }

private:
    // Reused from request to request: commands come from one thread at a time.
    std::vector<std::uint8_t> frame_;
};

} // namespace tarvix_detail
