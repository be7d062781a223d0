// tarvix i2c: scan, get, set, dump and transfer, shaped like i2cdetect, i2cget, i2cset, i2cdump
// and i2ctransfer. Every command sets the port up first (the adapter forgets it on reset).
#include <algorithm>
#include <cstdio>
#include <set>

#include "commands.hpp"

namespace tarvix_tool {
namespace {

constexpr std::uint32_t kMaxAddress = 0x7F;

struct BusOptions {
    std::uint32_t bus = 0;
    std::uint32_t frequency = 100000;
    bool yes = false; // i2c-tools' -y; tarvix never asks, so it is accepted and ignored

    void declare(CLI::App& command)
    {
        command.add_option("--bus", bus, "I2C port of the adapter")->capture_default_str()->check(CLI::Range(0, 1));
        command.add_option("--frequency", frequency, "Clock, in Hz")->capture_default_str();
        command.add_flag("-y,--yes", yes, "Accepted for i2c-tools habits; tarvix never asks");
    }
};

TarvixSDK& openBus(Context& context, const BusOptions& options)
{
    TarvixSDK& sdk = context.sdk();
    context.check(sdk.i2cControllerInit(static_cast<std::uint8_t>(options.bus), options.frequency, 0),
                  "setting up I2C bus " + std::to_string(options.bus) + " at " + std::to_string(options.frequency) +
                      " Hz");
    return sdk;
}

std::uint8_t addressOf(const std::string& text)
{
    return static_cast<std::uint8_t>(parseNumber(text, kMaxAddress, "I2C address"));
}

Bytes readBytes(Context& context, const BusOptions& options, std::uint8_t address, const Bytes& registerAddress,
                std::size_t length)
{
    Bytes data;
    const StatusCode status = context.sdk().i2cRead(static_cast<std::uint8_t>(options.bus), address, registerAddress,
                                                    static_cast<std::uint16_t>(length), data, false);
    context.check(status, "read from " + hex2(address));
    return data;
}

void writeBytes(Context& context, const BusOptions& options, std::uint8_t address, const Bytes& registerAddress,
                const Bytes& data)
{
    const StatusCode status =
        context.sdk().i2cWrite(static_cast<std::uint8_t>(options.bus), address, registerAddress, data, false);
    context.check(status, "write to " + hex2(address));
}

// -- scan --------------------------------------------------------------------------------------

// i2cdetect's grid over 0x03..0x77: "--" where nobody answered, the address where a target did.
void scan(Context& context, const BusOptions& options)
{
    TarvixSDK& sdk = openBus(context, options);
    Bytes entries;
    std::uint8_t oneByte = 0;
    std::uint8_t twoByte = 0;
    context.check(sdk.i2cScanBus(entries, &oneByte, &twoByte, static_cast<std::uint8_t>(options.bus), false),
                  "scanning I2C bus " + std::to_string(options.bus));
    const std::size_t sevenBitCount = std::min<std::size_t>(oneByte, entries.size());
    const std::set<std::uint8_t> found(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(sevenBitCount));

    context.line("     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f");
    for (unsigned row = 0; row < 0x80; row += 16) {
        char cell[8];
        std::snprintf(cell, sizeof cell, "%02x: ", row);
        std::string line = cell;
        for (unsigned address = row; address < row + 16; ++address) {
            if (address < 0x03 || address > 0x77) {
                line += "   ";
            } else if (found.count(static_cast<std::uint8_t>(address)) != 0) {
                std::snprintf(cell, sizeof cell, "%02x ", address);
                line += cell;
            } else {
                line += "-- ";
            }
        }
        context.line(line);
    }
    // Entries of two bytes are the adapter's (ten-bit targets); shown as they came.
    Json tenBit = Json::array();
    std::string tenBitText;
    for (std::size_t i = sevenBitCount; i + 1 < entries.size(); i += 2) {
        const Bytes pair{entries[i], entries[i + 1]};
        tenBit.push_back(hexString(pair));
        tenBitText += " " + hexString(pair);
    }
    if (!tenBitText.empty()) {
        context.line("two-byte entries:" + tenBitText);
    }
    context.result()["bus"] = options.bus;
    context.result()["addresses"] = Json(std::vector<int>(found.begin(), found.end()));
    context.result()["twoByteEntries"] = tenBit;
}

// -- get / set / dump ----------------------------------------------------------------------------

struct GetOptions {
    BusOptions bus;
    std::string address;
    std::string reg;
    bool word = false;
    std::uint32_t block = 0;

