// One line of text per traced frame: what a person reading a wire trace wants to see. Every
// field is read through a bounds-checked cursor, so a frame of any length (a device may send
// anything) gives a line, with what is missing or left over said plainly.
#include <tarvixsdk/tarvixsdk.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "../protocol/codes.hpp"
#include "../protocol/layout.hpp"

namespace {

using namespace tarvix_detail;

// At most this many bytes of a data field are written out; longer fields end in "...".
constexpr std::size_t kShownBytes = 32;

std::string hex(std::uint32_t value, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, static_cast<unsigned>(value));
    return text;
}

// Appends "name=value" fields read from a frame, never past its end.
class Fields {
public:
    Fields(const std::uint8_t* data, std::size_t length, std::size_t offset, std::string& line)
        : data_(data), length_(length), offset_(offset), line_(line), truncated_(offset > length)
    {}

    bool have(std::size_t n) const noexcept { return !truncated_ && offset_ + n <= length_; }

    Fields& u8(const char* name) { return number(name, 1, false); }
    Fields& u16(const char* name) { return number(name, 2, false); }
    Fields& u32(const char* name) { return number(name, 4, false); }
    Fields& hex8(const char* name) { return number(name, 1, true); }
    Fields& hex32(const char* name) { return number(name, 4, true); }
    Fields& skip(std::size_t n)
    {
        if (have(n)) {
            offset_ += n;
        } else {
            truncate();
        }
        return *this;
    }
    // `count` bytes, or every byte left when `count` is npos (then nothing when none is left).
    Fields& bytes(const char* name, std::size_t count = std::string::npos)
    {
        if (truncated_) {
            return *this;
        }
        const std::size_t left = length_ - offset_;
        if (count == std::string::npos && left == 0) {
            return *this; // an empty trailing field says nothing
        }
        const std::size_t n = count == std::string::npos ? left : count;
        if (n > left) {
            raw(name, left);
            truncate();
            return *this;
        }
        raw(name, n);
        return *this;
    }
    // Text of `count` bytes, printable ASCII kept and the rest escaped.
    Fields& text(const char* name, std::size_t count)
    {
        if (!have(count)) {
            return truncate();
        }
        line_ += ' ';
        line_ += name;
        line_ += "=\"";
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint8_t c = data_[offset_ + i];
            if (c >= 0x20 && c < 0x7F && c != '"' && c != '\\') {
                line_ += static_cast<char>(c);
            } else {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
                line_ += escaped;
            }
        }
        line_ += '"';
        offset_ += count;
        return *this;
    }
    // A word of its own, for values decoded from several bits.
    Fields& word(const std::string& text)
    {
        line_ += ' ';
        line_ += text;
        return *this;
    }
    // A value that is not a whole field of the frame (bits of a byte already shown).
    Fields& hex8(const char* name, std::uint8_t value)
    {
        line_ += ' ';
        line_ += name;
        line_ += '=';
        line_ += hex(value, 2);
        return *this;
    }
    // The value just read (for counts that decide what follows); 0 if it was missing.
    std::uint32_t last() const noexcept { return last_; }
    std::uint8_t peek(std::size_t at) const noexcept { return offset_ + at < length_ ? data_[offset_ + at] : 0; }

    // Says what was missing or left over; call once at the end.
    void finish()
    {
        if (truncated_) {
            line_ += " (frame ends early)";
        } else if (offset_ < length_) {
            line_ += " +" + std::to_string(length_ - offset_) + " bytes";
        }
    }

private:
    Fields& number(const char* name, std::size_t size, bool asHex)
    {
        if (!have(size)) {
            return truncate();
        }
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i) {
            value |= static_cast<std::uint32_t>(data_[offset_ + i]) << (8 * i);
        }
        offset_ += size;
        last_ = value;
        line_ += ' ';
        line_ += name;
        line_ += '=';
        line_ += asHex ? hex(value, static_cast<int>(size * 2)) : std::to_string(value);
        return *this;
    }
    void raw(const char* name, std::size_t n)
    {
        line_ += ' ';
        line_ += name;
        line_ += "=[";
        for (std::size_t i = 0; i < n && i < kShownBytes; ++i) {
            char byte[4];
            std::snprintf(byte, sizeof byte, i == 0 ? "%02X" : " %02X", data_[offset_ + i]);
            line_ += byte;
        }
        if (n > kShownBytes) {
            line_ += " ...";
        }
        line_ += "]";
        if (n > kShownBytes) {
            line_ += "(" + std::to_string(n) + ")";
        }
        offset_ += n;
    }
    Fields& truncate()
    {
        truncated_ = true;
        last_ = 0;
        return *this;
    }

    const std::uint8_t* data_;
    std::size_t length_;
    std::size_t offset_;
    std::string& line_;
    bool truncated_; // a field was missing (or the payload starts past the end)
    std::uint32_t last_ = 0;
};

