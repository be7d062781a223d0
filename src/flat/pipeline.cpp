// Flat interface: pipelined calls. Each queued step calls the flat function of the same name
// with copies of the caller's inputs and the caller's output pointers, so that the checks and
// the copying out of results are exactly those of the single call.
#include "handle.hpp"

#include <utility>
#include <vector>

using tarvix_flat::bytesFrom;
using tarvix_flat::guard;
using tarvix_flat::inputValid;

struct TarvixSDK_Pipeline {
    TarvixSDK_Handle* handle;
    TarvixSDK::Pipeline pipeline;
    std::vector<StatusCode*> statuses; // per step, where its status goes (may be null)
};

namespace {

// Queues `call(handle)`, which calls a flat function; its status goes to `status` on run.
template <class Call>
StatusCode queue(TarvixSDK_Pipeline* p, StatusCode* status, Call call)
{
    if (p == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return guard([&] {
        p->statuses.push_back(status);
        p->pipeline.add([handle = p->handle, call = std::move(call)](TarvixSDK&) { return call(handle); });
        return StatusCode::SUCCESS;
    });
}

} // namespace

TarvixSDK_Pipeline* TarvixSDK_PipelineCreate(TarvixSDK_Handle* handle, uint32_t window)
{
    if (handle == nullptr) {
        return nullptr;
    }
    return guard([&] { return new TarvixSDK_Pipeline{handle, TarvixSDK::Pipeline(window), {}}; });
}

void TarvixSDK_PipelineDestroy(TarvixSDK_Pipeline* pipeline)
{
    delete pipeline;
}

StatusCode TarvixSDK_PipelineI2cRead(TarvixSDK_Pipeline* p, StatusCode* status, uint8_t bus, uint8_t targetAddress,
                                     const uint8_t* registerAddress, uint8_t registerAddressLength, uint16_t length,
                                     uint8_t* readData, bool flag)
{
    if (!inputValid(registerAddress, registerAddressLength)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return queue(p, status, [=, reg = bytesFrom(registerAddress, registerAddressLength)](TarvixSDK_Handle* h) {
        return TarvixSDK_I2cRead(h, bus, targetAddress, reg.data(), registerAddressLength, length, readData, flag);
    });
}

StatusCode TarvixSDK_PipelineI2cWrite(TarvixSDK_Pipeline* p, StatusCode* status, uint8_t bus, uint8_t targetAddress,
                                      const uint8_t* registerAddress, uint8_t registerAddressLength,
                                      const uint8_t* data, uint32_t dataLength, bool flag)
{
    if (!inputValid(registerAddress, registerAddressLength) || !inputValid(data, dataLength)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return queue(p, status,
                 [=, reg = bytesFrom(registerAddress, registerAddressLength),
                  bytes = bytesFrom(data, dataLength)](TarvixSDK_Handle* h) {
                     return TarvixSDK_I2cWrite(h, bus, targetAddress, reg.data(), registerAddressLength, bytes.data(),
                                               dataLength, flag);
                 });
}

StatusCode TarvixSDK_PipelineSpiTransfer(TarvixSDK_Pipeline* p, StatusCode* status, const uint8_t* txData,
                                         uint16_t txLength, uint8_t* rxBuffer, uint16_t length)
{
    if (!inputValid(txData, txLength)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return queue(p, status, [=, tx = bytesFrom(txData, txLength)](TarvixSDK_Handle* h) {
        return TarvixSDK_SpiTransfer(h, tx.data(), txLength, rxBuffer, length);
    });
}

StatusCode TarvixSDK_PipelineGpioDigitalRead(TarvixSDK_Pipeline* p, StatusCode* status, GpioPinNumber pin,
                                             GpioLogicLevel* level)
{
    return queue(p, status, [=](TarvixSDK_Handle* h) { return TarvixSDK_GpioDigitalRead(h, pin, level); });
}

StatusCode TarvixSDK_PipelineGpioDigitalWrite(TarvixSDK_Pipeline* p, StatusCode* status, GpioPinNumber pin,
                                              GpioLogicLevel level)
{
    return queue(p, status, [=](TarvixSDK_Handle* h) { return TarvixSDK_GpioDigitalWrite(h, pin, level); });
}

StatusCode TarvixSDK_PipelineRun(TarvixSDK_Pipeline* p)
{
    if (p == nullptr) {
        return StatusCode::INVALID_ARGUMENT;
    }
    if (p->handle == nullptr || !p->handle->sdk) {
        return StatusCode::NOT_CONNECTED;
    }
    return guard([&] {
        const std::vector<StatusCode> statuses = p->handle->sdk->runPipeline(p->pipeline);
        StatusCode first = StatusCode::SUCCESS;
        for (std::size_t i = 0; i < statuses.size(); ++i) {
            if (p->statuses[i] != nullptr) {
                *p->statuses[i] = statuses[i];
            }
            if (first == StatusCode::SUCCESS) {
                first = statuses[i];
            }
        }
        return first;
    });
}
