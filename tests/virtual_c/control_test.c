/* The virtual adapter's C control interface, driven from C against the SDK's flat functions: each
 * check sets something up through TarvixVirtual_*, then sees its effect through TarvixSDK_*. */
#define _POSIX_C_SOURCE 200809L

#include <tarvix_virtual/tarvix_virtual.h>
#include <tarvixsdk/tarvixsdk.h>

#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

static int failures = 0;

#define CHECK(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            fprintf(stderr, "%s:%d: %s failed (last error: \"%s\")\n", __FILE__, __LINE__, #condition,                 \
                    TarvixVirtual_LastError());                                                                        \
            ++failures;                                                                                                \
        }                                                                                                              \
    } while (0)

static TarvixVirtual_Adapter* attachSerial(const char* serial, size_t reportSize)
{
    TarvixVirtual_AdapterConfig config;
    TarvixVirtual_InitAdapterConfig(&config);
    config.serialNumber = serial;
    config.productId = reportSize == 1024 ? 0x82FD : 0x82FC;
    return TarvixVirtual_Attach(&config);
}

/* A fresh registry with one adapter, serial TVX-0001, and a session on it (NULL if that failed). */
static TarvixSDK_Handle* startSession(TarvixVirtual_Adapter** adapter, int timeout)
{
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = false};
    TarvixVirtual_Reset();
    *adapter = attachSerial("TVX-0001", 64);
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(timeout, &options);
    if (sdk != NULL && !TarvixSDK_Connect(sdk, NULL)) {
        fprintf(stderr, "connect: %s\n", TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        ++failures;
        return NULL;
    }
    return sdk;
}

static void endSession(TarvixSDK_Handle* sdk, TarvixVirtual_Adapter* adapter)
{
    TarvixSDK_Destroy(sdk);
    TarvixVirtual_Release(adapter);
}

static void Attach_ListsAnAdapterBySerialAndReportSize(void)
{
    TarvixVirtual_Reset();
    TarvixVirtual_Adapter* large = attachSerial("TVX-\xC3\xA9", 1024); /* a non-ASCII serial crosses as UTF-8 */
    CHECK(large != NULL && TarvixVirtual_ReportSize(large) == 1024);

    TarvixSDK_AdapterInfo records[2];
    size_t count = 0;
    CHECK(TarvixSDK_ListAdapters(records, 2, &count) == StatusCode_SUCCESS && count == 1);
    CHECK(strcmp(records[0].serialNumber, "TVX-\xC3\xA9") == 0 && records[0].reportSize == 1024);
    CHECK(strcmp(records[0].path, TarvixVirtual_Path(large)) == 0);
    TarvixVirtual_Release(large);
}

static void BadArguments_FailWithAReasonAndNoCrash(void)
{
    TarvixVirtual_Reset();
    CHECK(TarvixVirtual_Unplug(NULL) == -1);
    CHECK(strstr(TarvixVirtual_LastError(), "null") != NULL);
    CHECK(!TarvixVirtual_IsPlugged(NULL));
    CHECK(TarvixVirtual_Attach(NULL) == NULL);

    TarvixVirtual_AdapterConfig config;
    TarvixVirtual_InitAdapterConfig(&config);
    config.path = "bench/a";
    TarvixVirtual_Adapter* first = TarvixVirtual_Attach(&config);
    CHECK(first != NULL);
    CHECK(TarvixVirtual_Attach(&config) == NULL); /* the same path twice */
    CHECK(TarvixVirtual_LastError()[0] != '\0');
    config.path = NULL;
    config.serialNumber = "\xC3"; /* cut UTF-8 sequence */
    CHECK(TarvixVirtual_Attach(&config) == NULL);
    config.serialNumber = NULL;
    config.reportSize = 4;
    CHECK(TarvixVirtual_Attach(&config) == NULL);

    CHECK(TarvixVirtual_GpioDrive(first, 8, true) == -1);
    CHECK(TarvixVirtual_I2cAttachEeprom(first, 2, 0x50) == -1);
    CHECK(TarvixVirtual_InjectNotification(first, 0x1481, 0, NULL, 1) == -1);
    CHECK(TarvixVirtual_GetRequest(first, 0, NULL, 0, &(size_t){0}) == -1); /* nothing recorded */
    CHECK(TarvixVirtual_I2cSetTemperature(first, 0, 0x50, 1000) == -1);     /* an EEPROM, not a sensor */
    CHECK(TarvixVirtual_I3cHotJoin(first, NULL, 0) == -1);
    TarvixVirtual_Release(first);
}

