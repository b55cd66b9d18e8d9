#include "sim_device.hpp"
#include "support/device.hpp"

namespace vela {
namespace test {

bool isSimulated() {
    return true;
}
bool gpuAvailable(std::string* /*reason*/) {
    return true;
}
cudaError_t deviceStatus() {
    return cudaSuccess;
}
bool injectFailure(const char* function, cudaError_t error) {
    sim::failNextCall(function, error);
    return true;
}
size_t liveAllocations() {
    return sim::liveAllocations();
}
cudaError_t stickyError() {
    return sim::stickyError();
}
bool limitPitch(size_t bytes) {
    sim::setMaxPitch(bytes);
    return true;
}
void endTest() {
    sim::reset();
    if (sim::stickyError() != cudaSuccess) cudaDeviceReset();
}

}  // namespace test
}  // namespace vela
