/**
 * @file export.h
 * The export macro and the version macros, shared by the C and C++ headers.
 */
#ifndef TARVIXSDK_EXPORT_H
#define TARVIXSDK_EXPORT_H

/** Major version of the headers; the library's own version at run time is TarvixAsyncSDK::getVersion(). */
#define TARVIXSDK_VERSION_MAJOR 1
/** Minor version of the headers. */
#define TARVIXSDK_VERSION_MINOR 3
/** Patch version of the headers. */
#define TARVIXSDK_VERSION_PATCH 0
/** The version of the headers as text, "1.3.0" (TarvixSDK_GetVersion() gives the library's). */
#define TARVIXSDK_VERSION_STR "1.3.0"

/**
 * @def TARVIX_API
 * Marks what the library exports: it is built with hidden visibility, and only what carries
 * TARVIX_API is visible to applications.
 */
#if defined(_WIN32)
#if defined(TARVIXSDK_BUILDING)
#define TARVIX_API __declspec(dllexport)
#else
#define TARVIX_API __declspec(dllimport)
#endif
#else
#define TARVIX_API __attribute__((visibility("default")))
#endif

#endif /* TARVIXSDK_EXPORT_H */