using Describe = void (*)(Fields&);

struct Command {
    std::uint16_t code;
    const char* name;
    Describe request;  // payload from byte 4 of a request
    Describe response; // payload from byte 6 of a response or notification
};

void nothing(Fields&) {}
void rail(Fields& f)
{
    f.u16("mV");
}
void railWithFlag(Fields& f)
{
    f.u16("mV").u8("flag");
}
void external(Fields& f)
{
    f.u8("external");
}
void usbStringIndex(Fields& f)
{
    f.u8("index");
}
void usbString(Fields& f)
{
    f.u8("lengthPlusOne");
    const std::uint32_t n = f.last();
    f.text("text", n > 0 ? n - 1 : 0);
}
void analog(Fields& f)
{
    f.u16("sharedMv").u16("i3cMv1").u16("i3cMv2");
}
void pullUps(Fields& f)
{
    f.u8("bus").hex8("pullUp");
}
void i2cSettings(Fields& f)
{
    f.u8("bus").u32("frequency").hex8("option");
}
void i2cTransfer(Fields& f, bool write)
{
    f.u8("bus").u16(write ? "count" : "length").hex8("target").u8("registerBytes").hex32("register").u8("flag");
    if (write) {
        f.bytes("data");
    }
}
void i2cWrite(Fields& f)
{
    i2cTransfer(f, true);
}
void i2cRead(Fields& f)
{
    i2cTransfer(f, false);
}
void i2cReadAnswer(Fields& f)
{
    f.skip(3).bytes("data");
}
void i2cScan(Fields& f)
{
    f.u8("bus").u8("flag");
}
void i2cScanAnswer(Fields& f)
{
    f.skip(1).u8("oneByte");
    const std::uint32_t one = f.last();
    f.u8("twoByte");
    f.bytes("addresses", one + 2u * f.last());
}
void spiSettings(Fields& f)
{
    f.u8("bitOrder").u8("mode").u8("width").u8("cs").u8("csPolarity").u32("frequency");
}
void spiTransfer(Fields& f)
{
    f.u16("count").u16("length").bytes("tx");
}
void spiAnswer(Fields& f)
{
    f.u16("count");
    f.bytes("rx", f.last());
}
void uartSettings(Fields& f)
{
    f.u8("baud").u8("handshake").u8("parity").u8("dataBits").u8("stopBits");
}
void countedData(Fields& f)
{
    f.u16("count");
    f.bytes("data", f.last());
}
void pinFunctionLevel(Fields& f)
{
    f.u8("pin").u8("function").u8("level");
}
void pinLevel(Fields& f)
{
    f.u8("pin").u8("level");
}
void pin(Fields& f)
{
    f.u8("pin");
}
void level(Fields& f)
{
    f.u8("level");
}
void pinTrigger(Fields& f)
{
    f.u8("pin").u8("trigger");
}
void i3cSettings(Fields& f)
{
    f.u8("pushPull").u8("openDrain").u8("i2cRate").u8("drive");
}
void target(Fields& f)
{
    f.hex8("static").hex8("dynamic").bytes("pid", 6).hex8("bcr").hex8("dcr").skip(6);
}
void targets(Fields& f)
{
    f.u8("count");
    const std::uint32_t count = f.last();
    for (std::uint32_t i = 0; i < count && f.have(1); ++i) {
        target(f);
    }
}
void targetConfiguration(Fields& f)
{
    f.hex8("target").hex8("configuration");
}
void privateTransfer(Fields& f)
{
    static const char* const kModes[] = {"SDR", "HDR_DDR", "LEGACY_I2C", "MODE_3"};
    f.hex8("target");
    const std::uint8_t modeByte = f.peek(0);
    f.hex8("modeByte");
    if (!f.have(0)) {
        return;
    }
    const unsigned mode = (modeByte >> 1) & 3u;
    f.word(std::string((modeByte & 1) != 0 ? "READ" : "WRITE") + " " + kModes[mode]);
    if (mode == 1) {
        f.hex8("hdrCommand").skip(1).u16("length").bytes("data");
    } else {
        f.hex8("flags", static_cast<std::uint8_t>(modeByte >> 3)).skip(1).u8("registerBytes");
        const std::uint32_t registerBytes = f.last();
        // The register field is four bytes whatever the count says.
        const std::size_t shown = std::min<std::size_t>(registerBytes, kMaxRegisterAddressBytes);
        f.bytes("register", shown).skip(kMaxRegisterAddressBytes - shown);
        f.u16("length").bytes("data");
    }
}
void i3cPrivateAnswer(Fields& f)
{
    f.skip(2).u16("count");
    f.bytes("data", f.last());
}
void ccc(Fields& f)
{
    f.hex8("target").hex8("flags").u8("length").hex8("ccc").hex8("definingByte").bytes("data");
}
void cccAnswer(Fields& f)
{
    f.skip(3).u8("count");
    f.bytes("data", f.last());
}
void pattern(Fields& f)
{
    f.hex8("pattern");
}
void uartRx(Fields& f)
{
    countedData(f);
}
void ibi(Fields& f)
{
    f.hex8("target").u8("payloadLength");
    f.bytes("payload", f.last());
}
void hotJoin(Fields& f)
{
    f.bytes("pid", 6).hex8("bcr").hex8("dcr").hex8("dynamic");
}

