#pragma once

// Exact "%f" and "%e" text of a float, as printf gives it for the float promoted to double, without going
// through printf: the point-cloud writers format millions of numbers and this is where their time goes.

#include <cstddef>

namespace vela {
namespace detail {

/// Longest text of formatFixed6: a sign, 39 integer digits (3.4e38), the point and six decimals.
inline constexpr size_t kFixed6MaxLength = 47;
/// Longest text of formatExponent6: "-d.dddddde+dd".
inline constexpr size_t kExponent6MaxLength = 13;

/// Writes the text of printf("%f", value) at `out` (no terminating null) and returns its length, at most
/// kFixed6MaxLength. NaN and infinities give "nan", "-nan", "inf", "-inf", as the C library prints them.
size_t formatFixed6(float value, char* out);

/// Writes the text of printf("%e", value) at `out` (no terminating null) and returns its length, at most
/// kExponent6MaxLength. NaN and infinities as formatFixed6.
size_t formatExponent6(float value, char* out);

}  // namespace detail
}  // namespace vela
