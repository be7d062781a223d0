/* Arms an interrupt on GPIO 1 for both edges, then drives GPIO 0 (wired to GPIO 1) high and low
 * twice and prints each interrupt as it arrives. Interrupts come as GPIO_INTERRUPT
 * notifications on the handle's reader thread; the callback only records the pin, main prints.
 *
 *   gpio_watch_c [SELECTOR]    SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#define _POSIX_C_SOURCE 200809L

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

static bool succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "gpio_watch: %s failed: %s (%s, 0x%04x)\n", step, TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status), (unsigned)status);
    }
    return status == StatusCode_SUCCESS;
}

/* Runs on the reader thread: take what is needed and return. */
static void onNotification(const Notification* notification, void* userData)
{
    struct Interrupts* interrupts = userData;
    GpioInterruptNotification gpio;
    if (!TarvixSDK_notificationAsGpio(notification, &gpio)) {
        return;
    }
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

static int watch(TarvixSDK_Handle* sdk, struct Interrupts* interrupts)
{
    /* GPIO 0 starts low, so arming GPIO 1 sees no edge. */
    if (!succeeded("setting the supply rail", TarvixSDK_GpioSetVoltage(sdk, 3300, false)) ||
        !succeeded("configuring GPIO 0",
                   TarvixSDK_GpioConfigurePin(sdk, GpioPinNumber_GPIO_0, GpioFunctionality_DIGITAL_OUTPUT, true,
                                              GpioLogicLevel_LOW)) ||
        !succeeded("configuring GPIO 1", TarvixSDK_GpioConfigurePin(sdk, GpioPinNumber_GPIO_1,
                                                                    GpioFunctionality_DIGITAL_INTERRUPT, false, 0)) ||
        !succeeded("arming GPIO 1",
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
        if (!succeeded("driving GPIO 0", TarvixSDK_GpioDigitalWrite(sdk, GpioPinNumber_GPIO_0, steps[i]))) {
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
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        fprintf(stderr, "usage: gpio_watch_c [serial:SERIAL | path:PATH | INDEX]\n");
        return 2;
    }
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "gpio_watch: out of memory\n");
        return 1;
    }
    struct Interrupts interrupts = {.count = 0};
    TarvixSDK_onNotificationEx(sdk, onNotification, &interrupts);
    if (!TarvixSDK_ConnectTo(sdk, argc == 2 ? argv[1] : NULL)) {
        fprintf(stderr, "gpio_watch: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return 1;
    }
    const int result = watch(sdk, &interrupts);
    TarvixSDK_Destroy(sdk);
    return result;
}
