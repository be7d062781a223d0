// Command and notification codes of the adapter protocol, grouped by family in their high byte.
#pragma once

#include <cstdint>

namespace tarvix_detail {
namespace cmd {

// Device and supply rails
constexpr std::uint16_t kResetDevice = 0x0401;
constexpr std::uint16_t kEnterBootMode = 0x0402;
constexpr std::uint16_t kSetI3cVoltage = 0x0404;
constexpr std::uint16_t kSetSharedVoltage = 0x0405;
constexpr std::uint16_t kGetUsbString = 0x0407;
constexpr std::uint16_t kGetAnalogMeasurements = 0x0409;
constexpr std::uint16_t kUseExternalI3cVoltage = 0x040A;
constexpr std::uint16_t kUseExternalSharedVoltage = 0x040B;
// I2C
constexpr std::uint16_t kI2cSetPullUpResistors = 0x0802;
constexpr std::uint16_t kI2cControllerInit = 0x0901;
constexpr std::uint16_t kI2cSetParameters = 0x0902;
constexpr std::uint16_t kI2cWrite = 0x0904;
constexpr std::uint16_t kI2cRead = 0x0905;
constexpr std::uint16_t kI2cScanBus = 0x0906;
// SPI
constexpr std::uint16_t kSpiControllerInit = 0x0D01;
constexpr std::uint16_t kSpiSetParameters = 0x0D02;
constexpr std::uint16_t kSpiTransfer = 0x0D04;
// UART
constexpr std::uint16_t kUartDeinit = 0x1001;
constexpr std::uint16_t kUartInit = 0x1002;
constexpr std::uint16_t kUartSetParameters = 0x1003;
constexpr std::uint16_t kUartSendMessage = 0x1005;
// GPIO
constexpr std::uint16_t kGpioConfigurePin = 0x1401;
constexpr std::uint16_t kGpioDigitalWrite = 0x1402;
constexpr std::uint16_t kGpioDigitalRead = 0x1403;
constexpr std::uint16_t kGpioConfigureInterrupt = 0x1404;
constexpr std::uint16_t kGpioDisableInterrupt = 0x1405;
// I3C
constexpr std::uint16_t kI3cControllerInit = 0x1901;
constexpr std::uint16_t kI3cSetParameters = 0x1902;
constexpr std::uint16_t kI3cInitBus = 0x1904;
constexpr std::uint16_t kI3cResetBus = 0x1905;
constexpr std::uint16_t kI3cGetDeviceTable = 0x1906;
constexpr std::uint16_t kI3cSetTargetDeviceConfiguration = 0x1907;
constexpr std::uint16_t kI3cPrivateTransfer = 0x1908;
constexpr std::uint16_t kI3cCccTransfer = 0x1909;
constexpr std::uint16_t kI3cBusPattern = 0x190A;

// Notification codes (frames with transaction id 0)
constexpr std::uint16_t kNotifyUartRx = 0x1081;
constexpr std::uint16_t kNotifyGpioInterrupt = 0x1481;
constexpr std::uint16_t kNotifyI3cIbi = 0x1981;
constexpr std::uint16_t kNotifyI3cHotJoin = 0x1982;

} // namespace cmd
} // namespace tarvix_detail
