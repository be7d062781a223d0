// Arms an interrupt on GPIO 1 for both edges, then drives GPIO 0 (wired to GPIO 1) high and low
// twice and prints each interrupt as it arrives. Interrupts come as GPIO_INTERRUPT
// notifications on the session's reader thread; the handler only records the pin, main prints.
//
//   gpio_watch [SELECTOR]  SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include "example.hpp"

#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

// GPIO 0 drives GPIO 1, which raises the interrupts.
constexpr GpioPinNumber kDriven = GpioPinNumber::GPIO_0;
constexpr GpioPinNumber kWatched = GpioPinNumber::GPIO_1;

// The GPIO numbers of the interrupts received so far, in the order they came.
using Pins = std::vector<std::uint8_t>;

int main(int argc, char** argv)
{
    example::Handover<Pins> interrupts;
    TarvixSDK sdk(example::kTimeoutMs, example::options());

    sdk.onNotification([&interrupts](const Notification& notification) {
        if (const GpioInterruptNotification* gpio = notification.gpio()) {
            interrupts.update([gpio](Pins& pins) { pins.push_back(gpio->pinNumber); });
        }
    });
    if (!example::connect(sdk, example::selector(argc, argv, "gpio_watch"))) {
        return 1;
    }

    // GPIO 0 starts low, so arming GPIO 1 sees no edge.
    if (!example::succeeded("setting the supply rail", sdk.gpioSetVoltage(3300, false)) ||
        !example::succeeded("configuring GPIO 0",
                            sdk.gpioConfigurePin(kDriven, GpioFunctionality::DIGITAL_OUTPUT, GpioLogicLevel::LOW)) ||
        !example::succeeded("configuring GPIO 1", sdk.gpioConfigurePin(kWatched, GpioFunctionality::DIGITAL_INTERRUPT,
                                                                       GpioLogicLevel::LOW)) ||
        !example::succeeded("arming GPIO 1", sdk.gpioConfigureInterrupt(kWatched, GpioTriggerType::BOTH_EDGES))) {
        return 1;
    }

    const GpioLogicLevel steps[] = {GpioLogicLevel::HIGH, GpioLogicLevel::LOW, GpioLogicLevel::HIGH,
                                    GpioLogicLevel::LOW};
    std::size_t seen = 0;
    bool missed = false;
    for (const GpioLogicLevel level : steps) {
        const char* name = level == GpioLogicLevel::HIGH ? "high" : "low";
        if (!example::succeeded("driving GPIO 0", sdk.gpioDigitalWrite(kDriven, level))) {
            return 1;
        }
        const Pins pins =
            interrupts.waitFor(std::chrono::seconds(1), [seen](const Pins& all) { return all.size() > seen; });
        if (pins.size() == seen) {
            std::printf("GPIO 0 %-4s -> no interrupt within one second (is GPIO 0 wired to GPIO 1?)\n", name);
            missed = true;
            continue;
        }
        for (; seen < pins.size(); ++seen) {
            std::printf("GPIO 0 %-4s -> interrupt on GPIO %u\n", name, static_cast<unsigned>(pins[seen]));
        }
    }
    sdk.gpioDisableInterrupt(kWatched);
    std::printf("%zu interrupts for %zu edges\n", seen, sizeof steps / sizeof steps[0]);
    return missed ? 1 : 0;
}
