// GPU benchmarks, registered by main only when a device is present, each timed with CUDA events recorded
// on the stream it runs on and each against a pitched device-to-device cudaMemcpy2D of the same Mat bytes
// (the limit) in the same run: setTo, copyTo in each direction with pageable, mapped and managed host
// memory, updateCPUfromGPU and updateGPUfromCPU, and the Mat conversions on the GPU.

#include <cuda_runtime_api.h>

#include <string>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

// Times op(stream) per iteration between two events recorded on `stream`, and the same bytes per second.
template <typename Op>
void timeOnStream(benchmark::State& state, cudaStream_t stream, size_t bytes, Op op) {
    cudaEvent_t start = nullptr, stop = nullptr;
    if (cudaEventCreate(&start) != cudaSuccess || cudaEventCreate(&stop) != cudaSuccess) {
        state.SkipWithError("cudaEventCreate failed");
        return;
    }
    for (auto _ : state) {
        cudaEventRecord(start, stream);
        const bool done = op(stream);
        cudaEventRecord(stop, stream);
        float ms = 0;
        if (!done || cudaEventSynchronize(stop) != cudaSuccess ||
            cudaEventElapsedTime(&ms, start, stop) != cudaSuccess) {
            state.SkipWithError("the GPU operation failed");
            break;
        }
        state.SetIterationTime(ms / 1e3);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
    cudaEventDestroy(start);
    cudaEventDestroy(stop);
}

// A stream of the benchmark's own, destroyed with it.
class Stream {
  public:
    Stream() { cudaStreamCreate(&stream); }
    ~Stream() { cudaStreamDestroy(stream); }
    cudaStream_t get() const { return stream; }

  private:
    cudaStream_t stream = nullptr;
};

size_t bytesOf(Size size, MAT_TYPE type) {
    const Mat probe(1, 1, type);
    return size.width * size.height * probe.pixelBytes;
}

// The limit: a pitched device-to-device copy of the Mat's rows.
void limit_cudaMemcpy2D(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat from(size.width, size.height, type, MEM::GPU), to(size.width, size.height, type, MEM::GPU);
    Stream stream;
    const size_t rowBytes = size.width * from.pixelBytes;
    timeOnStream(state, stream.get(), bytesOf(size, type), [&](cudaStream_t s) {
        return cudaMemcpy2DAsync(to.getPtr<unsigned char>(MEM::GPU), to.stepGPU,
                                 from.getPtr<unsigned char>(MEM::GPU), from.stepGPU, rowBytes, size.height,
                                 cudaMemcpyDeviceToDevice, s) == cudaSuccess;
    });
}

// Registers op as "<operation>_<size>/vela" beside the cudaMemcpy2D limit of the same bytes.
template <typename Run, typename... Args>
void addWithLimit(const std::string& operation, MAT_TYPE type, Run run, Args... args) {
    for (const Size size : kSizes) {
        add(operation, size, "vela", run, type, args...)->UseManualTime();
        add(operation, size, "cudaMemcpy2D", limit_cudaMemcpy2D, type)->UseManualTime();
    }
}

void setTo_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat mat(size.width, size.height, type, MEM::GPU);
    Stream stream;
    timeOnStream(state, stream.get(), bytesOf(size, type), [&](cudaStream_t s) {
        return type == MAT_TYPE::F32_C4
                   ? mat.setTo(Vector4<float>(1, 2, 3, 4), MEM::GPU, s) == ERROR_CODE::SUCCESS
                   : mat.setTo(static_cast<unsigned char>(7), MEM::GPU, s) == ERROR_CODE::SUCCESS;
    });
}

// copyTo in `direction` between a host Mat on `host` memory (CPU: pageable, MEM_BOTH: mapped, MEM_MANAGED)
// and a GPU Mat; GPU_GPU copies between two GPU Mats.
void copyTo_vela(benchmark::State& state, Size size, MAT_TYPE type, COPY_TYPE direction, MEM host) {
    const bool fromHost = direction == COPY_TYPE::CPU_GPU;
    const MEM sourceMem = fromHost ? host : MEM::GPU;
    const MEM targetMem = direction == COPY_TYPE::GPU_CPU ? host : MEM::GPU;
    Mat source(size.width, size.height, type, sourceMem), target(size.width, size.height, type, targetMem);
    Stream stream;
    timeOnStream(state, stream.get(), bytesOf(size, type),
                 [&](cudaStream_t s) { return source.copyTo(target, direction, s) == ERROR_CODE::SUCCESS; });
}