constexpr Command kCommands[] = {
    {cmd::kResetDevice, "RESET_DEVICE", nothing, nothing},
    {cmd::kEnterBootMode, "ENTER_BOOT_MODE", nothing, nothing},
    {cmd::kSetI3cVoltage, "SET_I3C_VOLTAGE", rail, nothing},
    {cmd::kSetSharedVoltage, "SET_SHARED_VOLTAGE", railWithFlag, nothing},
    {cmd::kGetUsbString, "GET_USB_STRING", usbStringIndex, usbString},
    {cmd::kGetAnalogMeasurements, "GET_ANALOG_MEASUREMENTS", nothing, analog},
    {cmd::kUseExternalI3cVoltage, "USE_EXTERNAL_I3C_VOLTAGE", external, nothing},
    {cmd::kUseExternalSharedVoltage, "USE_EXTERNAL_SHARED_VOLTAGE", external, nothing},
    {cmd::kI2cSetPullUpResistors, "I2C_SET_PULL_UPS", pullUps, nothing},
    {cmd::kI2cControllerInit, "I2C_CONTROLLER_INIT", i2cSettings, nothing},
    {cmd::kI2cSetParameters, "I2C_SET_PARAMETERS", i2cSettings, nothing},
    {cmd::kI2cWrite, "I2C_WRITE", i2cWrite, nothing},
    {cmd::kI2cRead, "I2C_READ", i2cRead, i2cReadAnswer},
    {cmd::kI2cScanBus, "I2C_SCAN_BUS", i2cScan, i2cScanAnswer},
    {cmd::kSpiControllerInit, "SPI_CONTROLLER_INIT", spiSettings, nothing},
    {cmd::kSpiSetParameters, "SPI_SET_PARAMETERS", spiSettings, nothing},
    {cmd::kSpiTransfer, "SPI_TRANSFER", spiTransfer, spiAnswer},
    {cmd::kUartDeinit, "UART_DEINIT", nothing, nothing},
    {cmd::kUartInit, "UART_INIT", uartSettings, nothing},
    {cmd::kUartSetParameters, "UART_SET_PARAMETERS", uartSettings, nothing},
    {cmd::kUartSendMessage, "UART_SEND_MESSAGE", countedData, nothing},
    {cmd::kGpioConfigurePin, "GPIO_CONFIGURE_PIN", pinFunctionLevel, nothing},
    {cmd::kGpioDigitalWrite, "GPIO_DIGITAL_WRITE", pinLevel, nothing},
    {cmd::kGpioDigitalRead, "GPIO_DIGITAL_READ", pin, level},
    {cmd::kGpioConfigureInterrupt, "GPIO_CONFIGURE_INTERRUPT", pinTrigger, nothing},
    {cmd::kGpioDisableInterrupt, "GPIO_DISABLE_INTERRUPT", pin, nothing},
    {cmd::kI3cControllerInit, "I3C_CONTROLLER_INIT", i3cSettings, nothing},
    {cmd::kI3cSetParameters, "I3C_SET_PARAMETERS", i3cSettings, nothing},
    {cmd::kI3cInitBus, "I3C_INIT_BUS", targets, nothing},
    {cmd::kI3cResetBus, "I3C_RESET_BUS", nothing, nothing},
    {cmd::kI3cGetDeviceTable, "I3C_GET_DEVICE_TABLE", nothing, targets},
    {cmd::kI3cSetTargetDeviceConfiguration, "I3C_SET_TARGET_CONFIGURATION", targetConfiguration, nothing},
    {cmd::kI3cPrivateTransfer, "I3C_PRIVATE_TRANSFER", privateTransfer, i3cPrivateAnswer},
    {cmd::kI3cCccTransfer, "I3C_CCC", ccc, cccAnswer},
    {cmd::kI3cBusPattern, "I3C_BUS_PATTERN", pattern, nothing},
};

