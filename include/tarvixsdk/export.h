/* tarvixsdk: export macro and version macros, shared by the C and C++ headers. */
#ifndef TARVIXSDK_EXPORT_H
#define TARVIXSDK_EXPORT_H

/** Library version, compile-time view. The runtime view is getVersion(). */
#define TARVIXSDK_VERSION_MAJOR 1
#define TARVIXSDK_VERSION_MINOR 3
#define TARVIXSDK_VERSION_PATCH 0
#define TARVIXSDK_VERSION_STR "1.3.0"

/* The library is built with hidden visibility; only what carries TARVIX_API is exported. */
#if defined(_WIN32)
#  if defined(TARVIXSDK_BUILDING)
#    define TARVIX_API __declspec(dllexport)
#  else
#    define TARVIX_API __declspec(dllimport)
#  endif
#else
#  define TARVIX_API __attribute__((visibility("default")))
#endif

#endif /* TARVIXSDK_EXPORT_H */
