/* The flat C interface in one program: lists the adapters, connects to one, prints its USB
 * strings, sets up I2C port 0 and scans it, and waits up to one second for a notification.
 *
 *   tour_c [SELECTOR]      SELECTOR: serial:SERIAL, path:PATH or an index from the listing
 *                          (default: the first adapter)
 */
#define _POSIX_C_SOURCE 200809L

#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdatomic.h>
#include <stdio.h>
#include <time.h>

/* The callback has no context pointer: what it learns goes into these, read by main. */
static atomic_int notificationArrived;
static atomic_uint notificationKind;
static atomic_uint notificationDetail;

/* Runs on the reader thread: take what is needed and return. */
static void onNotification(const Notification* notification)
{
    GpioInterruptNotification gpio;
    UartRxNotification uart;
    unsigned detail = 0;
    if (TarvixSDK_notificationAsGpio(notification, &gpio)) {
        detail = gpio.pinNumber;
    } else if (TarvixSDK_notificationAsUartRx(notification, &uart)) {
        detail = (unsigned)uart.dataLength;
    }
    atomic_store(&notificationKind, (unsigned)notification->kind);
    atomic_store(&notificationDetail, detail);
    atomic_store(&notificationArrived, 1);
}

static void listAdapters(void)
{
    TarvixSDK_AdapterInfo adapters[8];
    size_t count = 0;
    if (TarvixSDK_ListAdapters(adapters, sizeof adapters / sizeof adapters[0], &count) != StatusCode_SUCCESS) {
        count = 0;
    }
    for (size_t i = 0; i < count && i < sizeof adapters / sizeof adapters[0]; ++i) {
        printf("adapter %zu: %s (serial %s)\n", i, adapters[i].path,
               adapters[i].hasSerialNumber ? adapters[i].serialNumber : "-");
    }
    if (count == 0) {
        printf("no adapters listed\n");
    }
}

static void printString(const char* label, const char* text, size_t length)
{
    printf("%-18s%.*s\n", label, (int)length, text);
}

static void scanI2c(TarvixSDK_Handle* sdk)
{
    uint8_t addresses[255];
    uint8_t oneByte = 0;
    uint8_t twoByte = 0;
    StatusCode status = TarvixSDK_I2cControllerInit(sdk, 0, 100000, 0); /* port 0 at 100 kHz */
    if (status == StatusCode_SUCCESS) {
        status = TarvixSDK_I2cScanBus(sdk, addresses, sizeof addresses, &oneByte, &twoByte, 0, false);
    }
    if (status != StatusCode_SUCCESS) {
        printf("I2C scan failed: %s (0x%04x)\n", TarvixSDK_StatusName(status), (unsigned)status);
        return;
    }
    printf("I2C port 0:");
    for (unsigned i = 0; i < oneByte; ++i) {
        printf(" 0x%02X", (unsigned)addresses[i]);
    }
    for (unsigned i = 0; i < twoByte; ++i) {
        printf(" 0x%02X%02X", (unsigned)addresses[oneByte + 2 * i], (unsigned)addresses[oneByte + 2 * i + 1]);
    }
    printf("%s\n", oneByte + twoByte == 0 ? " nothing answered" : "");
}

static void waitForNotification(int milliseconds)
{
    const struct timespec tick = {0, 10 * 1000 * 1000};
    for (int waited = 0; waited < milliseconds && !atomic_load(&notificationArrived); waited += 10) {
        nanosleep(&tick, NULL);
    }
    if (atomic_load(&notificationArrived)) {
        printf("notification: kind %u, detail %u\n", atomic_load(&notificationKind), atomic_load(&notificationDetail));
    } else {
        printf("no notification within %d ms\n", milliseconds);
    }
}

int main(int argc, char** argv)
{
    const char* selector = example_selector(argc, argv, "tour");
    printf("tarvixsdk %s\n", TarvixSDK_GetVersion());
    listAdapters();

    /* The handle's life spelled out, as example_connect does it for the other examples: a call
     * takes only its own answer, an unplugged adapter fails the call at once, no other session
     * may use the adapter meanwhile, and a call gives up after one second. This callback takes
     * no context pointer (TarvixSDK_onNotificationEx passes one). */
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "tour: out of memory\n");
        return 1;
    }
    TarvixSDK_onNotification(sdk, onNotification); /* before connecting: no notification is missed */
    if (!TarvixSDK_ConnectTo(sdk, selector)) {
        fprintf(stderr, "tour: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return 1;
    }

    TarvixSDK_DeviceInfo info;
    const StatusCode status = TarvixSDK_GetDeviceInfo(sdk, &info);
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "tour: reading the USB strings failed: %s (0x%04x)\n", TarvixSDK_StatusName(status),
                (unsigned)status);
        TarvixSDK_Destroy(sdk);
        return 1;
    }
    printString("manufacturer:", info.usbString1, info.usbString1Length);
    printString("product:", info.usbString2, info.usbString2Length);
    printString("serial number:", info.usbString3, info.usbString3Length);
    printString("firmware version:", info.usbString4, info.usbString4Length);
    printString("hardware version:", info.usbString5, info.usbString5Length);
    TarvixSDK_FreeDeviceInfo(&info);

    scanI2c(sdk);
    waitForNotification(1000);

    TarvixSDK_Disconnect(sdk);
    TarvixSDK_Destroy(sdk);
    return 0;
}