void update_vela(benchmark::State& state, Size size, MAT_TYPE type, bool toGpu) {
    Mat mat(size.width, size.height, type, MEM::GPU);
    require(mat.updateCPUfromGPU());  // adds the pageable host side
    Stream stream;
    timeOnStream(state, stream.get(), bytesOf(size, type), [&](cudaStream_t s) {
        return (toGpu ? mat.updateGPUfromCPU(s) : mat.updateCPUfromGPU(s)) == ERROR_CODE::SUCCESS;
    });
}

void convertImage_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat source(size.width, size.height, type, MEM::GPU), target;
    Stream stream;
    require(convertImage(source, target, stream.get()));  // allocates the destination outside the timing
    timeOnStream(state, stream.get(), bytesOf(size, type),
                 [&](cudaStream_t s) { return convertImage(source, target, s) == ERROR_CODE::SUCCESS; });
}

// The conversions queue their kernels on the default stream, so the events are recorded there.
void convertUnit_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud(size.width, size.height, type, MEM::GPU);
    bool forth = true;
    timeOnStream(state, nullptr, bytesOf(size, type), [&](cudaStream_t) {
        forth = !forth;
        return convertUnit(cloud, forth ? UNIT::METER : UNIT::MILLIMETER,
                           forth ? UNIT::MILLIMETER : UNIT::METER, MEM::GPU) == ERROR_CODE::SUCCESS;
    });
}

void convertCoordinateSystem_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud(size.width, size.height, type, MEM::GPU);
    const COORDINATE_SYSTEM zUp = COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, image = COORDINATE_SYSTEM::IMAGE;
    bool forth = true;
    timeOnStream(state, nullptr, bytesOf(size, type), [&](cudaStream_t) {
        forth = !forth;
        return convertCoordinateSystem(cloud, forth ? zUp : image, forth ? image : zUp, MEM::GPU) ==
               ERROR_CODE::SUCCESS;
    });
}

const char* memoryName(MEM host) {
    return host == MEM::CPU ? "pageable" : host == MEM_MANAGED ? "managed" : "mapped";
}

}  // namespace

void registerGpuBenchmarks() {
    const MAT_TYPE f4 = MAT_TYPE::F32_C4, f3 = MAT_TYPE::F32_C3;
    addWithLimit("gpu_setTo_F32_C4", f4, setTo_vela);
    addWithLimit("gpu_setTo_U8_C1", MAT_TYPE::U8_C1, setTo_vela);
    for (MEM host : {MEM::CPU, MEM_BOTH, MEM_MANAGED}) {
        addWithLimit(std::string("gpu_copyTo_CPU_GPU_") + memoryName(host), f4, copyTo_vela,
                     COPY_TYPE::CPU_GPU, host);
        addWithLimit(std::string("gpu_copyTo_GPU_CPU_") + memoryName(host), f4, copyTo_vela,
                     COPY_TYPE::GPU_CPU, host);
    }
    addWithLimit("gpu_copyTo_GPU_GPU", f4, copyTo_vela, COPY_TYPE::GPU_GPU, MEM::GPU);
    addWithLimit("gpu_updateGPUfromCPU", f4, update_vela, true);
    addWithLimit("gpu_updateCPUfromGPU", f4, update_vela, false);
    addWithLimit("gpu_convertImage", MAT_TYPE::U8_C4, convertImage_vela);
    for (MAT_TYPE type : {f3, f4}) {
        const std::string suffix = type == f3 ? "_F32_C3" : "_F32_C4";
        addWithLimit("gpu_convertUnit" + suffix, type, convertUnit_vela);
        addWithLimit("gpu_convertCoordinateSystem" + suffix, type, convertCoordinateSystem_vela);
    }
}

}  // namespace bench
}  // namespace vela
