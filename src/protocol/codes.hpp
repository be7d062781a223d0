// Command and notification codes of the adapter protocol, grouped by family in their high byte.
// Each kind is an enumeration over the 16-bit code field; an enumerator converts to std::uint16_t
// wherever a frame is built or read.
#pragma once

#include <cstdint>

namespace tarvix_detail {
namespace cmd {

enum CommandCode : std::uint16_t {
    // Device and supply rails
    kResetDevice = 0x0401,
    kEnterBootMode = 0x0402,
    kSetI3cVoltage = 0x0404,
    kSetSharedVoltage = 0x0405,
    kGetUsbString = 0x0407,
    kGetAnalogMeasurements = 0x0409,
    kUseExternalI3cVoltage = 0x040A,
    kUseExternalSharedVoltage = 0x040B,
    // I2C
    kI2cSetPullUpResistors = 0x0802,
    kI2cControllerInit = 0x0901,
    kI2cSetParameters = 0x0902,
    kI2cWrite = 0x0904,
    kI2cRead = 0x0905,
    kI2cScanBus = 0x0906,
    // SPI
    kSpiControllerInit = 0x0D01,
    kSpiSetParameters = 0x0D02,
    kSpiTransfer = 0x0D04,
    // UART
    kUartDeinit = 0x1001,
    kUartInit = 0x1002,
    kUartSetParameters = 0x1003,
    kUartSendMessage = 0x1005,
    // GPIO
    kGpioConfigurePin = 0x1401,
    kGpioDigitalWrite = 0x1402,
    kGpioDigitalRead = 0x1403,
    kGpioConfigureInterrupt = 0x1404,
    kGpioDisableInterrupt = 0x1405,
    // I3C
    kI3cControllerInit = 0x1901,
    kI3cSetParameters = 0x1902,
    kI3cInitBus = 0x1904,
    kI3cResetBus = 0x1905,
    kI3cGetDeviceTable = 0x1906,
    kI3cSetTargetDeviceConfiguration = 0x1907,
    kI3cPrivateTransfer = 0x1908,
    kI3cCccTransfer = 0x1909,
    kI3cBusPattern = 0x190A,
};

// Frames with transaction id 0, sent by the adapter unasked.
enum NotificationCode : std::uint16_t {
    kNotifyUartRx = 0x1081,
    kNotifyGpioInterrupt = 0x1481,
    kNotifyI3cIbi = 0x1981,
    kNotifyI3cHotJoin = 0x1982,
};

} // namespace cmd
} // namespace tarvix_detail
