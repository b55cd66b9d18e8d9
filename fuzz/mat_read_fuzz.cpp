// Mat::read on arbitrary bytes written to a file, under each extension the image decoder knows.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "vela/vela.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const char* const kExtensions[] = {".png", ".jpg", ".pgm", ".pfm", ".bmp", ".tif"};
    if (size == 0) return 0;
    // The first byte picks the extension, so the decoder's guess and the name disagree at times, as they do
    // for real files.
    const std::string path = "/tmp/vela_read_fuzz_" + std::to_string(::getpid()) + kExtensions[data[0] % 6];
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data + 1, 1, size - 1, file);
        std::fclose(file);
    }
    vela::Mat mat;
    const vela::ERROR_CODE result = mat.read(vela::String(path));
    if (result == vela::ERROR_CODE::SUCCESS) {
        // What was read describes itself consistently and its host buffer covers every row.
        if (!mat.isInit() || mat.width == 0 || mat.height == 0 || mat.cpuBuffer == nullptr) __builtin_trap();
        if (mat.stepCPU < mat.width * mat.pixelBytes) __builtin_trap();
        volatile unsigned char last =
            mat.cpuBuffer.get()[mat.stepCPU * (mat.height - 1) + mat.width * mat.pixelBytes - 1];
        (void)last;
    } else if (result != vela::ERROR_CODE::FAILURE) {
        __builtin_trap();
    }
    std::remove(path.c_str());
    return 0;
}
