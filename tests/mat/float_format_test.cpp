// The point-cloud writers' "%f" and "%e" text of floats, against the C library's snprintf of the float
// promoted to double, and against a few values worked by hand.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "formats/float_format.hpp"

namespace vela {
namespace {

float fromBits(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

std::string fixed(float value) {
    char text[detail::kFixed6MaxLength];
    return std::string(text, detail::formatFixed6(value, text));
}

std::string exponent(float value) {
    char text[detail::kExponent6MaxLength];
    return std::string(text, detail::formatExponent6(value, text));
}

std::string printed(const char* format, float value) {
    char text[64];
    std::snprintf(text, sizeof text, format, static_cast<double>(value));
    return text;
}

// Both texts of `value` equal snprintf's.
::testing::AssertionResult matchesPrintf(float value) {
    const std::string wantFixed = printed("%f", value);
    const std::string wantExponent = printed("%e", value);
    const std::string gotFixed = fixed(value);
    const std::string gotExponent = exponent(value);
    if (gotFixed == wantFixed && gotExponent == wantExponent) return ::testing::AssertionSuccess();
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return ::testing::AssertionFailure()
           << "bits 0x" << std::hex << bits << ": \"" << gotFixed << "\" / \"" << gotExponent
           << "\", printf gives \"" << wantFixed << "\" / \"" << wantExponent << "\"";
}

TEST(FloatFormat, hand_worked_values) {
    // 1/128 and 3/128 have seven decimals ending in 5: ties, rounded to the even neighbour.
    EXPECT_EQ(fixed(0.0078125f), "0.007812");
    EXPECT_EQ(fixed(0.0234375f), "0.023438");
    EXPECT_EQ(fixed(-0.0078125f), "-0.007812");
    EXPECT_EQ(exponent(1.0078125f), "1.007812e+00");
    EXPECT_EQ(exponent(12345675.0f), "1.234568e+07");
    EXPECT_EQ(exponent(12345665.0f), "1.234566e+07");
    // Rounding carries into the next power of ten.
    EXPECT_EQ(exponent(0.00001f), "1.000000e-05");
    EXPECT_EQ(exponent(99999997952.0f), "1.000000e+11");
    // Signs survive rounding to zero.
    EXPECT_EQ(fixed(-0.0f), "-0.000000");
    EXPECT_EQ(fixed(-1e-10f), "-0.000000");
    EXPECT_EQ(exponent(0.0f), "0.000000e+00");
    EXPECT_EQ(exponent(-0.0f), "-0.000000e+00");
    // The extremes: the largest float is an integer of 39 digits; the smallest subnormal is 2^-149.
    EXPECT_EQ(fixed(-std::numeric_limits<float>::max()), "-340282346638528859811704183484516925440.000000");
    EXPECT_EQ(fixed(-std::numeric_limits<float>::max()).size(), detail::kFixed6MaxLength);
    EXPECT_EQ(exponent(-std::numeric_limits<float>::max()), "-3.402823e+38");
    EXPECT_EQ(exponent(-std::numeric_limits<float>::max()).size(), detail::kExponent6MaxLength);
    EXPECT_EQ(exponent(std::numeric_limits<float>::denorm_min()), "1.401298e-45");
    EXPECT_EQ(fixed(16777216.0f), "16777216.000000");
}

TEST(FloatFormat, nan_and_infinities_print_as_the_c_library_does) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    for (float value : {nan, -nan, infinity, -infinity, fromBits(0x7F800001), fromBits(0xFFFFFFFF)})
        EXPECT_TRUE(matchesPrintf(value));
    EXPECT_EQ(fixed(-infinity), "-inf");
    EXPECT_EQ(exponent(nan), "nan");
}

// Every six-digit fraction, every exponent with edge mantissas, random bit patterns and subnormals, and
// values halfway between two results.
TEST(FloatFormat, sweeps_match_printf) {
    // 1 + i x 10^-6 rounded to a float still prints the fraction i: all 10^6 fractions come up.
    for (int i = 0; i < 1000000; ++i)
        ASSERT_TRUE(matchesPrintf(1.0f + static_cast<float>(i) * 1e-6f));
    const uint32_t mantissas[] = {0, 1, 2, 0x3FFFFF, 0x400000, 0x400001, 0x7FFFFE, 0x7FFFFF, 0x2AAAAA};
    for (uint32_t biased = 0; biased < 255; ++biased)
        for (uint32_t mantissa : mantissas)
            for (uint32_t sign : {0u, 0x80000000u})
                ASSERT_TRUE(matchesPrintf(fromBits(sign | biased << 23 | mantissa)));
    std::mt19937 random(7);
    for (int i = 0; i < 300000; ++i) {
        ASSERT_TRUE(matchesPrintf(fromBits(static_cast<uint32_t>(random()))));
        ASSERT_TRUE(matchesPrintf(fromBits(static_cast<uint32_t>(random()) & 0x807FFFFF)));
    }
    for (int i = 0; i < 50000; ++i) {
        // Odd multiples of 2^-7 end in a 5 at the seventh decimal: "%f" ties.
        const float fixedTie = static_cast<float>(random() % (1u << 23) * 2 + 1) / 128.0f;
        ASSERT_EQ(printed("%.8f", fixedTie).substr(printed("%.8f", fixedTie).size() - 2), "50");
        ASSERT_TRUE(matchesPrintf(fixedTie));
        ASSERT_TRUE(matchesPrintf(-fixedTie));
        // Eight-digit integers ending in 5 are "%e" ties.
        const float exponentTie = static_cast<float>(10000005 + random() % 677721 * 10);
        ASSERT_EQ(printed("%.7e", exponentTie).substr(2, 7).back(), '5');
        ASSERT_TRUE(matchesPrintf(exponentTie));
    }
    // Exact binary fractions around every scale, ties among them.
    for (uint32_t odd = 1; odd < 4096; odd += 2)
        for (int shift = -30; shift <= 40; ++shift)
            ASSERT_TRUE(matchesPrintf(std::ldexp(static_cast<float>(odd), -shift)));
}

}  // namespace
}  // namespace vela
