// tarvix gpio: get, set and monitor, in the manner of gpioget, gpioset and gpiomon.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "commands.hpp"

namespace tarvix_tool {
namespace {

constexpr std::uint32_t kLastPin = 7;

GpioPinNumber pinOf(const std::string& text)
{
    return static_cast<GpioPinNumber>(parseNumber(text, kLastPin, "GPIO pin"));
}

int pinNumber(GpioPinNumber pin)
{
    return static_cast<int>(pin);
}

GpioLogicLevel levelOf(const std::string& text)
{
    if (text == "0" || text == "low" || text == "inactive" || text == "off") {
        return GpioLogicLevel::LOW;
    }
    if (text == "1" || text == "high" || text == "active" || text == "on") {
        return GpioLogicLevel::HIGH;
    }
    usageError("invalid level \"" + text + "\" (0 or 1)");
}

// Reads `pin`; unless `asIs`, makes it an input first, as gpioget requests its lines.
int readPin(Context& context, GpioPinNumber pin, bool asIs)
{
    TarvixSDK& sdk = context.sdk();
    const std::string name = "GPIO " + std::to_string(pinNumber(pin));
    if (!asIs) {
        context.check(sdk.gpioConfigurePin(pin, GpioFunctionality::DIGITAL_INPUT, GpioLogicLevel::LOW),
                      "making " + name + " an input");
    }
    GpioLogicLevel level = GpioLogicLevel::LOW;
    context.check(sdk.gpioDigitalRead(pin, level), "reading " + name);
    return level == GpioLogicLevel::HIGH ? 1 : 0;
}

void drivePin(Context& context, GpioPinNumber pin, GpioLogicLevel level)
{
    context.check(context.sdk().gpioConfigurePin(pin, GpioFunctionality::DIGITAL_OUTPUT, level),
                  "driving GPIO " + std::to_string(pinNumber(pin)));
}

struct GetOptions {
    std::vector<std::string> pins;
    bool asIs = false;

    void declare(CLI::App& command)
    {
        command.add_option("PIN", pins, "Pin number(s), 0..7")->required();
        command.add_flag("-a,--as-is", asIs, "Read without making the pin an input");
    }
};

void get(Context& context, const GetOptions& options)
{
    std::string text;
    Json& values = context.result()["values"] = Json::object();
    for (const std::string& pinText : options.pins) {
        const GpioPinNumber pin = pinOf(pinText);
        const int value = readPin(context, pin, options.asIs);
        text += (text.empty() ? "" : " ") + std::to_string(value);
        values[std::to_string(pinNumber(pin))] = value;
    }
    context.line(text);
}

struct SetOptions {
    std::string pin;
    std::string level;
    bool interactive = false;

    void declare(CLI::App& command)
    {
        command.add_option("PIN", pin, "Pin number, 0..7")->required();
        command.add_option("VALUE", level, "0 or 1")->required();
        command.add_flag("-i,--interactive", interactive, "Then read commands from stdin: set PIN 0|1, get PIN, exit");
    }
};

// gpioset's interactive mode, reduced: after the first setting, lines from stdin say
// "set PIN 0|1", "get PIN" or "exit". A get of a pin this command drives reads it as it is.
void interactive(Context& context, std::vector<int>& driven)
{
    Json& log = context.result()["interactive"] = Json::array();
    std::string input;
    while (std::getline(std::cin, input)) {
        std::istringstream words(input);
        std::string verb, pinText, levelText;
        words >> verb >> pinText >> levelText;
        if (verb.empty()) {
            continue;
        }
        if (verb == "exit" || verb == "quit") {
            break;
        }
        if (verb == "set" && !pinText.empty() && !levelText.empty()) {
            const GpioPinNumber pin = pinOf(pinText);
            const GpioLogicLevel level = levelOf(levelText);
            drivePin(context, pin, level);
            driven.push_back(pinNumber(pin));
            log.push_back({{"set", pinNumber(pin)}, {"value", level == GpioLogicLevel::HIGH ? 1 : 0}});
        } else if (verb == "get" && !pinText.empty()) {
            const GpioPinNumber pin = pinOf(pinText);
            const bool isDriven = std::find(driven.begin(), driven.end(), pinNumber(pin)) != driven.end();
            const int value = readPin(context, pin, isDriven);
            context.line(std::to_string(value));
            log.push_back({{"get", pinNumber(pin)}, {"value", value}});
        } else {
            usageError("unknown interactive command \"" + input + "\" (set PIN 0|1, get PIN, exit)");
        }
    }
}

void set(Context& context, const SetOptions& options)
{
    const GpioPinNumber pin = pinOf(options.pin);
    const GpioLogicLevel level = levelOf(options.level);
    drivePin(context, pin, level);
    context.result()["pin"] = pinNumber(pin);
    context.result()["value"] = level == GpioLogicLevel::HIGH ? 1 : 0;
    if (options.interactive) {
        std::vector<int> driven{pinNumber(pin)};
        interactive(context, driven);
    }
}

struct MonitorOptions {
    std::vector<std::string> pins;
    std::string edge = "both";
    StopOptions stop;

