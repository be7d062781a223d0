/**
 * @file targets.hpp
 * @brief The bench around a virtual adapter: what is attached to its pins.
 *
 * The firmware model keeps the adapter's own state (rail settings, pin
 * functions, controller settings, whether the UART is open); the functions
 * here change and inspect what sits outside it: I2C targets, SPI flash
 * chips, jumpers between GPIO pins, a level driven onto a pin, bytes arriving
 * on the UART, a supply connected to a rail.
 *
 * Unless AdapterConfig::bench is false, every adapter starts with this bench:
 * - I2C bus 0: a temperature sensor at 0x48 and a 256-byte EEPROM at 0x50;
 * - SPI chip select 0: a 64-KiB NOR flash;
 * - GPIO 0 and GPIO 1 joined by a jumper;
 * - UART TX looped back to RX.
 *
 * A reset command (or replug()) restarts the adapter's own state: rails back
 * to 3300 mV (shared) and 1800 mV (I3C) from the regulators, all pins
 * inputs with no interrupt armed, I2C ports, SPI controller and UART
 * uninitialised. The bench stays as it is, memory contents included.
 *
 * What the firmware accepts, and the DeviceStatus it answers otherwise:
 * - rails: 1200..3300 mV on either rail (VOLTAGE_OUT_OF_RANGE); external flag 0 or 1.
 *   The analog measurement reports the regulator's voltage, or with the external
 *   flag set the external supply (setExternalSupply(), 0 mV when nothing is
 *   connected); both I3C readings report the I3C rail.
 * - GPIO: pins 0..7 (INVALID_PARAMETER), functions 0..3 and triggers 1..3
 *   (UNSUPPORTED_SETTING), levels 0..1. Only an output can be written, a disabled
 *   pin cannot be read, and an interrupt can be armed only on a pin configured as
 *   DIGITAL_INTERRUPT (PIN_FUNCTION_MISMATCH). An armed pin raises one
 *   GPIO_INTERRUPT notification (payload: the pin number) for every level change
 *   matching its trigger, whether a write to the pin wired to it or gpioDrive()
 *   made it.
 * - I2C: buses 0..1; frequency 1000..1000000 Hz and pull-up selection 0..3
 *   (UNSUPPORTED_SETTING); transfers, scan and set-parameters need init
 *   (I2C_BUS_NOT_INITIALISED); an address nobody answers gives I2C_NACK. A read
 *   answers u16 count and the target address at offsets 6..8, the bytes from 9;
 *   a scan answers the bus at offset 6, the count of 7-bit addresses at 7, 0 at 8,
 *   the addresses (ascending) from 9.
 * - SPI: bit order 0..1, mode 0..3, width 8 or 16, chip select 0..3, polarity
 *   0..1, frequency 1..50000000 Hz (UNSUPPORTED_SETTING); transfers need init
 *   (SPI_NOT_INITIALISED). A transfer clocks max(data count, transfer length)
 *   bytes, 0x00 after the data, and answers every byte clocked in; a line with no
 *   chip, or the polarity set active high (the flashes select active low),
 *   reads 0xFF.
 * - UART: baud index 0..14, handshake 0..1, parity 0..2, data bits 7..8, stop
 *   bits 1..2 (UNSUPPORTED_SETTING); send and set-parameters need an open port
 *   (UART_NOT_INITIALISED). Received bytes arrive as UART_RX notifications, each
 *   small enough for one report (54 bytes on a 64-byte adapter, 1014 on a
 *   1024-byte one); with seven data bits the top bit of each byte is lost.
 *
 * Threads: as the rest of the control API, callable from any thread. Functions
 * that raise notifications (gpioDrive, uartReceive) queue them for every open
 * handle before they return. Invalid pin, bus, address or chip-select numbers
 * throw std::invalid_argument.
 */
#pragma once

#include <cstdint>
#include <optional>

#include "tarvix_virtual/virtual_adapter.hpp"

