#pragma once

// What the point-cloud reader's fuzz targets share: the input written to a file of this process, and the
// properties of every read: a success is a non-empty F32_C4 host cloud whose last byte can be read, a
// failure is FAILURE and leaves the destination exactly as it was.

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

#include "vela/vela.hpp"

namespace vela_fuzz {

/// Writes `parts` one after another to a file named after `stem` and this process; returns its path.
inline std::string writeInput(const char* stem, std::initializer_list<std::string_view> parts) {
    const std::string path = "/tmp/" + std::string(stem) + std::to_string(::getpid());
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        for (std::string_view part : parts)
            std::fwrite(part.data(), 1, part.size(), file);
        std::fclose(file);
    }
    return path;
}

/// readPointCloud(path) into a 2x1 U8_C1 Mat of 77s, trapping where a property fails. `bodyBytes`, when
/// not 0, bounds the points: every point takes at least one byte of the body, binary or text. The file is
/// removed. Returns the read's status and leaves the cloud in `cloud`.
inline vela::ERROR_CODE readAndCheck(const std::string& path, vela::Mat& cloud, size_t bodyBytes = 0) {
    cloud.alloc(2, 1, vela::MAT_TYPE::U8_C1, vela::MEM::CPU);
    if (cloud.setTo<unsigned char>(77) != vela::ERROR_CODE::SUCCESS) __builtin_trap();
    const unsigned char* before = cloud.cpuBuffer.get();
    const vela::ERROR_CODE result = vela::readPointCloud(vela::String(path.c_str()), cloud);
    std::remove(path.c_str());
    if (result != vela::ERROR_CODE::SUCCESS) {
        if (result != vela::ERROR_CODE::FAILURE || cloud.cpuBuffer.get() != before ||
            cloud.getDataType() != vela::MAT_TYPE::U8_C1 || before[0] != 77 || before[1] != 77)
            __builtin_trap();
        return result;
    }
    if (!cloud.isInit()) return result;
    if (cloud.getDataType() != vela::MAT_TYPE::F32_C4 || cloud.getMemoryType() != vela::MEM::CPU ||
        cloud.width == 0 || cloud.height == 0 || cloud.cpuBuffer == nullptr)
        __builtin_trap();
    if (bodyBytes != 0 && (cloud.width > bodyBytes || cloud.width * cloud.height > bodyBytes))
        __builtin_trap();
    volatile unsigned char last = cloud.cpuBuffer.get()[cloud.stepCPU * cloud.height - 1];
    (void)last;
    return result;
}

}  // namespace vela_fuzz
