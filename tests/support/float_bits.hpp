#pragma once

// Floats compared by their bits: the content of a Mat's side, random floats of every magnitude, and an
// assertion that names the first float that differs.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace vela {
namespace test {

inline uint32_t bitsOf(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline float fromBits(uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// The floats of side `side` of `mat` (CPU or GPU), rows packed; the GPU side is copied through a host Mat,
/// and the host side is read once the device's work is done (managed or mapped memory).
inline std::vector<float> floatsOf(const Mat& mat, MEM side = MEM::CPU) {
    Mat host;
    if (side == MEM::GPU) {
        EXPECT_EQ(mat.copyTo(host, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
    } else {
        cudaDeviceSynchronize();
        host.ref(mat);
    }
    const size_t rowFloats = mat.getWidth() * mat.getChannels();
    std::vector<float> values(rowFloats * mat.getHeight());
    for (size_t y = 0; host.cpuBuffer != nullptr && y < mat.getHeight(); ++y)
        std::memcpy(&values[y * rowFloats], host.cpuBuffer.get() + y * host.stepCPU,
                    rowFloats * sizeof(float));
    return values;
}

/// `count` non-zero finite floats of every magnitude, subnormals included; with four channels every fourth
/// float is a packed colour whose unused byte is 0 (subnormal or tiny) or 255 (NaN half of the time).
inline std::vector<float> randomFloats(size_t count, size_t channels, std::mt19937& random) {
    std::vector<float> values(count);
    for (size_t i = 0; i < count; ++i) {
        uint32_t bits = static_cast<uint32_t>(random());
        if (channels == 4 && i % 4 == 3)
            bits = (bits & 0x00FFFFFF) | (i % 8 == 3 ? 0xFF000000 : 0);
        else if ((bits & 0x7F800000) == 0x7F800000 || (bits & 0x7FFFFFFF) == 0)
            bits = 0x3F800000 | (bits & 0x807FFFFF);  // not NaN, infinite or zero: a value in [1, 2)
        values[i] = fromBits(bits);
    }
    return values;
}

inline ::testing::AssertionResult sameBits(const std::vector<float>& actual,
                                           const std::vector<float>& expected) {
    if (actual.size() != expected.size()) return ::testing::AssertionFailure() << "sizes differ";
    for (size_t i = 0; i < actual.size(); ++i) {
        if (bitsOf(actual[i]) != bitsOf(expected[i]))
            return ::testing::AssertionFailure() << "float " << i << ": " << std::hex << bitsOf(actual[i])
                                                 << " instead of " << bitsOf(expected[i]);
    }
    return ::testing::AssertionSuccess();
}

}  // namespace test
}  // namespace vela
