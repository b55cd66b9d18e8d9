// readPointCloud on arbitrary bytes written to a file. A read that fails leaves the destination exactly as
// it was; one that succeeds gives a host F32_C4 grid whose buffer covers every point, or an empty Mat.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "vela/vela.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = "/tmp/vela_cloud_fuzz_" + std::to_string(::getpid());
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    vela::Mat cloud(2, 1, vela::MAT_TYPE::U8_C1);
    cloud.setTo<unsigned char>(77);
    const unsigned char* before = cloud.cpuBuffer.get();
    const vela::ERROR_CODE result = vela::readPointCloud(vela::String(path), cloud);
    if (result == vela::ERROR_CODE::SUCCESS) {
        if (cloud.isInit()) {
            if (cloud.getDataType() != vela::MAT_TYPE::F32_C4 || cloud.getMemoryType() != vela::MEM::CPU ||
                cloud.width == 0 || cloud.height == 0 || cloud.cpuBuffer == nullptr)
                __builtin_trap();
            volatile unsigned char last = cloud.cpuBuffer.get()[cloud.stepCPU * cloud.height - 1];
            (void)last;
        }
    } else if (result != vela::ERROR_CODE::FAILURE || cloud.cpuBuffer.get() != before ||
               cloud.getDataType() != vela::MAT_TYPE::U8_C1 || before[0] != 77 || before[1] != 77) {
        __builtin_trap();
    }
    std::remove(path.c_str());
    return 0;
}
