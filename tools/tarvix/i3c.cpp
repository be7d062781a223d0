// tarvix i3c: controller set-up, dynamic address assignment, the target table and the named
// Common Command Codes.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>
#include <type_traits>

#include "commands.hpp"

namespace tarvix_tool {
namespace {

// -- Decoding for people -------------------------------------------------------------------------

std::string bcrText(std::uint8_t raw)
{
    const I3cBcr bcr = i3cDecodeBcr(raw);
    static const char* roles[] = {"target", "controller-capable", "role-2", "role-3"};
    std::string text = roles[static_cast<int>(bcr.deviceRole())];
    const std::pair<bool, const char*> flags[] = {
        {bcr.maxDataSpeedLimitation(), "speed-limit"},
        {bcr.ibiRequestCapable(), "ibi"},
        {bcr.ibiPayload(), "ibi-payload"},
        {bcr.offlineCapable(), "offline"},
        {bcr.virtualTargetSupport(), "virtual"},
        {bcr.advancedCapabilities(), "caps"},
    };
    for (const auto& flag : flags) {
        if (flag.first) {
            text += std::string(",") + flag.second;
        }
    }
    return text;
}

Json bcrJson(std::uint8_t raw)
{
    const I3cBcr bcr = i3cDecodeBcr(raw);
    return {{"raw", raw},
            {"text", bcrText(raw)},
            {"role", static_cast<int>(bcr.deviceRole())},
            {"maxDataSpeedLimitation", bcr.maxDataSpeedLimitation()},
            {"ibiRequestCapable", bcr.ibiRequestCapable()},
            {"ibiPayload", bcr.ibiPayload()},
            {"offlineCapable", bcr.offlineCapable()},
            {"virtualTargetSupport", bcr.virtualTargetSupport()},
            {"advancedCapabilities", bcr.advancedCapabilities()}};
}

std::string pidText(const I3cPid& pid)
{
    char text[96];
    if (pid.randomValue()) {
        std::snprintf(text, sizeof text, "%012llx (mfr 0x%04x, random 0x%08x)",
                      static_cast<unsigned long long>(pid.value), pid.manufacturerId(), pid.low32());
    } else {
        std::snprintf(text, sizeof text, "%012llx (mfr 0x%04x, part 0x%04x, instance %u)",
                      static_cast<unsigned long long>(pid.value), pid.manufacturerId(), pid.partId(), pid.instanceId());
    }
    return text;
}

Json pidJson(const I3cPid& pid)
{
    char hex[16];
    std::snprintf(hex, sizeof hex, "%012llx", static_cast<unsigned long long>(pid.value));
    return {{"value", hex},
            {"text", pidText(pid)},
            {"manufacturerId", pid.manufacturerId()},
            {"randomValue", pid.randomValue()},
            {"partId", pid.partId()},
            {"instanceId", pid.instanceId()},
            {"extraInfo", pid.extraInfo()}};
}

// -- Commands -------------------------------------------------------------------------------------

void printTable(Context& context)
{
    std::vector<I3cTargetInfo> table;
    context.check(context.sdk().i3cGetDeviceTable(table), "reading the target table");
    context.line("static  dynamic  bcr   dcr   pid");
    Json& rows = context.result()["targets"] = Json::array();
    for (const I3cTargetInfo& target : table) {
        const I3cPid pid = I3cPid::fromBytes(target.pid);
        char line[256];
        std::snprintf(line, sizeof line, "0x%02x    0x%02x     0x%02x  0x%02x  %s  %s", target.staticAddress,
                      target.dynamicAddress, target.bcr, target.dcr, pidText(pid).c_str(), bcrText(target.bcr).c_str());
        context.line(line);
        rows.push_back({{"staticAddress", target.staticAddress},
                        {"dynamicAddress", target.dynamicAddress},
                        {"pid", pidJson(pid)},
                        {"bcr", bcrJson(target.bcr)},
                        {"dcr", target.dcr}});
    }
}

void init(Context& context)
{
    TarvixSDK& sdk = context.sdk();
    context.check(sdk.i3cControllerInit(I3cPushPullRate::RATE_12_5_MHZ, I3cOpenDrainTransferRate::RATE_2_5_MHZ,
                                        I2cTransferRate::RATE_400_KHZ, I3cDriveStrength::NORMAL),
                  "setting up the I3C controller");
    context.check(sdk.i3cInitBus({}), "initialising the I3C bus");
    context.result()["initialised"] = true;
}

void daa(Context& context)
{
    context.check(context.sdk().i3cCccENTDAA(), "ENTDAA");
    printTable(context);
}

// The named CCCs, one row each: how they are addressed, how many numeric arguments follow, and
// the call. Broadcast rows go to 0x7E; "either" rows are direct when an address is given.
enum class Addressing {
    BROADCAST,
    DIRECT,
    EITHER
};

struct CccCall {
    std::optional<std::uint8_t> address;
    std::vector<std::uint32_t> args;
};

struct CccRow {
    const char* name;
    Addressing addressing;
    std::size_t minArgs;
    std::size_t maxArgs;
    std::uint32_t argMax;
    const char* argHelp;
    StatusCode (*run)(TarvixSDK&, const CccCall&, Json&);
};

std::uint8_t u8(std::uint32_t value)
{
    return static_cast<std::uint8_t>(value);
}
std::optional<std::uint8_t> optionalArg(const CccCall& call)
{
    return call.args.empty() ? std::nullopt : std::optional<std::uint8_t>(u8(call.args[0]));
}

// A member pointer carries no default arguments: a method whose last parameter is an optional
// the tool never sets (SETMRL's IBI payload size) gets it empty, as a call by name would.
template <auto Method, typename... Args>
StatusCode callSdk(TarvixSDK& sdk, Args... args)
{
    if constexpr (std::is_invocable_v<decltype(Method), TarvixSDK&, Args...>) {
        return (sdk.*Method)(args...);
    } else {
        return (sdk.*Method)(args..., std::nullopt);
    }
}

// The CCCs sent direct to ADDR when one is given and to every target otherwise; their one
// argument is narrowed to what the method takes (an event mask byte, a 16-bit length).
template <typename Value, auto Direct, auto Broadcast>
StatusCode directOrBroadcast(TarvixSDK& sdk, const CccCall& call, Json&)
{
    const auto value = static_cast<Value>(call.args[0]);
    return call.address ? callSdk<Direct>(sdk, *call.address, value) : callSdk<Broadcast>(sdk, value);
}

// The GETs of one register; `Show` names it in the output, decoded where that helps.
template <typename Value, auto Get, Json (*Show)(Value)>
StatusCode readRegister(TarvixSDK& sdk, const CccCall& call, Json& out)
{
    Value value = 0;
    const StatusCode status = (sdk.*Get)(*call.address, value);
    out.update(Show(value));
    return status;
}

Json maxWriteLengthOf(std::uint16_t length)
{
    return {{"maxWriteLength", length}};
}

Json bcrOf(std::uint8_t raw)
{
    return {{"bcr", bcrJson(raw)}};
}

Json dcrOf(std::uint8_t raw)
{
    return {{"dcr", raw}};
}

// The GETs of as many bytes as the target counts; GETSTATUS and GETCAPS take an optional
// defining byte after ADDR.
template <auto Get>
StatusCode readData(TarvixSDK& sdk, const CccCall& call, Json& out)
{
    Bytes data;
    StatusCode status = StatusCode::SUCCESS;
    if constexpr (std::is_invocable_v<decltype(Get), TarvixSDK&, std::uint8_t, Bytes&>) {
        status = (sdk.*Get)(*call.address, data);
    } else {
        status = (sdk.*Get)(*call.address, data, optionalArg(call));
    }
    out["data"] = data;
    return status;
}

using Sdk = TarvixSDK;
constexpr const char* kEventsHelp = "EVENTS (int,cr,hj or a number)";
constexpr const char* kDefiningByteHelp = "[DEFINING_BYTE]";

const CccRow kCccs[] = {
    {"ENTDAA", Addressing::BROADCAST, 0, 0, 0, "", [](Sdk& s, const CccCall&, Json&) { return s.i3cCccENTDAA(); }},
    {"RSTDAA", Addressing::BROADCAST, 0, 0, 0, "", [](Sdk& s, const CccCall&, Json&) { return s.i3cCccRSTDAA(); }},
    {"SETDASA", Addressing::DIRECT, 1, 1, 0x7F, "DYNAMIC (the target's STATIC address comes first)",
     [](Sdk& s, const CccCall& c, Json&) { return s.i3cCccSETDASA(*c.address, u8(c.args[0])); }},
    {"SETNEWDA", Addressing::DIRECT, 1, 1, 0x7F, "NEW_DYNAMIC",
     [](Sdk& s, const CccCall& c, Json&) { return s.i3cCccSETNEWDA(*c.address, u8(c.args[0])); }},
    {"ENEC", Addressing::EITHER, 1, 1, 0xFF, kEventsHelp,
     directOrBroadcast<std::uint8_t, &Sdk::i3cCccENECDirect, &Sdk::i3cCccENECBroadcast>},
    {"DISEC", Addressing::EITHER, 1, 1, 0xFF, kEventsHelp,
     directOrBroadcast<std::uint8_t, &Sdk::i3cCccDISECDirect, &Sdk::i3cCccDISECBroadcast>},
    {"SETMWL", Addressing::EITHER, 1, 1, 0xFFFF, "LENGTH",
     directOrBroadcast<std::uint16_t, &Sdk::i3cCccSETMWLDirect, &Sdk::i3cCccSETMWLBroadcast>},
    {"SETMRL", Addressing::EITHER, 1, 1, 0xFFFF, "LENGTH",
     directOrBroadcast<std::uint16_t, &Sdk::i3cCccSETMRLDirect, &Sdk::i3cCccSETMRLBroadcast>},
    {"GETMWL", Addressing::DIRECT, 0, 0, 0, "", readRegister<std::uint16_t, &Sdk::i3cCccGETMWL, maxWriteLengthOf>},
    {"GETMRL", Addressing::DIRECT, 0, 0, 0, "",
     [](Sdk& s, const CccCall& c, Json& out) {
         std::uint16_t length = 0;
         std::optional<std::uint8_t> ibi;
         const StatusCode status = s.i3cCccGETMRL(*c.address, length, ibi);
         out["maxReadLength"] = length;
         out["maxIbiPayloadSize"] = ibi ? Json(*ibi) : Json(nullptr);
         return status;
     }},
    {"GETPID", Addressing::DIRECT, 0, 0, 0, "",
     [](Sdk& s, const CccCall& c, Json& out) {
         Bytes pid;
         const StatusCode status = s.i3cCccGETPID(*c.address, pid);
         if (const std::optional<I3cPid> decoded = I3cPid::fromBytes(pid)) {
             out["pid"] = pidJson(*decoded);
         }
         out["data"] = pid;
         return status;
     }},
    {"GETBCR", Addressing::DIRECT, 0, 0, 0, "", readRegister<std::uint8_t, &Sdk::i3cCccGETBCR, bcrOf>},
    {"GETDCR", Addressing::DIRECT, 0, 0, 0, "", readRegister<std::uint8_t, &Sdk::i3cCccGETDCR, dcrOf>},
    {"GETSTATUS", Addressing::DIRECT, 0, 1, 0xFF, kDefiningByteHelp, readData<&Sdk::i3cCccGETSTATUS>},
    {"GETMXDS", Addressing::DIRECT, 0, 0, 0, "", readData<&Sdk::i3cCccGETMXDS>},
    {"GETCAPS", Addressing::DIRECT, 0, 1, 0xFF, kDefiningByteHelp, readData<&Sdk::i3cCccGETCAPS>},
    {"GETXTIME", Addressing::DIRECT, 0, 0, 0, "", readData<&Sdk::i3cCccGETXTIME>},
};

std::uint32_t eventsOf(const std::string& text)
{
    if (!text.empty() && std::isdigit(static_cast<unsigned char>(text[0]))) {
        return parseNumber(text, 0xFF, "event mask");
    }
    std::uint32_t events = 0;
    std::stringstream names(text);
    std::string name;
    while (std::getline(names, name, ',')) {
        if (name == "int") {
            events |= I3cEvents::INTERRUPTS;
        } else if (name == "cr") {
            events |= I3cEvents::CONTROLLER_ROLE;
        } else if (name == "hj") {
            events |= I3cEvents::HOT_JOIN;
        } else {
            usageError("unknown event \"" + name + "\" (int, cr, hj)");
        }
    }
    return events;
}

std::string usageOf(const CccRow& row)
{
    const char* address = row.addressing == Addressing::DIRECT   ? " ADDR"
                          : row.addressing == Addressing::EITHER ? " [ADDR]"
                                                                 : "";
    return std::string(row.name) + address + (*row.argHelp ? std::string(" ") + row.argHelp : std::string());
}

std::string cccList()
{
    std::string text;
    for (const CccRow& row : kCccs) {
        text += (text.empty() ? "" : ", ") + std::string(row.name);
    }
    return text;
}

struct CccOptions {
    std::string name;
    std::vector<std::string> words;

