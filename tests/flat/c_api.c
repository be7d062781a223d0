/* The flat interface exercised from C: the header must compile as C11 and every function must be
 * callable with C's types (32-bit enumerations, bool, size_t). */
#include "c_api.h"

#include <string.h>
#include <tarvixsdk/tarvixsdk.h>

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            return __LINE__;                                                                                           \
        }                                                                                                              \
    } while (0)

int flat_c_null_handle(void)
{
    TarvixSDK_Handle* const h = NULL;
    uint8_t bytes[8] = {0};
    I3cTargetInfo targets[1];
    const uint8_t tooLong[5] = {0};
#define NULL_HANDLE(call) CHECK((call) == StatusCode_NOT_CONNECTED)

    memset(targets, 0, sizeof targets);
    CHECK(strcmp(TarvixSDK_GetVersion(), "1.3.0") == 0);
    CHECK(!TarvixSDK_Connect(h, NULL));
    CHECK(!TarvixSDK_ConnectWithSerialNumber(h, "TVX-0001"));
    CHECK(TarvixSDK_LastConnectError(h) == ConnectError_NONE);
    CHECK(strcmp(TarvixSDK_LastConnectErrorMessage(h), "") == 0);
    TarvixSDK_onNotificationEx(h, NULL, NULL);
    TarvixSDK_Disconnect(h);
    TarvixSDK_Destroy(h);
    TarvixSDK_FreeDeviceInfo(NULL);

    /* The one-line forwards share one null check, and so do the functions built on one helper
     * (SDR and legacy transfers, the CCC byte reads, the optional trailing bytes): one of each
     * stands for all. The functions written out by hand check on their own, before their other
     * arguments. */
    NULL_HANDLE(TarvixSDK_GpioDigitalWrite(h, GpioPinNumber_GPIO_3, GpioLogicLevel_LOW));
    NULL_HANDLE(TarvixSDK_GetDeviceInfo(h, NULL));
    NULL_HANDLE(TarvixSDK_GpioConfigurePin(h, GpioPinNumber_GPIO_0, GpioFunctionality_DIGITAL_OUTPUT, true,
                                           GpioLogicLevel_HIGH));
    NULL_HANDLE(TarvixSDK_I2cRead(h, 0, 0x50, tooLong, 5, 4, NULL, false));
    NULL_HANDLE(TarvixSDK_I2cWrite(h, 0, 0x50, NULL, 2, NULL, 3, false));
    NULL_HANDLE(TarvixSDK_I2cScanBus(h, NULL, 0, NULL, NULL, 7, false));
    NULL_HANDLE(TarvixSDK_SpiTransfer(h, bytes, 2, NULL, 2));
    NULL_HANDLE(TarvixSDK_UartSendMessage(h, bytes, 3));
    NULL_HANDLE(TarvixSDK_I3cInitBus(h, targets, 1));
    NULL_HANDLE(TarvixSDK_I3cGetDeviceTable(h, NULL, 0, NULL));
    NULL_HANDLE(TarvixSDK_I3cSdrRead(h, 0x08, NULL, 9, 4, NULL, NULL, I3cTransferFlags_NO_STOP));
    NULL_HANDLE(TarvixSDK_I3cSdrWrite(h, 0x08, NULL, 1, NULL, 4, I3cTransferFlags_NONE));
    NULL_HANDLE(TarvixSDK_I3cHdrDdrRead(h, 0x08, 0x80, 4, NULL, NULL));
    NULL_HANDLE(TarvixSDK_I3cHdrDdrWrite(h, 0x08, 0x00, NULL, 4));
    NULL_HANDLE(TarvixSDK_I3cCccSETMRLBroadcast(h, 256, true, 8));
    NULL_HANDLE(TarvixSDK_I3cCccSETBUSCONBroadcast(h, 1, NULL, 3));
    NULL_HANDLE(TarvixSDK_I3cCccSETAASA(h, bytes, 2));
    NULL_HANDLE(TarvixSDK_I3cCccRSTACTBroadcast(h, I3cTargetResetDefByte_RESET_WHOLE_TARGET));
    NULL_HANDLE(TarvixSDK_I3cCccRSTACTDirect(h, 0x08, I3cTargetResetDefByte_RETURN_TIME_RESET_WHOLE_TARGET,
                                             I3cTransferDirection_READ, NULL));
    NULL_HANDLE(TarvixSDK_I3cCccGETMRL(h, 0x08, NULL, NULL, NULL));
    NULL_HANDLE(TarvixSDK_I3cCccGETPID(h, 0x08, NULL));
    NULL_HANDLE(TarvixSDK_I3cCccGETMXDS(h, 0x08, NULL, NULL));
    NULL_HANDLE(TarvixSDK_I3cCccGETCAPS(h, 0x08, NULL, NULL, true, 0));
#undef NULL_HANDLE
    return 0;
}