    void declare(CLI::App& command)
    {
        bus.declare(command);
        command.add_option("ADDR", address, "7-bit target address (0x50)")->required();
        command.add_option("REG", reg, "Register to read from (one byte); none: read at once");
        CLI::Option* wordFlag = command.add_flag("--word", word, "Read a word (SMBus order, low byte first)");
        command.add_option("--block", block, "Read N bytes")->check(CLI::Range(1, 65535))->excludes(wordFlag);
    }
};

void get(Context& context, const GetOptions& options)
{
    const std::uint8_t address = addressOf(options.address);
    Bytes reg;
    if (!options.reg.empty()) {
        reg.push_back(static_cast<std::uint8_t>(parseNumber(options.reg, 0xFF, "register")));
    }
    const std::size_t length = options.word ? 2 : options.block != 0 ? options.block : 1;
    openBus(context, options.bus);
    const Bytes data = readBytes(context, options.bus, address, reg, length);
    context.result()["address"] = address;
    context.result()["register"] = reg.empty() ? Json(nullptr) : Json(reg[0]);
    context.result()["data"] = data;
    if (options.word && data.size() == 2) {
        // SMBus order, as i2cget prints a word: low byte first on the wire.
        const unsigned value = static_cast<unsigned>(data[0] | data[1] << 8);
        char text[16];
        std::snprintf(text, sizeof text, "0x%04x", value);
        context.line(text);
        context.result()["value"] = value;
    } else if (length == 1 && data.size() == 1) {
        context.line(hex2(data[0]));
        context.result()["value"] = data[0];
    } else {
        context.line(hexList(data, true));
    }
}

struct SetOptions {
    BusOptions bus;
    std::string address;
    std::string reg;
    std::vector<std::string> values;
    bool word = false;

    void declare(CLI::App& command)
    {
        bus.declare(command);
        command.add_option("ADDR", address, "7-bit target address")->required();
        command.add_option("REG", reg, "Register (one byte)")->required();
        command.add_option("VALUE", values, "Byte(s) to write; with --word one 16-bit value")->required();
        command.add_flag("--word", word, "Write VALUE as a word (SMBus order, low byte first)");
    }
};

void set(Context& context, const SetOptions& options)
{
    const std::uint8_t address = addressOf(options.address);
    const Bytes reg{static_cast<std::uint8_t>(parseNumber(options.reg, 0xFF, "register"))};
    Bytes data;
    if (options.word) {
        if (options.values.size() != 1) {
            usageError("--word takes exactly one VALUE");
        }
        const std::uint32_t value = parseNumber(options.values[0], 0xFFFF, "value");
        data = {static_cast<std::uint8_t>(value & 0xFF), static_cast<std::uint8_t>(value >> 8)};
    } else {
        for (const std::string& value : options.values) {
            data.push_back(static_cast<std::uint8_t>(parseNumber(value, 0xFF, "value")));
        }
    }
    openBus(context, options.bus);
    writeBytes(context, options.bus, address, reg, data);
    context.result()["address"] = address;
    context.result()["register"] = reg[0];
    context.result()["written"] = data;
}

struct DumpOptions {
    BusOptions bus;
    std::string address;