static void DelayAndDroppedAnswers_AreNoResponse(void)
{
    TarvixVirtual_Adapter* adapter = NULL;
    TarvixSDK_Handle* sdk = startSession(&adapter, 100);
    if (sdk == NULL) return;
    uint16_t millivolts = 0;
    CHECK(TarvixVirtual_DropNextResponses(adapter, 1) == 0);
    CHECK(TarvixSDK_GpioGetVoltage(sdk, &millivolts) == StatusCode_NO_RESPONSE);
    CHECK(TarvixVirtual_SetResponseDelay(adapter, 300) == 0);
    CHECK(TarvixSDK_GpioGetVoltage(sdk, &millivolts) == StatusCode_NO_RESPONSE);
    CHECK(TarvixVirtual_SetResponseDelay(adapter, 0) == 0);

    /* The record holds every request frame: code 0x0409 in bytes 2..3. */
    CHECK(TarvixVirtual_WaitForRequests(adapter, 2, 1000));
    CHECK(TarvixVirtual_RequestCount(adapter) >= 2);
    uint8_t frame[2];
    size_t length = 0;
    CHECK(TarvixVirtual_GetRequest(adapter, 0, frame, sizeof frame, &length) == 0);
    CHECK(length == 4); /* the whole length, though only 2 bytes were copied */
    uint8_t whole[8] = {0};
    CHECK(TarvixVirtual_GetRequest(adapter, 0, whole, sizeof whole, &length) == 0);
    CHECK(whole[2] == 0x09 && whole[3] == 0x04);
    CHECK(TarvixVirtual_ClearRecords(adapter) == 0 && TarvixVirtual_RequestCount(adapter) == 0);
    endSession(sdk, adapter);
}

struct Seen {
    atomic_int gpioPins; /* bit per pin */
    atomic_int ibiAddress;
};

static void onNotification(const Notification* notification, void* userData)
{
    struct Seen* seen = userData;
    GpioInterruptNotification gpio;
    I3cIbiNotification ibi;
    if (TarvixSDK_notificationAsGpio(notification, &gpio)) atomic_fetch_or(&seen->gpioPins, 1 << gpio.pinNumber);
    if (TarvixSDK_notificationAsI3cIbi(notification, &ibi)) atomic_store(&seen->ibiAddress, ibi.targetAddress);
}

static bool waitFor(atomic_int* value, int expected)
{
    const struct timespec tick = {0, 5 * 1000 * 1000};
    for (int waited = 0; waited < 2000; waited += 5) {
        if (atomic_load(value) == expected) return true;
        nanosleep(&tick, NULL);
    }
    return false;
}

static void Notifications_InjectedAndFromTheBench(void)
{
    TarvixVirtual_Adapter* adapter = NULL;
    TarvixSDK_Handle* sdk = startSession(&adapter, 1000);
    if (sdk == NULL) return;
    struct Seen seen = {0, 0};
    TarvixSDK_onNotificationEx(sdk, onNotification, &seen);

    const uint8_t pin = 5;
    CHECK(TarvixVirtual_InjectNotification(adapter, 0x1481, 0, &pin, 1) == 0);
    CHECK(waitFor(&seen.gpioPins, 1 << 5));

    /* GPIO 3 armed for rising edges, driven from outside. */
    CHECK(TarvixSDK_GpioConfigurePin(sdk, GpioPinNumber_GPIO_3, GpioFunctionality_DIGITAL_INTERRUPT, false, 0) == 0);
    CHECK(TarvixSDK_GpioConfigureInterrupt(sdk, GpioPinNumber_GPIO_3, GpioTriggerType_RISING_EDGE) == 0);
    CHECK(TarvixVirtual_GpioDrive(adapter, 3, true) == 0);
    CHECK(waitFor(&seen.gpioPins, 1 << 5 | 1 << 3));
    bool high = false;
    CHECK(TarvixVirtual_GpioLevel(adapter, 3, &high) == 0 && high);

    /* An I3C target, addressed by ENTDAA, raises an IBI. */
    TarvixVirtual_I3cTargetConfig target;
    TarvixVirtual_InitI3cTargetConfig(&target);
    target.pid = 0x0123456789AB;
    CHECK(TarvixVirtual_I3cAttachTarget(adapter, &target) == 0);
    CHECK(TarvixVirtual_I3cRaiseIbi(adapter, target.pid, NULL, 0) == TarvixVirtual_I3C_REFUSED); /* no address yet */
    CHECK(TarvixSDK_I3cCccENTDAA(sdk) == StatusCode_SUCCESS);
    TarvixVirtual_I3cTargetState state;
    CHECK(TarvixVirtual_GetI3cTargetState(adapter, target.pid, &state) == 0 && state.dynamicAddress == 0x08);
    CHECK(TarvixVirtual_I3cRaiseIbi(adapter, target.pid, NULL, 0) == TarvixVirtual_I3C_DELIVERED);
    CHECK(waitFor(&seen.ibiAddress, 0x08));
    endSession(sdk, adapter);
}

