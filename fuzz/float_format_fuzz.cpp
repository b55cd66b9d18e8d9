// The point-cloud writer's number formatting against snprintf, on arbitrary float bit patterns.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "formats/float_format.hpp"

namespace {

template <size_t N>
void check(float value, const char* format, size_t (*formatter)(float, char*)) {
    char expected[64];
    const int length = std::snprintf(expected, sizeof(expected), format, static_cast<double>(value));
    char actual[N + 1];
    const size_t written = formatter(value, actual);
    if (written > N || written != static_cast<size_t>(length) ||
        std::memcmp(actual, expected, written) != 0) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (size_t offset = 0; offset + sizeof(float) <= size; offset += sizeof(float)) {
        float value;
        std::memcpy(&value, data + offset, sizeof(value));
        check<vela::detail::kFixed6MaxLength>(value, "%f", vela::detail::formatFixed6);
        check<vela::detail::kExponent6MaxLength>(value, "%e", vela::detail::formatExponent6);
    }
    return 0;
}