struct NotificationKindText {
    std::uint16_t code;
    const char* name;
    Describe payload;
};

constexpr NotificationKindText kNotifications[] = {
    {cmd::kNotifyUartRx, "UART_RX", uartRx},
    {cmd::kNotifyGpioInterrupt, "GPIO_INTERRUPT", pin},
    {cmd::kNotifyI3cIbi, "I3C_IBI", ibi},
    {cmd::kNotifyI3cHotJoin, "I3C_HOT_JOIN", hotJoin},
};

} // namespace

std::string describeFrame(const TraceFrame& frame)
{
    const bool out = frame.direction == TraceDirection::OUT;
    std::string line = out ? "OUT" : "IN";
    const std::uint8_t* data = frame.data;
    const std::size_t length = data != nullptr ? frame.length : 0;
    if (length < kRequestPayloadOffset) {
        line += " short frame";
        Fields(data, length, 0, line).bytes("bytes").finish();
        return line;
    }
    const std::uint16_t transactionId = u16At(data, length, kTransactionIdOffset);
    const std::uint16_t code = u16At(data, length, kCodeOffset);

    if (!out && transactionId == 0) {
        for (const NotificationKindText& kind : kNotifications) {
            if (kind.code == code) {
                line += std::string(" ") + kind.name + " " + hex(code, 4) + " notification";
                Fields fields(data, length, kResponsePayloadOffset, line);
                kind.payload(fields);
                fields.finish();
                return line;
            }
        }
        line += " NOTIFICATION " + hex(code, 4);
        Fields(data, length, kStatusOffset, line).u16("status").bytes("payload").finish();
        return line;
    }

    const Command* command = nullptr;
    for (const Command& candidate : kCommands) {
        if (candidate.code == code) {
            command = &candidate;
            break;
        }
    }
    line += std::string(" ") + (command != nullptr ? command->name : "UNKNOWN") + " " + hex(code, 4) +
            " tid=" + std::to_string(transactionId);
    std::size_t payload = kRequestPayloadOffset;
    if (!out) {
        if (length < kResponsePayloadOffset) {
            line += " (frame ends before the status)";
            return line;
        }
        const std::uint16_t statusField = u16At(data, length, kStatusOffset);
        const char* name = statusCodeName(static_cast<StatusCode>(statusField));
        line += std::string(" status=") + (std::string(name) == "DEVICE_STATUS" ? hex(statusField, 4) : name);
        payload = kResponsePayloadOffset;
    }
    Fields fields(data, length, payload, line);
    const Describe fieldsOf = command == nullptr ? nullptr : out ? command->request : command->response;
    if (fieldsOf != nullptr) {
        fieldsOf(fields);
    } else {
        fields.bytes("payload");
    }
    fields.finish();
    return line;
}
