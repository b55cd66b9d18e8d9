#pragma once

// The fourth float of an F32_C4 point: red, green and blue in its bytes 0, 1 and 2, byte 3 zero.

#include <cstring>

namespace vela {
namespace test {

inline float colour(unsigned char red, unsigned char green, unsigned char blue) {
    const unsigned char bytes[4] = {red, green, blue, 0};
    float packed;
    std::memcpy(&packed, bytes, sizeof packed);
    return packed;
}

}  // namespace test
}  // namespace vela
