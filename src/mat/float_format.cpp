// A float is m x 2^e with an integer m < 2^24 and -149 <= e <= 104, so its exact value is known. printf
// rounds that exact value to six decimals ("%f") or seven significant digits ("%e"), ties to even. Both are
// round(m x 2^e x 10^p) for one integer p: 6 for "%f", 6 minus the decimal exponent for "%e". As
// 10^p = 5^p x 2^p, that is (m x 5^p) x 2^(e + p): a product of at most 24 + 119 bits (p <= 51) shifted by a
// power of two, so rounding is exact integer work on a 128-bit and a 64-bit word. Only "%e" of values of 10^7
// and more needs p < 0; those values are integers below 2^128, divided by 10^-p.

#include "mat/float_format.hpp"

#include <charconv>
#include <cstdint>
#include <cstring>

namespace vela {
namespace detail {
namespace {

using uint128 = unsigned __int128;

// A float's sign and exact value, mantissa x 2^exponent; `special` for NaN and the infinities.
struct Binary {
    bool negative;
    bool special;
    uint32_t mantissa;
    int exponent;
};

Binary decompose(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const uint32_t biased = (bits >> 23) & 0xFF;
    Binary binary{(bits >> 31) != 0, biased == 0xFF, bits & 0x7FFFFF, -149};
    if (biased != 0) {
        binary.mantissa |= 0x800000;  // the implicit leading bit of a normal number
        binary.exponent = static_cast<int>(biased) - 150;
    }
    return binary;
}

// The C library's words for NaN and the infinities, with the sign bit shown.
size_t writeSpecial(const Binary& binary, char* out) {
    char* end = out;
    if (binary.negative) *end++ = '-';
    std::memcpy(end, (binary.mantissa & 0x7FFFFF) != 0 ? "nan" : "inf", 3);
    return static_cast<size_t>(end + 3 - out);
}

// 5^0 .. 5^51: 10^51 brings the smallest subnormal (1.4e-45) to seven digits.
constexpr int kMaxPowerOfFive = 51;
struct PowersOfFive {
    uint128 value[kMaxPowerOfFive + 1];
    constexpr PowersOfFive() : value() {
        uint128 power = 1;
        for (int i = 0; i <= kMaxPowerOfFive; ++i) {
            value[i] = power;
            power *= 5;
        }
    }
};
constexpr PowersOfFive kFive;

// "00" .. "99", two characters each.
struct DigitPairs {
    char text[200];
    constexpr DigitPairs() : text() {
        for (int i = 0; i < 100; ++i) {
            text[2 * i] = static_cast<char>('0' + i / 10);
            text[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs kPairs;

char* writePair(unsigned value, char* out) {
    std::memcpy(out, kPairs.text + 2 * value, 2);
    return out + 2;
}

// Six digits, leading zeros included, of `value` < 10^6.
char* writeSixDigits(uint32_t value, char* out) {
    out = writePair(value / 10000, out);
    out = writePair(value / 100 % 100, out);
    return writePair(value % 100, out);
}

char* writeInteger(uint128 value, char* out) {
    constexpr uint64_t kTen19 = 10000000000000000000u;
    if ((value >> 64) == 0) return std::to_chars(out, out + 20, static_cast<uint64_t>(value)).ptr;
    out = writeInteger(value / kTen19, out);
    uint64_t low = static_cast<uint64_t>(value % kTen19);
    for (int i = 18; i >= 0; --i) {
        out[i] = static_cast<char>('0' + low % 10);
        low /= 10;
    }
    return out + 19;
}

// round((high x 2^64 + low) / 2^shift), ties to even, for shift >= 1; the result must fit in 64 bits.
uint64_t roundedShift(uint128 high, uint64_t low, unsigned shift) {
    uint64_t quotient;
    uint64_t half;
    bool below;
    if (shift < 64) {
        quotient = (low >> shift) | static_cast<uint64_t>(high << (64 - shift));
        half = (low >> (shift - 1)) & 1;
        below = (low & ((uint64_t{1} << (shift - 1)) - 1)) != 0;
    } else if (shift == 64) {
        quotient = static_cast<uint64_t>(high);
        half = low >> 63;
        below = (low << 1) != 0;
    } else {
        const unsigned highShift = shift - 64;
        quotient = static_cast<uint64_t>(high >> highShift);
        half = static_cast<uint64_t>(high >> (highShift - 1)) & 1;
        below = (high & ((uint128{1} << (highShift - 1)) - 1)) != 0 || low != 0;
    }
    return quotient + (half & ((below ? 1 : 0) | (quotient & 1)));
}

// round(mantissa x 2^exponent x 10^power), ties to even. The result must fit in 64 bits; a negative power
// is only asked for integers (exponent >= 0).
uint64_t roundScaled(uint32_t mantissa, int exponent, int power) {
    if (power < 0) {
        const uint128 numerator = static_cast<uint128>(mantissa) << exponent;
        const uint128 divisor = kFive.value[-power] << -power;
        const uint128 quotient = numerator / divisor;
        const uint128 twiceRemainder = 2 * (numerator - quotient * divisor);
        const bool up = twiceRemainder > divisor || (twiceRemainder == divisor && (quotient & 1) != 0);
        return static_cast<uint64_t>(quotient) + up;
    }
    // mantissa x 5^power = high x 2^64 + low, below 2^143.
    const uint128 five = kFive.value[power];
    const uint128 product = static_cast<uint128>(mantissa) * static_cast<uint64_t>(five);
    const uint128 high = static_cast<uint128>(mantissa) * static_cast<uint64_t>(five >> 64) + (product >> 64);
    const int shift = exponent + power;
    // An exact integer; it fits in 64 bits, so the product does too.
    if (shift >= 0) return static_cast<uint64_t>(product) << shift;
    return roundedShift(high, static_cast<uint64_t>(product), static_cast<unsigned>(-shift));
}

}  // namespace

size_t formatFixed6(float value, char* out) {
    const Binary binary = decompose(value);
    if (binary.special) return writeSpecial(binary, out);
    // Written unconditionally and kept or overwritten: the sign of point coordinates is unpredictable.
    *out = '-';
    char* end = out + binary.negative;
    if (binary.exponent >= 0) {
        // An integer, up to 2^128: nothing to round.
        end = writeInteger(static_cast<uint128>(binary.mantissa) << binary.exponent, end);
        std::memcpy(end, ".000000", 7);
        return static_cast<size_t>(end + 7 - out);
    }
    // Below 2^24, so the value in millionths, m x 10^6 / 2^-e, stays below 2^44.
    const uint64_t millionths =
        roundedShift(0, uint64_t{binary.mantissa} * 1000000, static_cast<unsigned>(-binary.exponent));
    end = std::to_chars(end, end + 20, millionths / 1000000).ptr;
    *end++ = '.';
    end = writeSixDigits(static_cast<uint32_t>(millionths % 1000000), end);
    return static_cast<size_t>(end - out);
}

size_t formatExponent6(float value, char* out) {
    const Binary binary = decompose(value);
    if (binary.special) return writeSpecial(binary, out);
    *out = '-';
    char* end = out + binary.negative;
    int exponent10 = 0;
    uint64_t digits = 0;  // seven significant digits: the text is digits x 10^(exponent10 - 6)
    if (binary.mantissa != 0) {
        const int log2 = binary.exponent + 31 - __builtin_clz(binary.mantissa);
        // floor(log2 x log10(2)), exact over the float range: 10^exponent10 <= value < 2 x 10^(exponent10 +
        // 1).
        exponent10 = (log2 * 78913) >> 18;
        digits = roundScaled(binary.mantissa, binary.exponent, 6 - exponent10);
        if (digits >= 10000000) {
            // One more decimal digit, or rounded up to one: the next exponent, rounded from the exact value.
            ++exponent10;
            digits = roundScaled(binary.mantissa, binary.exponent, 6 - exponent10);
        }
    }
    *end++ = static_cast<char>('0' + digits / 1000000);
    *end++ = '.';
    end = writeSixDigits(static_cast<uint32_t>(digits % 1000000), end);
    *end++ = 'e';
    *end++ = exponent10 < 0 ? '-' : '+';
    end = writePair(static_cast<unsigned>(exponent10 < 0 ? -exponent10 : exponent10), end);  // |.| <= 45
    return static_cast<size_t>(end - out);
}

}  // namespace detail
}  // namespace vela
