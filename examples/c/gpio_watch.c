/* Arms an interrupt on GPIO 1 for both edges, then drives GPIO 0 (wired to GPIO 1) high and low
 * twice and prints each interrupt as it arrives. Interrupts come as GPIO_INTERRUPT
 * notifications on the handle's reader thread; the callback only records the pin, main prints.
 *
 *   gpio_watch_c [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#define _POSIX_C_SOURCE 200809L

#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdatomic.h>
#include <stdio.h>
#include <time.h>

/* The pins of the interrupts received so far. The callback stores a pin, then publishes the new
 * count, so main may read every entry below the count it loads. */
struct Interrupts {
    uint8_t pins[32];
    atomic_uint count;
};

/* Runs on the reader thread: take what is needed and return. */
static void onNotification(const Notification* notification, void* userData)
{
    GpioInterruptNotification gpio;
    if (!TarvixSDK_notificationAsGpio(notification, &gpio)) {
        return;
    }
    struct Interrupts* interrupts = userData;
    const unsigned count = atomic_load_explicit(&interrupts->count, memory_order_relaxed);
    if (count < sizeof interrupts->pins) {
        interrupts->pins[count] = gpio.pinNumber;
        atomic_store_explicit(&interrupts->count, count + 1, memory_order_release);
    }
}

/* Waits up to one second for more than `seen` interrupts; returns how many there are. */
static unsigned waitForMore(struct Interrupts* interrupts, unsigned seen)
{
    const struct timespec tick = {0, 10 * 1000 * 1000};
    unsigned count = atomic_load_explicit(&interrupts->count, memory_order_acquire);
    for (int waited = 0; count <= seen && waited < 1000; waited += 10) {
        nanosleep(&tick, NULL);
        count = atomic_load_explicit(&interrupts->count, memory_order_acquire);
    }
    return count;
}

static int watch(TarvixSDK_Handle* sdk, void* state)
{
    struct Interrupts* interrupts = state;
    /* GPIO 0 starts low, so arming GPIO 1 sees no edge. */
    if (!example_succeeded("setting the supply rail", TarvixSDK_GpioSetVoltage(sdk, 3300, false)) ||
        !example_succeeded("configuring GPIO 0",
                           TarvixSDK_GpioConfigurePin(sdk, GpioPinNumber_GPIO_0, GpioFunctionality_DIGITAL_OUTPUT, true,
                                                      GpioLogicLevel_LOW)) ||
        !example_succeeded(
            "configuring GPIO 1",
            TarvixSDK_GpioConfigurePin(sdk, GpioPinNumber_GPIO_1, GpioFunctionality_DIGITAL_INTERRUPT, false, 0)) ||
        !example_succeeded("arming GPIO 1",
                           TarvixSDK_GpioConfigureInterrupt(sdk, GpioPinNumber_GPIO_1, GpioTriggerType_BOTH_EDGES))) {
        return 1;
    }

    static const GpioLogicLevel steps[] = {GpioLogicLevel_HIGH, GpioLogicLevel_LOW, GpioLogicLevel_HIGH,
                                           GpioLogicLevel_LOW};
    const unsigned stepCount = sizeof steps / sizeof steps[0];
    unsigned seen = 0;
    int result = 0;
    for (unsigned i = 0; i < stepCount; ++i) {
        const char* name = steps[i] == GpioLogicLevel_HIGH ? "high" : "low";
        if (!example_succeeded("driving GPIO 0", TarvixSDK_GpioDigitalWrite(sdk, GpioPinNumber_GPIO_0, steps[i]))) {
            return 1;
        }
        const unsigned count = waitForMore(interrupts, seen);
        if (count == seen) {
            printf("GPIO 0 %-4s -> no interrupt within one second (is GPIO 0 wired to GPIO 1?)\n", name);
            result = 1;
        }
        for (; seen < count; ++seen) {
            printf("GPIO 0 %-4s -> interrupt on GPIO %u\n", name, (unsigned)interrupts->pins[seen]);
        }
    }
    TarvixSDK_GpioDisableInterrupt(sdk, GpioPinNumber_GPIO_1);
    printf("%u interrupts for %u edges\n", seen, stepCount);
    return result;
}

int main(int argc, char** argv)
{
    /* The reader thread fills it until the handle is gone, so it lives as long as main. */
    struct Interrupts interrupts = {.count = 0};
    return example_run_with(argc, argv, "gpio_watch", onNotification, &interrupts, watch);
}
