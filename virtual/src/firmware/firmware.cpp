#include "firmware/firmware.hpp"

#include <unordered_map>

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

std::optional<bool> flagAt(const Request& request, std::size_t offset, Reply& reply)
{
    const auto flag = request.u8(offset);
    if (flag && *flag <= 1) return *flag == 1;
    reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    return std::nullopt;
}

std::optional<std::uint8_t> settingAt(const Request& request, std::size_t offset, std::uint8_t min, std::uint8_t max,
                                      Reply& reply)
{
    const auto setting = request.u8(offset);
    if (setting && *setting >= min && *setting <= max) return setting;
    reply.setStatus(setting ? DeviceStatus::UNSUPPORTED_SETTING : DeviceStatus::INVALID_PARAMETER);
    return std::nullopt;
}

bool settingsAccepted(const Request& request, std::size_t size, bool ready, DeviceStatus notReady, Reply& reply)
{
    if (request.size() < size)
        reply.setStatus(DeviceStatus::INVALID_PARAMETER);
    else if (!ready)
        reply.setStatus(notReady);
    else
        return true;
    return false;
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

using CommandTable = std::unordered_map<std::uint16_t, CommandHandler>;

const CommandTable& commandTable()
{
    static const CommandTable table = [] {
        CommandTable t;
        for (const CommandRows* family : {&kSystemCommands, &kRailsCommands, &kGpioCommands, &kI2cCommands,
                                          &kSpiCommands, &kUartCommands, &kI3cCommands}) {
            for (const Command& row : *family) t.emplace(row.code, row.handler);
        }
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
