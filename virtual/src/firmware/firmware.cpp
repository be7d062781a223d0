#include "firmware/firmware.hpp"

#include "frame.hpp"

namespace tarvix_virtual::detail {

std::uint16_t Request::code() const { return loadU16(frame_ + 2); }

std::optional<std::uint8_t> Request::payloadU8(std::size_t offset) const {
    if (offset >= payloadSize()) return std::nullopt;
    return frame_[kRequestHeaderSize + offset];
}

std::vector<std::uint8_t> Request::payload() const {
    return std::vector<std::uint8_t>(frame_ + kRequestHeaderSize, frame_ + size_);
}

void Reply::setStatus(std::uint16_t status) { storeU16(frame_.data() + 4, status); }

void Reply::notify(std::uint16_t code, const std::vector<std::uint8_t>& payload) {
    std::vector<std::uint8_t> frame;
    appendU16(frame, 0);
    appendU16(frame, code);
    appendU16(frame, 0);
    frame.insert(frame.end(), payload.begin(), payload.end());
    notifications_.push_back(std::move(frame));
}

void Reply::appendBytes(const std::uint8_t* data, std::size_t size) {
    frame_.insert(frame_.end(), data, data + size);
}

namespace {

const CommandTable& commandTable() {
    static const CommandTable table = [] {
        CommandTable t;
        registerSystemCommands(t);
        registerRailsCommands(t);
        registerGpioCommands(t);
        registerI2cCommands(t);
        registerSpiCommands(t);
        registerUartCommands(t);
        registerI3cCommands(t);
        return t;
    }();
    return table;
}

}  // namespace

bool Firmware::answer(const std::uint8_t* request, std::size_t size,
                      std::vector<std::uint8_t>& response,
                      std::vector<std::vector<std::uint8_t>>& notifications) {
    // Every answer echoes the request's tid and code; a command this firmware
    // does not model is acknowledged with SUCCESS and no payload, so the host
    // side of any family can be exercised before its model exists.
    response.assign(request, request + kRequestHeaderSize);
    appendU16(response, 0);
    Reply reply(response);
    const Request req(request, size);
    const auto& table = commandTable();
    if (const auto it = table.find(req.code()); it != table.end()) it->second(state_, req, reply);
    notifications = std::move(reply.notifications());
    return !reply.suppressed();
}

}  // namespace tarvix_virtual::detail