static void Targets_ChangeWhatTheBusesAnswer(void)
{
    TarvixVirtual_Adapter* adapter = NULL;
    TarvixSDK_Handle* sdk = startSession(&adapter, 1000);
    if (sdk == NULL) return;
    uint8_t addresses[16];
    uint8_t one = 0, two = 0;
    CHECK(TarvixSDK_I2cControllerInit(sdk, 0, 100000, 0) == 0);
    CHECK(TarvixVirtual_I2cDetach(adapter, 0, 0x48) == 0);
    CHECK(TarvixVirtual_I2cAttachEeprom(adapter, 0, 0x51) == 0);
    CHECK(TarvixSDK_I2cScanBus(sdk, addresses, sizeof addresses, &one, &two, 0, false) == 0);
    CHECK(one == 2 && addresses[0] == 0x50 && addresses[1] == 0x51);

    const uint8_t offset = 0x10, data[] = {1, 2, 3};
    CHECK(TarvixSDK_I2cWrite(sdk, 0, 0x51, &offset, 1, data, sizeof data, false) == 0);
    uint8_t contents[256];
    size_t length = 0;
    CHECK(TarvixVirtual_I2cEepromContents(adapter, 0, 0x51, contents, sizeof contents, &length) == 0);
    CHECK(length == 256 && memcmp(contents + 0x10, data, sizeof data) == 0);
    CHECK(TarvixVirtual_SpiFlashContents(adapter, 1, NULL, 0, &length) == -1); /* no flash on CS 1 */
    CHECK(TarvixVirtual_SpiFlashContents(adapter, 0, NULL, 0, &length) == 0 && length == 64 * 1024);

    TarvixVirtual_RailState rail;
    CHECK(TarvixVirtual_SetExternalSupply(adapter, TarvixVirtual_RAIL_SHARED, 2500) == 0);
    CHECK(TarvixSDK_GpioUseExternalVoltage(sdk, true) == 0);
    CHECK(TarvixVirtual_GetRailState(adapter, TarvixVirtual_RAIL_SHARED, &rail) == 0);
    CHECK(rail.external && rail.measuredMillivolts == 2500);
    CHECK(TarvixVirtual_GetRailState(adapter, 2, &rail) == -1);

    CHECK(!TarvixVirtual_UartIsOpen(adapter));
    CHECK(TarvixVirtual_UartReceive(adapter, data, sizeof data) == 0); /* lost: the port is closed */

    /* The session holds one handle; pulled and put back, the adapter is there again at once. */
    CHECK(TarvixVirtual_OpenHandles(adapter) == 1);
    CHECK(TarvixVirtual_Unplug(adapter) == 0 && !TarvixVirtual_IsPlugged(adapter));
    CHECK(TarvixVirtual_Replug(adapter) == 0 && TarvixVirtual_WaitForPlugged(adapter, 100));
    endSession(sdk, adapter);
}

int main(void)
{
    Attach_ListsAnAdapterBySerialAndReportSize();
    BadArguments_FailWithAReasonAndNoCrash();
    DelayAndDroppedAnswers_AreNoResponse();
    Notifications_InjectedAndFromTheBench();
    Targets_ChangeWhatTheBusesAnswer();
    TarvixVirtual_Reset();
    if (failures != 0) {
        fprintf(stderr, "%d checks failed\n", failures);
        return 1;
    }
    printf("all checks passed\n");
    return 0;
}
