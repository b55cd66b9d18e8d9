#include "support/device.hpp"

namespace vela {
namespace test {

bool isSimulated() {
    return false;
}

cudaError_t deviceStatus() {
    static const cudaError_t status = [] {
        int count = 0;
        const cudaError_t error = cudaGetDeviceCount(&count);
        cudaGetLastError();  // the probe must not leave an error behind for the tests
        if (error != cudaSuccess) return error;
        return count > 0 ? cudaSuccess : cudaErrorNoDevice;
    }();
    return status;
}

bool gpuAvailable(std::string* reason) {
    const cudaError_t status = deviceStatus();
    if (status == cudaSuccess) return true;
    *reason = std::string("no usable GPU on this machine (") + cudaGetErrorString(status) + ")";
    return false;
}

bool injectFailure(const char* /*function*/, cudaError_t /*error*/) {
    return false;
}
size_t liveAllocations() {
    size_t free = 0;
    size_t total = 0;
    if (cudaMemGetInfo(&free, &total) != cudaSuccess) {
        cudaGetLastError();
        return 0;
    }
    return total - free;
}
cudaError_t stickyError() {
    return cudaSuccess;
}
bool limitPitch(size_t /*bytes*/) {
    return false;
}
void endTest() {}

}  // namespace test
}  // namespace vela
