/* Opens the UART at 115200 baud 8N1, sends one line and prints what comes back on RX. With TX
 * wired to RX the line returns as it was sent. Received bytes arrive as UART_RX notifications
 * on the handle's reader thread; the callback only collects them, main waits and prints.
 *
 *   uart_echo_c [SELECTOR]     SELECTOR: serial:SERIAL, path:PATH or an index from `list_c`
 */
#define _POSIX_C_SOURCE 200809L

#include "example.h"

#include <tarvixsdk/tarvixsdk.h>

#include <stdatomic.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* Bytes received so far. The callback writes the bytes first and publishes the new length
 * after them, so main may read every byte below the length it loads. */
struct Received {
    char bytes[256];
    atomic_size_t length;
};

/* Runs on the reader thread; the record is valid only during the call, so copy the bytes out. */
static void onNotification(const Notification* notification, void* userData)
{
    struct Received* received = userData;
    UartRxNotification rx;
    if (!TarvixSDK_notificationAsUartRx(notification, &rx)) {
        return;
    }
    /* The view reports the count the frame declares: keep to the bytes that arrived. */
    size_t count = rx.dataLength;
    if (count > notification->length - 8) {
        count = notification->length - 8;
    }
    const size_t length = atomic_load_explicit(&received->length, memory_order_relaxed);
    if (count > sizeof received->bytes - length) {
        count = sizeof received->bytes - length;
    }
    memcpy(received->bytes + length, rx.data, count);
    atomic_store_explicit(&received->length, length + count, memory_order_release);
}

static int echo(TarvixSDK_Handle* sdk, void* state)
{
    struct Received* received = state;
    static const char line[] = "hello from uart_echo\n";
    const uint16_t lineLength = (uint16_t)(sizeof line - 1);
    if (!example_succeeded("setting the supply rail", TarvixSDK_UartSetBusVoltage(sdk, 3300, false)) ||
        !example_succeeded("UART init", TarvixSDK_UartInit(sdk, UartBaudRate_BAUD_115200, UartHwHandshake_DISABLED,
                                                           UartParity_NONE, UartDataSize_BITS_8, UartStopBit_ONE)) ||
        !example_succeeded("UART send", TarvixSDK_UartSendMessage(sdk, (const uint8_t*)line, lineLength))) {
        return 1;
    }
    printf("sent:     %s", line);

    /* Wait up to one second for the whole line. */
    const struct timespec tick = {0, 10 * 1000 * 1000};
    size_t length = 0;
    for (int waited = 0; waited < 1000; waited += 10) {
        length = atomic_load_explicit(&received->length, memory_order_acquire);
        if (length >= lineLength) {
            break;
        }
        nanosleep(&tick, NULL);
    }
    TarvixSDK_UartDeinit(sdk);
    if (length == 0) {
        fprintf(stderr, "uart_echo: nothing came back within one second (is TX wired to RX?)\n");
        return 1;
    }
    printf("received: %.*s%s", (int)length, received->bytes, received->bytes[length - 1] == '\n' ? "" : "\n");
    return length == lineLength && memcmp(received->bytes, line, length) == 0 ? 0 : 1;
}

int main(int argc, char** argv)
{
    /* The reader thread fills it until the handle is gone, so it lives as long as main. */
    struct Received received = {.length = 0};
    return example_run_with(argc, argv, "uart_echo", onNotification, &received, echo);
}
