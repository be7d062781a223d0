/* What every example here does around its task, so that each program shows only the task: take
 * the adapter selector from the command line, create a handle with the session options below
 * and connect it, and say why a step failed.
 */
#ifndef TARVIX_EXAMPLE_H
#define TARVIX_EXAMPLE_H

#include <tarvixsdk/tarvixsdk.h>

#include <stdio.h>
#include <stdlib.h>

/* The task's name, which starts every message; example_selector sets it. */
static const char* example_task = "example";

/* The adapter named on the command line: serial:SERIAL, path:PATH or an index from `list_c`,
 * NULL for the first adapter. Anything else prints the usage of `<task>_c` and ends the program
 * with status 2. */
static inline const char* example_selector(int argc, char** argv, const char* task)
{
    example_task = task;
    if (argc > 2 || (argc == 2 && argv[1][0] == '-')) {
        fprintf(stderr, "usage: %s_c [serial:SERIAL | path:PATH | INDEX]\n", task);
        exit(2);
    }
    return argc == 2 ? argv[1] : NULL;
}

/* Creates a handle whose calls take only their own answer, fail at once when the adapter is
 * unplugged and give up after one second, with no other session using the adapter meanwhile.
 * Sets `callback` (unless NULL) before connecting, so that no notification is missed, then
 * connects to the adapter `selector` names. NULL after printing why not; otherwise the caller
 * destroys the handle, which disconnects. */
static inline TarvixSDK_Handle* example_connect(const char* selector, TarvixSDK_NotificationCallbackEx callback,
                                                void* userData)
{
    const SessionOptions options = {.matchResponses = true, .detectRemoval = true, .exclusive = true};
    TarvixSDK_Handle* sdk = TarvixSDK_CreateWithOptions(1000, &options);
    if (sdk == NULL) {
        fprintf(stderr, "%s: out of memory\n", example_task);
        return NULL;
    }
    if (callback != NULL) {
        TarvixSDK_onNotificationEx(sdk, callback, userData);
    }
    if (!TarvixSDK_ConnectTo(sdk, selector)) {
        fprintf(stderr, "%s: %s\n", example_task, TarvixSDK_LastConnectErrorMessage(sdk));
        TarvixSDK_Destroy(sdk);
        return NULL;
    }
    return sdk;
}

/* The whole life of the program's handle: connects as example_connect does, runs `task`, then
 * destroys the handle, which disconnects. Returns the program's exit status: the task's, or 1
 * when no adapter could be connected. `state` is what `callback` and `task` share: the reader
 * thread writes it until the handle is destroyed, so it must outlive this call. */
static inline int example_run_with(int argc, char** argv, const char* task, TarvixSDK_NotificationCallbackEx callback,
                                   void* state, int (*run)(TarvixSDK_Handle*, void*))
{
    TarvixSDK_Handle* sdk = example_connect(example_selector(argc, argv, task), callback, state);
    const int result = sdk != NULL ? run(sdk, state) : 1;
    TarvixSDK_Destroy(sdk);
    return result;
}

/* As example_run_with, for a task without notifications. */
static inline int example_run(int argc, char** argv, const char* task, int (*run)(TarvixSDK_Handle*))
{
    TarvixSDK_Handle* sdk = example_connect(example_selector(argc, argv, task), NULL, NULL);
    const int result = sdk != NULL ? run(sdk) : 1;
    TarvixSDK_Destroy(sdk);
    return result;
}

/* Prints why a step failed; false lets the caller stop in one line. */
static inline bool example_succeeded(const char* step, StatusCode status)
{
    if (status != StatusCode_SUCCESS) {
        fprintf(stderr, "%s: %s failed: %s (%s, 0x%04x)\n", example_task, step, TarvixSDK_StatusName(status),
                TarvixSDK_StatusMessage(status), (unsigned)status);
    }
    return status == StatusCode_SUCCESS;
}

#endif
