// Arms an interrupt on GPIO 1 for both edges, then drives GPIO 0 (wired to GPIO 1) high and low
// twice and prints each interrupt as it arrives. Interrupts come as GPIO_INTERRUPT
// notifications on the session's reader thread; the handler only records the pin, main prints.
//
//   gpio_watch [SELECTOR]  SELECTOR: serial:SERIAL, path:PATH or an index from `list`
#include <tarvixsdk/tarvixsdk.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <vector>

namespace {

bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode::SUCCESS) {
        std::fprintf(stderr, "gpio_watch: %s failed: %s (%s)\n", step, statusCodeName(status),
                     statusCodeMessage(status).c_str());
    }
    return status == StatusCode::SUCCESS;
}

// The pins of the interrupts received so far, filled on the reader thread and read by main.
struct Interrupts {
    std::mutex mutex;
    std::condition_variable arrived;
    std::vector<std::uint8_t> pins;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        std::fprintf(stderr, "usage: gpio_watch [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    SessionOptions options{};
    options.matchResponses = true;
    options.detectRemoval = true;
    options.exclusive = true;
    // Declared before the session, so that it outlives the reader thread that fills it.
    Interrupts interrupts;
    TarvixSDK sdk(1000, options);

    sdk.onNotification([&interrupts](const Notification& notification) {
        if (const GpioInterruptNotification* gpio = notification.gpio()) {
            std::lock_guard<std::mutex> lock(interrupts.mutex);
            interrupts.pins.push_back(gpio->pinNumber);
            interrupts.arrived.notify_all();
        }
    });
    if (!sdk.connectTo(argc == 2 ? argv[1] : "")) {
        std::fprintf(stderr, "gpio_watch: %s\n", sdk.lastConnectErrorMessage().c_str());
        return 1;
    }

    // GPIO 0 starts low, so arming GPIO 1 sees no edge.
    if (!succeeded("setting the supply rail", sdk.gpioSetVoltage(3300, false)) ||
        !succeeded("configuring GPIO 0", sdk.gpioConfigurePin(GpioPinNumber::GPIO_0, GpioFunctionality::DIGITAL_OUTPUT,
                                                              GpioLogicLevel::LOW)) ||
        !succeeded(
            "configuring GPIO 1",
            sdk.gpioConfigurePin(GpioPinNumber::GPIO_1, GpioFunctionality::DIGITAL_INTERRUPT, GpioLogicLevel::LOW)) ||
        !succeeded("arming GPIO 1", sdk.gpioConfigureInterrupt(GpioPinNumber::GPIO_1, GpioTriggerType::BOTH_EDGES))) {
        return 1;
    }

    const GpioLogicLevel steps[] = {GpioLogicLevel::HIGH, GpioLogicLevel::LOW, GpioLogicLevel::HIGH,
                                    GpioLogicLevel::LOW};
    std::size_t seen = 0;
    bool missed = false;
    for (const GpioLogicLevel level : steps) {
        const char* name = level == GpioLogicLevel::HIGH ? "high" : "low";
        if (!succeeded("driving GPIO 0", sdk.gpioDigitalWrite(GpioPinNumber::GPIO_0, level))) {
            return 1;
        }
        std::unique_lock<std::mutex> lock(interrupts.mutex);
        if (!interrupts.arrived.wait_for(lock, std::chrono::seconds(1),
                                         [&] { return interrupts.pins.size() > seen; })) {
            std::printf("GPIO 0 %-4s -> no interrupt within one second (is GPIO 0 wired to GPIO 1?)\n", name);
            missed = true;
            continue;
        }
        for (; seen < interrupts.pins.size(); ++seen) {
            std::printf("GPIO 0 %-4s -> interrupt on GPIO %u\n", name, static_cast<unsigned>(interrupts.pins[seen]));
        }
    }
    sdk.gpioDisableInterrupt(GpioPinNumber::GPIO_1);
    std::printf("%zu interrupts for %zu edges\n", seen, sizeof steps / sizeof steps[0]);
    return missed ? 1 : 0;
}