namespace tarvix_virtual {

/// @name Rails
/// @{

/// One of the adapter's two supply rails.
enum class Rail : std::uint8_t {
    SHARED = 0, ///< the I2C/SPI/UART/GPIO rail
    I3C = 1     ///< the I3C rail
};

/// What the firmware holds for one rail, and what it measures on it.
struct RailState {
    std::uint16_t setMillivolts;      ///< what the regulator makes
    bool external;                    ///< the supply is taken from outside
    std::uint16_t externalMillivolts; ///< what is connected outside
    std::uint16_t measuredMillivolts; ///< what the analog measurement reports
};

/// What the firmware holds for @p rail and what it measures on it.
TARVIX_VIRTUAL_API RailState railState(const VirtualAdapter& adapter, Rail rail);
/// Connects an external supply of @p millivolts to @p rail (0: disconnects it).
TARVIX_VIRTUAL_API void setExternalSupply(const VirtualAdapter& adapter, Rail rail, std::uint16_t millivolts);
/// @}

/// @name GPIO
/// @{

/// Puts a jumper between pins @p a and @p b (each loses any jumper it had): an output
/// on one shows on the other. A pin joined to itself just loses its jumper.
TARVIX_VIRTUAL_API void gpioWire(const VirtualAdapter& adapter, std::uint8_t a, std::uint8_t b);
/// Removes the jumper on @p pin, if any.
TARVIX_VIRTUAL_API void gpioUnwire(const VirtualAdapter& adapter, std::uint8_t pin);
/// Drives @p pin from outside (low by default). Seen by reads of the pin unless it is an
/// output or wired to one; raises the pin's interrupt if the change matches its trigger.
TARVIX_VIRTUAL_API void gpioDrive(const VirtualAdapter& adapter, std::uint8_t pin, bool high);
/// The level on @p pin as the firmware reads it.
TARVIX_VIRTUAL_API bool gpioLevel(const VirtualAdapter& adapter, std::uint8_t pin);
/// @}

/// @name I2C
/// @{

/// What the firmware holds for one I2C port.
struct I2cBusState {
    bool initialised;        ///< init came (and no reset since)
    std::uint32_t frequency; ///< Hz
    std::uint8_t option;     ///< third byte of init, as sent
    std::uint8_t pullUp;     ///< pull-up selection, 0 = none
};

/// What the firmware holds for I2C port @p bus (0 or 1).
TARVIX_VIRTUAL_API I2cBusState i2cBusState(const VirtualAdapter& adapter, std::uint8_t bus);
/// Attaches a 24C02-like EEPROM (256 bytes, erased to 0xFF, 8-byte write pages) at the
/// 7-bit @p address, replacing whatever answered there.
TARVIX_VIRTUAL_API void i2cAttachEeprom(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address);
/// Attaches a TMP102-like temperature sensor at @p address: pointer byte 0..3 selects the
/// 16-bit registers temperature (read-only; 25 °C), configuration, low and high limit,
/// each read and written most significant byte first.
TARVIX_VIRTUAL_API void i2cAttachTemperatureSensor(const VirtualAdapter& adapter, std::uint8_t bus,
                                                   std::uint8_t address);
/// Removes the target at @p address, if any; it is NACKed from now on.
TARVIX_VIRTUAL_API void i2cDetach(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address);
/// The 256 bytes of the EEPROM at @p address, or std::nullopt if there is none.
TARVIX_VIRTUAL_API std::optional<Bytes> i2cEepromContents(const VirtualAdapter& adapter, std::uint8_t bus,
                                                          std::uint8_t address);
/// Sets the temperature the sensor at @p address measures, in thousandths of a degree
/// Celsius (kept in the register's 1/16 °C steps, rounded toward zero). False if there is
/// no sensor there.
TARVIX_VIRTUAL_API bool i2cSetTemperature(const VirtualAdapter& adapter, std::uint8_t bus, std::uint8_t address,
                                          std::int32_t milliCelsius);
/// @}

/// @name SPI
/// @{

/// Attaches a 64-KiB NOR flash (JEDEC ID EF 30 10, erased to 0xFF) to @p chipSelect,
/// replacing the chip that was there.
TARVIX_VIRTUAL_API void spiAttachFlash(const VirtualAdapter& adapter, std::uint8_t chipSelect);
/// Removes the chip on @p chipSelect, if any; the line then reads 0xFF.
TARVIX_VIRTUAL_API void spiDetach(const VirtualAdapter& adapter, std::uint8_t chipSelect);
/// The contents of the flash on @p chipSelect, or std::nullopt if there is none.
TARVIX_VIRTUAL_API std::optional<Bytes> spiFlashContents(const VirtualAdapter& adapter, std::uint8_t chipSelect);
/// @}

/// @name UART
/// @{

/// Wires TX back to RX (on) or leaves TX unconnected (off).
TARVIX_VIRTUAL_API void uartSetLoopback(const VirtualAdapter& adapter, bool on);
/// The far end sends @p bytes: while the port is open they arrive as UART_RX notifications,
/// cut to fit one report each; true then. While it is closed they are lost; false.
TARVIX_VIRTUAL_API bool uartReceive(const VirtualAdapter& adapter, const Bytes& bytes);
/// Whether the port is open (initialised and not deinitialised since).
TARVIX_VIRTUAL_API bool uartOpen(const VirtualAdapter& adapter);
/// @}

} // namespace tarvix_virtual