    void declare(CLI::App& command)
    {
        bus.declare(command);
        command.add_option("ADDR", address, "7-bit target address")->required();
    }
};

// i2cdump's table: 16 rows of 16 registers, then the same bytes as text ('.' for 0x00 and 0xff,
// '?' for the unprintable). Each row is one register read of 16 bytes.
void dump(Context& context, const DumpOptions& options)
{
    const std::uint8_t address = addressOf(options.address);
    const BusOptions& bus = options.bus;
    openBus(context, bus);
    Bytes all;
    context.line("     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f    0123456789abcdef");
    for (unsigned row = 0; row < 0x100; row += 16) {
        const Bytes data = readBytes(context, bus, address, {static_cast<std::uint8_t>(row)}, 16);
        char cell[8];
        std::snprintf(cell, sizeof cell, "%02x: ", row);
        std::string line = cell;
        std::string text;
        for (std::size_t i = 0; i < 16; ++i) {
            if (i < data.size()) {
                const std::uint8_t byte = data[i];
                std::snprintf(cell, sizeof cell, "%02x ", byte);
                line += cell;
                text.push_back(byte == 0x00 || byte == 0xFF ? '.'
                               : (byte < 32 || byte >= 127) ? '?'
                                                            : static_cast<char>(byte));
            } else {
                line += "XX ";
                text.push_back('X');
            }
        }
        context.line(line + "   " + text);
        all.insert(all.end(), data.begin(), data.end());
    }
    context.result()["address"] = address;
    context.result()["data"] = all;
}

// -- transfer --------------------------------------------------------------------------------------

struct Message {
    bool read = false;
    std::uint32_t length = 0;
    std::uint8_t address = 0;
    Bytes data; // writes
};

// i2ctransfer's syntax: {r|w}LENGTH[@ADDRESS] and, after a write, LENGTH data bytes. A byte may
// end in '=' (repeat it to the end of the message), '+' (count up) or '-' (count down). A
// message without @ADDRESS goes to the previous one's address.
std::vector<Message> parseMessages(const std::vector<std::string>& words)
{
    std::vector<Message> messages;
    std::optional<std::uint8_t> address;
    std::size_t i = 0;
    while (i < words.size()) {
        const std::string& word = words[i++];
        if (word.empty() || (word[0] != 'r' && word[0] != 'w')) {
            usageError("\"" + word + "\" is not a message (expected rLENGTH[@ADDRESS] or wLENGTH[@ADDRESS])");
        }
        Message message;
        message.read = word[0] == 'r';
        const std::size_t at = word.find('@');
        message.length = parseNumber(word.substr(1, at == std::string::npos ? std::string::npos : at - 1), 0xFFFF,
                                     "message length in \"" + word + "\"");
        if (at != std::string::npos) {
            address = addressOf(word.substr(at + 1));
        }
        if (!address) {
            usageError("message \"" + word + "\" needs an address, e.g. " + word + "@0x50");
        }
        message.address = *address;
        if (message.read && message.length == 0) {
            usageError("a read needs a length of at least 1 (\"" + word + "\")");
        }
        if (!message.read) {
            char mode = 0;
            std::uint32_t value = 0;
            for (std::uint32_t n = 0; n < message.length; ++n) {
                if (mode == 0) {
                    if (i >= words.size()) {
                        usageError("message \"" + word + "\" needs " + std::to_string(message.length) + " data bytes");
                    }
                    std::string text = words[i++];
                    if (!text.empty() && (text.back() == '=' || text.back() == '+' || text.back() == '-')) {
                        mode = text.back();
                        text.pop_back();
                    }
                    value = parseNumber(text, 0xFF, "data byte");
                } else {
                    value = mode == '+' ? value + 1 : mode == '-' ? value - 1 : value;
                }
                message.data.push_back(static_cast<std::uint8_t>(value & 0xFF));
            }
        }
        messages.push_back(std::move(message));
    }
    if (messages.empty()) {
        usageError("no message given");
    }
    return messages;
}

constexpr const char* kTransferLimits =
    "The adapter runs one of these transfers: a write alone (wN@ADDR ...), a read alone (rN@ADDR), or a\n"
    "write of at most 4 bytes followed by a read from the same address (a register read:\n"
    "w1@0x50 0x00 r8). It cannot run more than one read, two writes, a read followed by a write, a\n"
    "write of more than 4 bytes followed by a read, or messages to two addresses in one transfer.";

// Why the adapter cannot run `messages` as one transfer, or empty if it can.
std::string unsupportedReason(const std::vector<Message>& messages)
{
    if (messages.size() == 1) {
        return std::string();
    }
    const std::size_t reads = static_cast<std::size_t>(
        std::count_if(messages.begin(), messages.end(), [](const Message& m) { return m.read; }));
    if (reads > 1) {
        return "more than one read";
    }
    if (messages.size() > 2 || reads == 0) {
        return reads == 0 ? "two writes in one transfer" : "more than two messages";
    }
    if (messages[0].read) {
        return "a read followed by a write";
    }
    if (messages[0].address != messages[1].address) {
        return "a write and a read to two addresses";
    }
    if (messages[0].length > 4) {
        return "a write of " + std::to_string(messages[0].length) + " bytes followed by a read (at most 4)";
    }
    return std::string();
}

struct TransferOptions {
    BusOptions bus;
    std::vector<std::string> words;

    void declare(CLI::App& command)
    {
        bus.declare(command);
        command.add_option("MSG", words, "{r|w}LENGTH[@ADDRESS] [DATA...] ...")->required();
    }
};

void transfer(Context& context, const TransferOptions& options)
{
    const BusOptions& bus = options.bus;
    const std::vector<Message> messages = parseMessages(options.words);
    const std::string reason = unsupportedReason(messages);
    if (!reason.empty()) {
        usageError("the adapter cannot run " + reason +
                   " in one transfer: it runs a write, a read, or a write of at "
                   "most 4 bytes followed by a read from the same address");
    }
    openBus(context, bus);
    Json& results = context.result()["messages"] = Json::array();
    const Message& last = messages.back();
    if (!last.read) {
        writeBytes(context, bus, last.address, {}, last.data);
        results.push_back({{"read", false}, {"address", last.address}, {"data", last.data}});
        return;
    }
    const Bytes reg = messages.size() == 2 ? messages[0].data : Bytes();
    if (messages.size() == 2) {
        results.push_back({{"read", false}, {"address", last.address}, {"data", reg}});
    }
    const Bytes data = readBytes(context, bus, last.address, reg, last.length);
    context.line(hexList(data, true));
    results.push_back({{"read", true}, {"address", last.address}, {"data", data}});
}

} // namespace

void addI2cCommands(CLI::App& app, Context& context)
{
    CLI::App& i2c = addGroup(app, "i2c", "I2C controller: scan, get, set, dump, transfer");
    addCommand(i2c, context, "scan", "Show which addresses answer, as i2cdetect's grid", scan);
    addCommand(i2c, context, "get", "Read a byte (or a word, or a block) from a target, as i2cget", get);
    addCommand(i2c, context, "set", "Write to a target's register, as i2cset", set);
    addCommand(i2c, context, "dump", "Show registers 0x00..0xff as hex and text, as i2cdump", dump);
    addCommand(i2c, context, "transfer", "Run messages in i2ctransfer's syntax: w2@0x50 0x00 0x10 r8", transfer)
        ->footer(kTransferLimits);
}

} // namespace tarvix_tool