/* What the callback saw, written on the reader thread. The session's response wait orders it
 * before the return of the call during which the notification arrived. */
static int seenNotifications;
static NotificationKind seenKind;
static size_t seenLength;
static uint8_t seenPin;

static void onNotification(const Notification* notification)
{
    GpioInterruptNotification gpio;
    ++seenNotifications;
    seenKind = notification->kind;
    seenLength = notification->length;
    seenPin = TarvixSDK_notificationAsGpio(notification, &gpio) ? gpio.pinNumber : 0xFF;
}

static int runSession(TarvixSDK_Handle* h, const char* serial, const char* manufacturer)
{
    char marker[] = "unchanged";
    TarvixSDK_DeviceInfo info;
    struct {
        GpioLogicLevel level;
        uint32_t after;
    } read = {0xAAAAAAAAu, 0x55555555u};

    /* The record is written only when the status is SUCCESS. */
    info.usbString1 = marker;
    CHECK(TarvixSDK_GetDeviceInfo(h, &info) == StatusCode_NOT_CONNECTED && info.usbString1 == marker);
    CHECK(TarvixSDK_ConnectWithSerialNumber(h, serial));
    CHECK(TarvixSDK_GetDeviceInfo(h, &info) == StatusCode_SUCCESS);
    CHECK(info.usbString1Length == strlen(manufacturer) && strcmp(info.usbString1, manufacturer) == 0);
    CHECK(info.usbString3Length == strlen(serial) && strcmp(info.usbString3, serial) == 0);
    CHECK(info.usbString5Length == 2 && strcmp(info.usbString5, "A1") == 0);
    TarvixSDK_FreeDeviceInfo(&info);
    CHECK(info.usbString1 == NULL && info.usbString5 == NULL && info.usbString5Length == 0);

    /* The level is written as one 32-bit value, nothing beyond it. */
    CHECK(TarvixSDK_GpioDigitalRead(h, GpioPinNumber_GPIO_5, &read.level) == StatusCode_SUCCESS);
    CHECK(read.level == GpioLogicLevel_HIGH && read.after == 0x55555555u);
    CHECK(seenNotifications == 1 && seenKind == NotificationKind_GPIO_INTERRUPT && seenLength == 7 && seenPin == 5);
    TarvixSDK_Disconnect(h);
    CHECK(TarvixSDK_GpioDigitalRead(h, GpioPinNumber_GPIO_5, &read.level) == StatusCode_NOT_CONNECTED);
    return 0;
}

/* Destroys the handle the checks ran on and passes their result on. */
static int destroyed(TarvixSDK_Handle* h, int failedLine)
{
    TarvixSDK_Destroy(h);
    return failedLine;
}

int flat_c_session(const char* serial, const char* manufacturer)
{
    TarvixSDK_Handle* h = TarvixSDK_Create(5000);
    if (h == NULL) {
        return __LINE__;
    }
    seenNotifications = 0;
    TarvixSDK_onNotification(h, onNotification);
    return destroyed(h, runSession(h, serial, manufacturer));
}

static int runBadSerial(TarvixSDK_Handle* h, const char* serial)
{
    CHECK(TarvixSDK_LastConnectError(h) == ConnectError_NONE);
    CHECK(!TarvixSDK_ConnectWithSerialNumber(h, serial));
    CHECK(TarvixSDK_LastConnectError(h) == ConnectError_BAD_SERIAL);
    CHECK(strlen(TarvixSDK_LastConnectErrorMessage(h)) > 0);
    CHECK(TarvixSDK_Connect(h, NULL));
    CHECK(TarvixSDK_LastConnectError(h) == ConnectError_NONE);
    CHECK(strcmp(TarvixSDK_LastConnectErrorMessage(h), "") == 0);
    return 0;
}

int flat_c_bad_serial(const char* serial)
{
    TarvixSDK_Handle* h = TarvixSDK_CreateWithOptions(5000, NULL);
    if (h == NULL) {
        return __LINE__;
    }
    return destroyed(h, runBadSerial(h, serial));
}

#define C_CONSTANT(type, member) type##_##member,
const uint32_t flat_c_enum_values[] = {FLAT_C_ENUMS(C_CONSTANT)};
#undef C_CONSTANT
