/* The flat C interface in one program: lists the adapters, connects to one, prints its USB
 * strings, sets up I2C port 0 and scans it, and waits up to one second for a notification.
 *
 *   tour_c                 the first adapter found
 *   tour_c --serial S      the adapter with serial number S
 *   tour_c --path P        the adapter at hidapi path P
 */
#define _POSIX_C_SOURCE 200809L

#include <hidapi/hidapi.h>
#include <tarvixsdk/tarvixsdk.h>

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* The flat interface opens adapters but does not list them; hidapi does. These are the USB IDs
 * of the two adapter builds (64-byte and 1024-byte reports). */
#define TARVIX_VENDOR_ID 0x1FC9
#define TARVIX_PRODUCT_ID_FULL_SPEED 0x82FC
#define TARVIX_PRODUCT_ID_HIGH_SPEED 0x82FD

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
    struct hid_device_info* devices = hid_enumerate(0, 0);
    int count = 0;
    for (const struct hid_device_info* d = devices; d != NULL; d = d->next) {
        if (d->vendor_id == TARVIX_VENDOR_ID &&
            (d->product_id == TARVIX_PRODUCT_ID_FULL_SPEED || d->product_id == TARVIX_PRODUCT_ID_HIGH_SPEED)) {
            printf("adapter %d: %s (serial %ls)\n", ++count, d->path, d->serial_number != NULL ? d->serial_number : L"-");
        }
    }
    hid_free_enumeration(devices);
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
        printf("I2C scan failed: status 0x%04X\n", (unsigned)status);
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
    const char* path = NULL;
    const char* serial = NULL;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (strcmp(argv[i], "--serial") == 0) {
            serial = argv[i + 1];
        } else if (strcmp(argv[i], "--path") == 0) {
            path = argv[i + 1];
        }
    }

    printf("tarvixsdk %s\n", TarvixSDK_GetVersion());
    listAdapters();

    TarvixSDK_Handle* sdk = TarvixSDK_Create(1000); /* give up on a call after one second */
    TarvixSDK_onNotification(sdk, onNotification);  /* before connecting: no notification is missed */
    const bool connected = serial != NULL ? TarvixSDK_ConnectWithSerialNumber(sdk, serial) : TarvixSDK_Connect(sdk, path);
    if (!connected) {
        fprintf(stderr, "no Tarvix adapter found\n");
        TarvixSDK_Destroy(sdk);
        return 1;
    }

    TarvixSDK_DeviceInfo info;
    const StatusCode status = TarvixSDK_GetDeviceInfo(sdk, &info);
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "reading the USB strings failed: status 0x%04X\n", (unsigned)status);
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
