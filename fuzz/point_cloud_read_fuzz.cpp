// readPointCloud on arbitrary bytes written to a file. A read that fails leaves the destination exactly as
// it was; one that succeeds gives a host F32_C4 grid whose buffer covers every point, or an empty Mat.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "cloud_read_check.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vela::Mat cloud;
    static_cast<void>(vela_fuzz::readAndCheck(
        vela_fuzz::writeInput("vela_cloud_fuzz_",
                              {std::string_view(reinterpret_cast<const char*>(data), size)}),
        cloud));
    return 0;
}
