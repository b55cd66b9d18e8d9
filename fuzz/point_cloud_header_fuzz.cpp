// readPointCloud on PLY and PCD files whose headers are built from the input field by field: names, types,
// sizes, counts, grid sizes and element counts are drawn from values that stress size arithmetic (0, 1,
// powers of two near 2^32, 2^61, 2^62, 2^63, 2^64 - 1, plus any 64-bit number), so the search spends its
// time on what the header claims instead of on spelling keywords. The rest of the input is the body. A read
// that fails leaves the destination exactly as it was; one that succeeds gives a host F32_C4 grid whose
// buffer covers every point, and never claims more points than the body could hold.

#include <fuzzer/FuzzedDataProvider.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "cloud_read_check.hpp"

namespace {

// A count or size that stresses the reader's arithmetic, or any number.
std::string number(FuzzedDataProvider& input) {
    static const char* const kInteresting[] = {"0",
                                               "1",
                                               "2",
                                               "3",
                                               "4",
                                               "8",
                                               "255",
                                               "65536",
                                               "2147483647",
                                               "2147483648",
                                               "4294967295",
                                               "4294967296",
                                               "2305843009213693952",
                                               "2305843009213693953",
                                               "4611686018427387904",
                                               "4611686018427387905",
                                               "9223372036854775807",
                                               "9223372036854775808",
                                               "18446744073709551615",
                                               "18446744073709551616",
                                               "-1",
                                               "+1",
                                               "01"};
    if (input.ConsumeBool())
        return kInteresting[input.ConsumeIntegralInRange<size_t>(0, std::size(kInteresting) - 1)];
    return std::to_string(input.ConsumeIntegral<uint64_t>());
}

template <size_t N>
const char* pick(FuzzedDataProvider& input, const char* const (&choices)[N]) {
    return choices[input.ConsumeIntegralInRange<size_t>(0, N - 1)];
}

std::string pcdHeader(FuzzedDataProvider& input) {
    static const char* const kNames[] = {"x", "y", "z", "rgb", "rgba", "normal_x", "intensity", "_", "x"};
    static const char* const kTypes[] = {"F", "I", "U", "X"};
    static const char* const kSizes[] = {"1", "2", "4", "8", "3", "0"};
    static const char* const kData[] = {"ascii", "binary", "binary_compressed", "bogus"};
    const size_t fields = input.ConsumeIntegralInRange<size_t>(1, 6);
    std::string names, types, sizes, counts;
    for (size_t i = 0; i < fields; ++i) {
        // x, y and z most of the time, so that most headers get as far as the sizes.
        names += std::string(" ") +
                 (i < 3 && input.ConsumeProbability<float>() < 0.9f ? kNames[i] : pick(input, kNames));
        types += std::string(" ") + pick(input, kTypes);
        sizes += std::string(" ") + (input.ConsumeBool() ? "4" : pick(input, kSizes));
        counts += " " + (input.ConsumeProbability<float>() < 0.6f ? std::string("1") : number(input));
    }
    std::string header = "# .PCD v0.7\nVERSION 0.7\nFIELDS" + names + "\nSIZE" + sizes + "\nTYPE" + types;
    if (input.ConsumeProbability<float>() < 0.9f) header += "\nCOUNT" + counts;
    if (input.ConsumeBool()) header += "\nWIDTH " + number(input);
    if (input.ConsumeBool()) header += "\nHEIGHT " + number(input);
    if (input.ConsumeProbability<float>() < 0.8f) header += "\nPOINTS " + number(input);
    return header + "\nDATA " + pick(input, kData) + "\n";
}

std::string plyHeader(FuzzedDataProvider& input) {
    static const char* const kFormats[] = {"binary_little_endian", "binary_big_endian", "ascii", "binary"};
    static const char* const kElements[] = {"vertex", "face", "edge", "vertex"};
    static const char* const kTypes[] = {"char",  "uchar",  "short", "ushort", "int",     "uint",
                                         "float", "double", "int8",  "uint32", "float64", "long"};
    static const char* const kNames[] = {"x", "y", "z", "red", "green", "blue", "nx", "vertex_indices"};
    std::string header = std::string("ply\nformat ") + pick(input, kFormats) + " 1.0\n";
    const size_t elements = input.ConsumeIntegralInRange<size_t>(1, 3);
    for (size_t e = 0; e < elements; ++e) {
        header += std::string("element ") + pick(input, kElements) + " " + number(input) + "\n";
        const size_t properties = input.ConsumeIntegralInRange<size_t>(0, 6);
        for (size_t p = 0; p < properties; ++p) {
            const std::string name =
                p < 3 && input.ConsumeProbability<float>() < 0.9f ? kNames[p] : pick(input, kNames);
            if (input.ConsumeProbability<float>() < 0.2f)
                header += std::string("property list ") + pick(input, kTypes) + " " + pick(input, kTypes) +
                          " " + name + "\n";
            else
                header += std::string("property ") + pick(input, kTypes) + " " + name + "\n";
        }
    }
    return header + "end_header\n";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const std::string header = input.ConsumeBool() ? pcdHeader(input) : plyHeader(input);
    const std::string body = input.ConsumeRemainingBytesAsString();
    vela::Mat cloud;
    static_cast<void>(vela_fuzz::readAndCheck(
        vela_fuzz::writeInput("vela_cloud_header_fuzz_", {header, body}), cloud, body.size()));
    return 0;
}
