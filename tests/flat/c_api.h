/* Checks written in C against tarvixsdk.h, called from the C++ tests. Each returns 0 when every
 * check passed, otherwise the source line of the first check that failed. */
#ifndef TARVIX_TESTS_FLAT_C_API_H
#define TARVIX_TESTS_FLAT_C_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The functions of the header with a null handle and otherwise invalid arguments. */
int flat_c_null_handle(void);

/* A session on the adapter with serial number `serial`, whose firmware the caller has scripted:
 * GPIO read (0x1403) answers a GPIO interrupt notification for pin 5, then level 1. */
int flat_c_session(const char* serial, const char* manufacturer);

/* Connects by `serial` on a host where a HID device listed before the adapter has a serial
 * number that does not convert to UTF-8: false, BAD_SERIAL and a sentence; then a connect by
 * path succeeds and clears the reason. The handle is made with null options. */
int flat_c_bad_serial(const char* serial);

/* The last member of each enumeration, listed once for both languages: the C file takes the
 * constant Type_MEMBER that tarvixsdk.h writes out by hand for C, the C++ test the enumerator
 * Type::MEMBER, and the two must agree. */
#define FLAT_C_ENUMS(X)                                                                                                \
    X(GpioPinNumber, GPIO_7)                                                                                           \
    X(GpioFunctionality, DISABLED)                                                                                     \
    X(GpioLogicLevel, HIGH)                                                                                            \
    X(GpioTriggerType, BOTH_EDGES)                                                                                     \
    X(SpiBitOrder, LSB_FIRST)                                                                                          \
    X(SpiMode, MODE_3)                                                                                                 \
    X(SpiDataWidth, BITS_16)                                                                                           \
    X(SpiChipSelect, CS_3)                                                                                             \
    X(SpiChipSelectPolarity, ACTIVE_HIGH)                                                                              \
    X(UartBaudRate, BAUD_1000000)                                                                                      \
    X(UartHwHandshake, ENABLED)                                                                                        \
    X(UartParity, ODD)                                                                                                 \
    X(UartDataSize, BITS_8)                                                                                            \
    X(UartStopBit, TWO)                                                                                                \
    X(I3cPushPullRate, RATE_1_MHZ)                                                                                     \
    X(I3cOpenDrainTransferRate, RATE_400_KHZ)                                                                          \
    X(I2cTransferRate, RATE_1_MHZ)                                                                                     \
    X(I3cDriveStrength, MAXIMUM)                                                                                       \
    X(I3cTransferFlags, NACK_LAST_BYTE)                                                                                \
    X(I3cTransferDirection, READ)                                                                                      \
    X(I3cTargetResetDefByte, RETURN_VIRTUAL_TARGET_INDICATION)                                                         \
    X(StatusCode, RESPONSE_TOO_SHORT)                                                                                  \
    X(StatusCode, SYSTEM_ERROR)                                                                                        \
    X(ConnectError, SYSTEM_ERROR)                                                                                      \
    X(ConnectError, BAD_SERIAL)

/* Their values as the C file sees them, in the order of the list. */
extern const uint32_t flat_c_enum_values[];

#ifdef __cplusplus
}
#endif

#endif