    void declare(CLI::App& command)
    {
        command.add_option("PIN", pins, "Pin number(s), 0..7")->required();
        command.add_option("-e,--edge", edge, "Edge to watch")
            ->capture_default_str()
            ->check(CLI::IsMember({"rising", "falling", "both"}));
        stop.declare(command, "events");
    }
};

// gpiomon: arms the pins, then one line per event: host time (seconds since the epoch), the
// edge, the pin. The adapter reports only the pin; the edge is known when one edge is watched.
void monitor(Context& context, const MonitorOptions& options)
{
    const GpioTriggerType trigger = options.edge == "rising"    ? GpioTriggerType::RISING_EDGE
                                    : options.edge == "falling" ? GpioTriggerType::FALLING_EDGE
                                                                : GpioTriggerType::BOTH_EDGES;
    std::vector<GpioPinNumber> pins;
    for (const std::string& text : options.pins) {
        pins.push_back(pinOf(text));
    }
    const std::optional<std::chrono::steady_clock::time_point> deadline = options.stop.deadline();
    Listener listener(context);
    TarvixSDK& sdk = context.sdk();
    for (const GpioPinNumber pin : pins) {
        const std::string name = "GPIO " + std::to_string(pinNumber(pin));
        context.check(sdk.gpioConfigurePin(pin, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW),
                      "making " + name + " an interrupt input");
        context.check(sdk.gpioConfigureInterrupt(pin, trigger), "arming " + name);
    }
    const char* edge = trigger == GpioTriggerType::BOTH_EDGES ? "edge" : options.edge.c_str();
    Json& events = context.result()["events"] = Json::array();
    std::uint32_t seen = 0;
    while (options.stop.count == 0 || seen < options.stop.count) {
        const std::optional<Listener::Event> event = listener.next(deadline);
        if (!event) {
            break;
        }
        if (event->kind != NotificationKind::GPIO_INTERRUPT ||
            std::find(pins.begin(), pins.end(), static_cast<GpioPinNumber>(event->pin)) == pins.end()) {
            continue;
        }
        ++seen;
        const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(event->at.time_since_epoch()).count();
        char line[96];
        std::snprintf(line, sizeof line, "%lld.%09lld\t%s\t%u", static_cast<long long>(ns / 1000000000),
                      static_cast<long long>(ns % 1000000000), edge, event->pin);
        context.line(line);
        events.push_back({{"timestampNs", ns}, {"edge", edge}, {"pin", event->pin}});
    }
    for (const GpioPinNumber pin : pins) {
        sdk.gpioDisableInterrupt(pin); // leave the pins quiet; a failure here changes nothing
    }
    context.result()["interrupted"] = listener.interrupted();
}

} // namespace

void addGpioCommands(CLI::App& app, Context& context)
{
    CLI::App& gpio = addGroup(app, "gpio", "GPIO pins 0..7: get, set, monitor");
    addCommand(gpio, context, "get", "Read pins (made inputs first), as gpioget", get);
    addCommand(gpio, context, "set", "Drive a pin as an output, as gpioset", set);
    addCommand(gpio, context, "monitor", "Print one line per pin event until --count, --timeout or Ctrl-C", monitor)
        ->footer("Each line: SECONDS.NANOSECONDS<TAB>rising|falling|edge<TAB>PIN");
}

} // namespace tarvix_tool
