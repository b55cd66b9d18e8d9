// readPointCloud on compressed PCD files whose LZF stream is arbitrary bytes. The first input byte gives
// the number of points (1 to 64, XYZ and a packed colour), the second whether the sizes that precede the
// stream tell the truth; the rest is the stream. Whenever the stream expands to exactly the points' bytes
// (as the library's own decompressor says), the read succeeds with those columns as points; otherwise it
// fails and leaves the destination as it was.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <lzf.h>

#include "cloud_read_check.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const size_t points = 1 + data[0] % 64;
    const bool lie = (data[1] & 1) != 0;
    const char* stream = reinterpret_cast<const char*>(data + 2);
    const uint32_t streamBytes = static_cast<uint32_t>(size - 2);
    const uint32_t expandedBytes = static_cast<uint32_t>(points * 16);
    const uint32_t sizes[2] = {lie ? streamBytes + data[1] / 2 : streamBytes, expandedBytes};

    std::string file = "VERSION 0.7\nFIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F U\nCOUNT 1 1 1 1\nPOINTS " +
                       std::to_string(points) + "\nDATA binary_compressed\n";
    file.append(reinterpret_cast<const char*>(sizes), sizeof sizes);
    file.append(stream, streamBytes);
    const std::string path = vela_fuzz::writeInput("vela_compressed_fuzz_", {file});

    std::vector<char> columns(expandedBytes + 1);
    const bool expands = sizes[0] == streamBytes &&
                         lzf_decompress(stream, streamBytes, columns.data(), expandedBytes) == expandedBytes;

    vela::Mat cloud;
    const vela::ERROR_CODE result = vela_fuzz::readAndCheck(path, cloud);
    if (!expands) {
        if (result != vela::ERROR_CODE::FAILURE) __builtin_trap();
        return 0;
    }
    if (result != vela::ERROR_CODE::SUCCESS || cloud.getDataType() != vela::MAT_TYPE::F32_C4 ||
        cloud.width != points || cloud.height != 1)
        __builtin_trap();
    const unsigned char* read = cloud.cpuBuffer.get();
    for (size_t i = 0; i < points; ++i) {
        // x, y and z bit for bit (a NaN may come back quieted); the colour word's low three bytes as red,
        // green, blue.
        for (size_t axis = 0; axis < 3; ++axis) {
            float got, want;
            std::memcpy(&got, read + i * 16 + axis * 4, 4);
            std::memcpy(&want, columns.data() + (axis * points + i) * 4, 4);
            if (want != want ? got == got : std::memcmp(&got, &want, 4) != 0) __builtin_trap();
        }
        uint32_t word;
        std::memcpy(&word, columns.data() + (3 * points + i) * 4, sizeof word);
        const unsigned char rgb[4] = {static_cast<unsigned char>(word >> 16),
                                      static_cast<unsigned char>(word >> 8), static_cast<unsigned char>(word),
                                      0};
        if (std::memcmp(read + i * 16 + 12, rgb, 4) != 0) __builtin_trap();
    }
    return 0;
}
