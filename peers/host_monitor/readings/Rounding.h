#pragma once

#include <cstdint>

// Values are told no finer than this, so that noise is no change.
namespace tarn::peers::host_monitor {

/// To a tenth.
double toTenths(double value);

/// To a half: for temperatures.
double toHalves(double value);

/// Of `whole`, in percent and tenths, 0 to 100; 0 of nothing.
double percentOf(double part, double whole);

/// Down to a thousandth of `whole`.
std::uint64_t toThousandths(std::uint64_t part, std::uint64_t whole);

/// To three digits that count: 123456 becomes 123000.
std::uint64_t toThreeDigits(double value);

}  // namespace tarn::peers::host_monitor
