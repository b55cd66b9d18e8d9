// A float is m x 2^e with an integer m < 2^24 and -149 <= e <= 104, so its exact value is known. printf
// rounds that exact value to six decimals ("%f") or seven significant digits ("%e"), ties to even: both are
// round(m x 2^e x 10^p) for one integer p, 6 for "%f" and 6 minus the decimal exponent for "%e". As
// 10^p = 5^p x 2^p, the product is (m x 5^p) x 2^(e + p), at most 24 + 119 bits (p <= 51) shifted by a
// power of two. It is kept to 8 bits below the point, with a flag for any bit dropped further down, which
// decides the rounding exactly. Only "%e" of values of 10^7 and more needs p < 0; those are integers below
// 2^128, divided by 10^-p. Digits come from tables of pairs; the hot paths have no data-dependent branch.

#include "formats/float_format.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vela {
namespace detail {
namespace {

using uint128 = unsigned __int128;

// A float's exact value, mantissa x 2^exponent, with its sign and NaN or infinity read from its bits.
struct Binary {
    uint32_t bits;
    uint32_t mantissa;
    int exponent;

    bool negative() const { return (bits >> 31) != 0; }
    bool special() const { return (bits & 0x7F800000) == 0x7F800000; }
};

Binary decompose(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const uint32_t biased = (bits >> 23) & 0xFF;
    // A normal number has an implicit leading bit; a subnormal one has the exponent of the smallest normal.
    // Packed colours are either, unpredictably, hence no branch.
    const uint32_t normal = biased != 0 ? 1 : 0;
    return {bits, (bits & 0x7FFFFF) | normal << 23, static_cast<int>(biased + (1 - normal)) - 150};
}

// The C library's words for NaN and the infinities, with the sign bit shown.
size_t writeSpecial(const Binary& binary, char* out) {
    char* end = out;
    if (binary.negative()) *end++ = '-';
    std::memcpy(end, (binary.bits & 0x7FFFFF) != 0 ? "nan" : "inf", 3);
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
        for (std::size_t i = 0; i < 100; ++i) {
            text[2 * i] = static_cast<char>('0' + i / 10);
            text[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
    }
};
constexpr DigitPairs kPairs;

char* writePair(unsigned value, char* out) {
    std::memcpy(out, kPairs.text + 2 * std::size_t{value}, 2);
    return out + 2;
}

// Six digits, leading zeros included, of `value` < 10^6. value / 10^4 as a 32.32 fixed-point number gives
// the first pair in its integer part; each further pair is the integer part of the fraction times 100. With
// the factor ceil(2^32 / 10^4) this is exact for every value below 10^6 (checked exhaustively), and it is a
// chain of three multiplications where divisions would be six.
char* writeSixDigits(uint32_t value, char* out) {
    uint64_t fixed = uint64_t{value} * 429497;
    out = writePair(static_cast<unsigned>(fixed >> 32), out);
    fixed = (fixed & 0xFFFFFFFF) * 100;
    out = writePair(static_cast<unsigned>(fixed >> 32), out);
    fixed = (fixed & 0xFFFFFFFF) * 100;
    return writePair(static_cast<unsigned>(fixed >> 32), out);
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

// Digits of `value` without leading zeros. Coordinates mostly have one or two integer digits.
char* writeUnsigned(uint64_t value, char* out) {
    if (value < 10) {
        *out = static_cast<char>('0' + value);
        return out + 1;
    }
    if (value < 100) return writePair(static_cast<unsigned>(value), out);
    return std::to_chars(out, out + 20, value).ptr;
}

// A value x 10^power kept to 8 bits below the point: enough to round it to an integer, or to a tenth of
// that, exactly.
constexpr int kGuardBits = 8;
struct Scaled {
    uint64_t fixed;  ///< floor(value x 10^power x 2^8)
    bool inexact;    ///< the floor dropped a non-zero remainder
};

// n x 2^exponent to 8 bits below the point; its integer part must be below 2^56.
Scaled shifted(uint64_t n, int exponent) {
    const int drop = -(exponent + kGuardBits);
    if (drop <= 0) return {n << -drop, false};
    if (drop >= 64) return {0, n != 0};
    return {n >> drop, (n << (64 - drop)) != 0};
}

// mantissa x 2^exponent x 10^power, to 8 bits below the point; its integer part must be below 2^56. A
// negative power is only asked for integers (exponent >= 0).
Scaled scale(uint32_t mantissa, int exponent, int power) {
    if (power < 0) {
        const uint128 numerator = static_cast<uint128>(mantissa) << exponent;
        const uint128 divisor = kFive.value[-power] << -power;
        const uint128 remainder = (numerator % divisor) << kGuardBits;
        return {static_cast<uint64_t>(numerator / divisor) << kGuardBits |
                    static_cast<uint64_t>(remainder / divisor),
                remainder % divisor != 0};
    }
    // mantissa x 5^power = high x 2^64 + low, below 2^143; then shifted by exponent + power + 8.
    const uint128 five = kFive.value[power];
    const uint128 product = static_cast<uint128>(mantissa) * static_cast<uint64_t>(five);
    const uint128 high = static_cast<uint128>(mantissa) * static_cast<uint64_t>(five >> 64) + (product >> 64);
    const uint64_t low = static_cast<uint64_t>(product);
    if (high == 0) return shifted(low, exponent + power);
    const int drop = -(exponent + power + kGuardBits);  // at least 8: the value is 2^64 or more
    if (drop < 64)
        return {(low >> drop) | static_cast<uint64_t>(high << (64 - drop)), (low << (64 - drop)) != 0};
    const unsigned highDrop = static_cast<unsigned>(drop - 64);
    const bool highDropped = highDrop > 0 && (high << (128 - highDrop)) != 0;
    return {static_cast<uint64_t>(high >> highDrop), low != 0 || highDropped};
}

// round(scaled value / divisor), ties to even.
uint64_t rounded(Scaled scaled, uint64_t divisor) {
    const uint64_t unit = divisor << kGuardBits;
    const uint64_t quotient = scaled.fixed / unit;
    const uint64_t remainder = scaled.fixed % unit;
    const uint64_t half = unit / 2;
    // Up when above half, or at half with something dropped below or an odd quotient; written as one
    // comparison because the digits of coordinates make any branch here unpredictable.
    return quotient + (remainder + ((scaled.inexact ? 1 : 0) | (quotient & 1)) > half);
}

}  // namespace

size_t formatFixed6(float value, char* out) {
    const Binary binary = decompose(value);
    if (binary.special()) return writeSpecial(binary, out);
    // Written unconditionally and kept or overwritten: the sign of point coordinates is unpredictable.
    *out = '-';
    char* end = out + binary.negative();
    if (binary.exponent >= 0) {
        // An integer, up to 2^128: nothing to round.
        end = writeInteger(static_cast<uint128>(binary.mantissa) << binary.exponent, end);
        std::memcpy(end, ".000000", 7);
        return static_cast<size_t>(end + 7 - out);
    }
    // Below 2^24: the integer part is the mantissa's high bits, the fraction its low bits; a value below 1
    // has every bit in the fraction (a shift by 32 keeps it branch-free).
    const unsigned fractionBits = std::min(static_cast<unsigned>(-binary.exponent), 32u);
    uint64_t whole = uint64_t{binary.mantissa} >> fractionBits;
    const uint64_t fraction = binary.mantissa & ((uint64_t{1} << fractionBits) - 1);
    // fraction x 10^6 is below 2^44. Rounding ties to the even millionth, whose parity is the fraction's.
    uint64_t millionths = rounded(shifted(fraction * 1000000, binary.exponent), 1);
    if (millionths == 1000000) {
        // 0.9999995 or more of a unit rounds up to the next one.
        ++whole;
        millionths = 0;
    }
    end = writeUnsigned(whole, end);
    *end++ = '.';
    end = writeSixDigits(static_cast<uint32_t>(millionths), end);
    return static_cast<size_t>(end - out);
}

size_t formatExponent6(float value, char* out) {
    const Binary binary = decompose(value);
    if (binary.special()) return writeSpecial(binary, out);
    *out = '-';
    char* end = out + binary.negative();
    int exponent10 = 0;
    uint64_t digits = 0;  // seven significant digits: the text is digits x 10^(exponent10 - 6)
    if (binary.mantissa != 0) {
        const int log2 = binary.exponent + 31 - __builtin_clz(binary.mantissa);
        // floor(log2 x log10(2)), exact over the float range: 10^exponent10 <= value < 2 x 10^(exponent10 +
        // 1).
        exponent10 = (log2 * 78913) >> 18;
        const Scaled scaled = scale(binary.mantissa, binary.exponent, 6 - exponent10);
        digits = rounded(scaled, 1);
        // An eighth digit, or rounded up to one: the next exponent, rounded from the same exact value. Both
        // roundings are made, since which one holds is as unpredictable as the digits.
        const uint64_t tenths = rounded(scaled, 10);
        const bool next = digits >= 10000000;
        exponent10 += next;
        digits = next ? tenths : digits;
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