    void declare(CLI::App& command)
    {
        command.add_option("NAME", name, "CCC name")->required();
        command.add_option("ARGS", words, "[ADDR] [ARGS...]");
    }
};

void ccc(Context& context, const CccOptions& options)
{
    std::string name = options.name;
    const std::vector<std::string>& words = options.words;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    const auto* row = std::find_if(std::begin(kCccs), std::end(kCccs),
                                   [&](const CccRow& candidate) { return name == candidate.name; });
    if (row == std::end(kCccs)) {
        usageError("unknown CCC \"" + name + "\" (known: " + cccList() + ")");
    }
    const std::string usage = usageOf(*row);
    CccCall call;
    std::size_t first = 0;
    const bool direct =
        row->addressing == Addressing::DIRECT || (row->addressing == Addressing::EITHER && words.size() > row->maxArgs);
    if (direct) {
        if (words.empty()) {
            usageError("usage: i3c ccc " + usage);
        }
        call.address = static_cast<std::uint8_t>(parseNumber(words[0], 0x7F, "address"));
        first = 1;
    }
    const std::size_t count = words.size() - first;
    if (count < row->minArgs || count > row->maxArgs) {
        usageError("usage: i3c ccc " + usage);
    }
    const bool events = name == "ENEC" || name == "DISEC";
    for (std::size_t i = first; i < words.size(); ++i) {
        call.args.push_back(events ? eventsOf(words[i]) : parseNumber(words[i], row->argMax, "argument"));
    }
    Json out = {{"ccc", row->name}, {"address", call.address ? Json(*call.address) : Json(kI3cBroadcastAddress)}};
    const StatusCode status = row->run(context.sdk(), call, out);
    context.check(status, row->name);
    // Print what a GET brought back, one field per line; decoded registers carry their text.
    for (auto item = out.begin(); item != out.end(); ++item) {
        const Json& value = item.value();
        if (item.key() == "ccc" || item.key() == "address") {
            continue;
        }
        if (item.key() == "data") {
            context.line("data: " + hexList(value.get<Bytes>(), true));
        } else if (value.is_object() && value.contains("text")) {
            context.line(item.key() + ": " + value["text"].get<std::string>());
        } else if (item.key() == "dcr") {
            context.line("dcr: " + hex2(value.get<std::uint8_t>()));
        } else {
            context.line(item.key() + ": " + value.dump());
        }
    }
    context.result() = out;
}

} // namespace

void addI3cCommands(CLI::App& app, Context& context)
{
    CLI::App& i3c = addGroup(app, "i3c", "I3C controller: init, daa, table, ccc");
    addCommand(i3c, context, "init", "Set up the controller (12.5 MHz push-pull, 2.5 MHz open-drain, 400 kHz I2C)",
               init);
    addCommand(i3c, context, "daa", "Assign dynamic addresses (ENTDAA), then show the target table", daa);
    addCommand(i3c, context, "table", "Show the target table: addresses, PID, BCR and DCR decoded", printTable);
    std::string footer = "CCCs:\n";
    for (const CccRow& row : kCccs) {
        footer += "  " + usageOf(row) + "\n";
    }
    addCommand(i3c, context, "ccc", "Send a named Common Command Code", ccc)
        ->footer(footer + "ENEC, DISEC, SETMWL and SETMRL are broadcast unless ADDR is given.");
}

} // namespace tarvix_tool
