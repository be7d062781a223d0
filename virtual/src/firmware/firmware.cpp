#include "firmware/firmware.hpp"

namespace tarvix_virtual::detail {

Reply::Reply(const Request& request, std::vector<std::uint8_t>& frame) : FieldWriter(frame), frame_(frame)
{
    frame_ = responseFrame(request.transactionId(), request.code(), static_cast<std::uint16_t>(DeviceStatus::SUCCESS));
}

void Reply::setStatus(std::uint16_t status)
{
    storeU16(frame_.data() + kStatusOffset, status);
}

void Reply::notify(std::uint16_t code, const std::vector<std::uint8_t>& payload)
{
    notifications_.push_back(notificationFrame(code, static_cast<std::uint16_t>(DeviceStatus::SUCCESS), payload));
}

void restartFirmware(FirmwareState& state)
{
    state.rails.restart();
    state.gpio.restart();
    state.i2c.restart();
    state.spi.restart();
    state.uart.restart();
    state.i3c.restart();
}

namespace {

const CommandTable& commandTable()
{
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

} // namespace

bool Firmware::answer(const std::uint8_t* request, std::size_t size, std::vector<std::uint8_t>& response,
                      std::vector<std::vector<std::uint8_t>>& notifications)
{
    const Request req(request, size);
    Reply reply(req, response);
    const auto& table = commandTable();
    if (const auto it = table.find(req.code()); it != table.end()) it->second(state_, req, reply);
    notifications = std::move(reply.notifications());
    return !reply.suppressed();
}

} // namespace tarvix_virtual::detail
