/* Checks written in C against tarvixsdk.h, called from the C++ tests. Each returns 0 when every
 * check passed, otherwise the source line of the first check that failed. */
#ifndef TARVIX_TESTS_FLAT_C_API_H
#define TARVIX_TESTS_FLAT_C_API_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The functions of the header with a null handle and otherwise invalid arguments. */
int flat_c_null_handle(void);

/* A session on the adapter with serial number `serial`, whose firmware the caller has scripted:
 * GPIO read (0x1403) answers a GPIO interrupt notification for pin 5, then level 1; the I2C scan
 * (0x0906) finds 0x48 and 0x50 (one-byte entries). */
int flat_c_session(const char* serial, const char* manufacturer);

/* Connects by `serial` on a host where a HID device listed before the adapter has a serial
 * number that does not convert to UTF-8: false, BAD_SERIAL and a sentence; then a connect by
 * path succeeds and clears the reason. The handle is made with null options. */
int flat_c_bad_serial(const char* serial);

/* The last member of each enumeration as the C constants give it, in the order of the C++ test. */
extern const uint32_t flat_c_enum_values[];
extern const size_t flat_c_enum_count;

#ifdef __cplusplus
}
#endif

#endif
