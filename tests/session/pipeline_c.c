/* Pipelined calls from C: the header's pipeline functions compile as C11, and a queued read
 * writes its output and status on run. Called from pipeline_test.cpp. */
#include <stddef.h>
#include <tarvixsdk/tarvixsdk.h>

/* Reads the first eight bytes of the bench's EEPROM (0x50 on bus 0) after writing `pattern`:
 * returns 0 when every check passed, else the line of the first failure. */
int pipeline_c_eeprom_reads(const uint8_t pattern[8])
{
    TarvixSDK_Handle* handle = TarvixSDK_Create(5000);
    uint8_t data[8] = {0};
    StatusCode statuses[9];
    const uint8_t zero = 0;
    const uint8_t tooLong[5] = {0};
    TarvixSDK_Pipeline* pipeline;
    uint8_t reg;
    int result = 0;

    if (handle == NULL || TarvixSDK_PipelineCreate(NULL, 8) != NULL) {
        TarvixSDK_Destroy(handle);
        return __LINE__;
    }
    if (!TarvixSDK_Connect(handle, NULL) || TarvixSDK_I2cControllerInit(handle, 0, 400000, 0) != StatusCode_SUCCESS ||
        TarvixSDK_I2cWrite(handle, 0, 0x50, &zero, 1, pattern, 8, false) != StatusCode_SUCCESS) {
        TarvixSDK_Destroy(handle);
        return __LINE__;
    }
    pipeline = TarvixSDK_PipelineCreate(handle, 4);
    for (reg = 0; reg < 8 && pipeline != NULL; ++reg) {
        if (TarvixSDK_PipelineI2cRead(pipeline, &statuses[reg], 0, 0x50, &reg, 1, 1, &data[reg], false) !=
            StatusCode_SUCCESS) {
            result = __LINE__;
        }
    }
    /* Refused at queueing: a null array with a length. Refused on run: a 5-byte register. */
    if (TarvixSDK_PipelineI2cRead(pipeline, NULL, 0, 0x50, NULL, 1, 1, data, false) != StatusCode_INVALID_ARGUMENT ||
        TarvixSDK_PipelineI2cRead(pipeline, &statuses[8], 0, 0x50, tooLong, 5, 1, data, false) != StatusCode_SUCCESS) {
        result = __LINE__;
    }
    if (result == 0 && TarvixSDK_PipelineRun(pipeline) != StatusCode_INVALID_ARGUMENT) {
        result = __LINE__;
    }
    for (reg = 0; reg < 8 && result == 0; ++reg) {
        if (statuses[reg] != StatusCode_SUCCESS || data[reg] != pattern[reg]) {
            result = __LINE__;
        }
    }
    if (result == 0 && statuses[8] != StatusCode_INVALID_ARGUMENT) {
        result = __LINE__;
    }
    TarvixSDK_PipelineDestroy(pipeline);
    TarvixSDK_Destroy(handle);
    return result;
}
