// State behind TarvixAsyncSDK and the one send path every asynchronous command uses.
#pragma once

#include <tarvixsdk/tarvixsdk.hpp>

#include <cstdint>
#include <functional>
#include <type_traits>
#include <vector>

#include "../transport/segmentation.hpp"
#include "../protocol/frame_builder.hpp"

namespace tarvix_detail {

class AsyncSession {
public:
    FrameLink link;
    bool connected = false; // caller thread only; see live()
    SessionOptions options{};
    // Told of every request just before it is written (the blocking session uses it to know
    // which answer to wait for); empty for a plain non-blocking session.
    std::function<void(TransactionId, std::uint16_t)> beforeSend;

    // Connected, and the device not found gone by detectRemoval.
    bool live() const noexcept { return connected && !link.transport().gone(); }

    // The steps of every command: connection first, then the argument checks, then the frame
    // (transaction id, command code, payload) goes to the transport. The write result is not
    // looked at: SUCCESS means the frame was handed over.
    template <class Payload>
    StatusCode send(TransactionId transactionId, std::uint16_t code, bool argumentsValid, Payload&& payload)
    {
        if (!live()) {
            return StatusCode::NOT_CONNECTED;
        }
        if (!argumentsValid) {
            return StatusCode::INVALID_ARGUMENT;
        }
        frame_.clear();
        FrameBuilder builder(frame_);
        builder.u16(transactionId).u16(code);
        payload(builder);
        if (beforeSend) {
            beforeSend(transactionId, code);
        }
        link.send(frame_);
        return StatusCode::SUCCESS;
    }

    // A command without payload and without checks.
    StatusCode send(TransactionId transactionId, std::uint16_t code)
    {
        return send(transactionId, code, true, [](FrameBuilder&) {});
    }

    // A command whose payload is one byte per argument, in order, without checks: bytes as
    // they are, enumerations as their value's low byte. Wider values need a field of their own
    // and are refused at compile time.
    template <class... Fields>
    StatusCode sendByteFields(TransactionId transactionId, std::uint16_t code, Fields... fields)
    {
        static_assert(((std::is_enum<Fields>::value || std::is_same<Fields, std::uint8_t>::value) && ...),
                      "a byte field is a std::uint8_t or an enumeration");
        return send(transactionId, code, true, [&](FrameBuilder& f) { (f.u8(lowByte(fields)), ...); });
    }

private:
    // Reused from request to request: commands come from one thread at a time.
    std::vector<std::uint8_t> frame_;
};

} // namespace tarvix_detail
