// The GPU-array protocols of a Mat: __cuda_array_interface__ (version 3) and DLPack. Both describe the
// buffers as they are: padded GPU rows become a row stride, never a copy.

#include <dlpack/dlpack.h>

#include <cstdint>
#include <memory>
#include <string>

#include "bindings.hpp"
#include "element.hpp"
#include "mat/mat_layout.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/mat/mat.hpp"

namespace py = pybind11;

namespace vela {
namespace python {
namespace {

constexpr const char* kDeviceSignature =
    "DLDevice vela::python::{anonymous}::deviceOf(const vela::Mat&, vela::MEM)";
constexpr const char* kDlpackSignature =
    "pybind11::capsule vela::python::{anonymous}::dlpack(const vela::Mat&, pybind11::object, "
    "pybind11::object, "
    "pybind11::object, pybind11::object)";

// Every stream the library is handed as null runs its work on the legacy default stream, which the CUDA
// array interface numbers 1.
constexpr int kLegacyDefaultStream = 1;

// The buffer and row step a protocol describes: the GPU side when the Mat has one, otherwise the host side.
struct Side {
    MEM mem;
    const std::shared_ptr<unsigned char>* buffer;
    size_t step;
};

bool hasGpuSide(const Mat& mat) {
    return mat.isInit() && detail::hasGpuSide(mat.memType);
}

Side exportedSide(const Mat& mat) {
    if (!mat.isInit()) throw py::buffer_error("the Mat is empty: allocate it or read a file first");
    Side side = hasGpuSide(mat) ? Side{MEM::GPU, &mat.gpuBuffer, mat.stepGPU}
                                : Side{MEM::CPU, &mat.cpuBuffer, mat.stepCPU};
    // Pinned host memory is described by its host address; its device address may differ.
    if (mat.memType == MEM_UNIFIED) side.buffer = &mat.cpuBuffer;
    if (!*side.buffer && mat.width != 0 && mat.height != 0)
        throw py::buffer_error(std::string("the Mat's ") + (side.mem == MEM::GPU ? "GPU" : "host") +
                               " buffer could not be allocated");
    return side;
}

// (height, width) for one channel, else (height, width, channels), with strides in `unit` bytes.
void describe(const Mat& mat, size_t step, size_t unit, int64_t* shape, int64_t* strides, int* ndim) {
    shape[0] = static_cast<int64_t>(mat.height);
    shape[1] = static_cast<int64_t>(mat.width);
    shape[2] = static_cast<int64_t>(mat.channels);
    strides[0] = static_cast<int64_t>(step / unit);
    strides[1] = static_cast<int64_t>(mat.pixelBytes / unit);
    strides[2] = 1;
    *ndim = mat.channels > 1 ? 3 : 2;
}

DLDevice deviceOf(const Mat& mat, MEM side) {
    if (side == MEM::CPU) return {kDLCPU, 0};
    // Managed and mapped pinned memory are host memory that the GPU sees; DLPack names both.
    const DLDeviceType type = mat.memType == MEM_MANAGED   ? kDLCUDAManaged
                              : mat.memType == MEM_UNIFIED ? kDLCUDAHost
                                                           : kDLCUDA;
    if (!mat.gpuBuffer) return {type, 0};
    cudaPointerAttributes attributes{};
    if (!VELA_CUDA_CHECK(cudaPointerGetAttributes(&attributes, mat.gpuBuffer.get()), kDeviceSignature))
        throw py::buffer_error("the CUDA runtime cannot tell which device holds the Mat's GPU buffer");
    return {type, attributes.device};
}

py::dict cudaArrayInterface(const Mat& mat) {
    if (!hasGpuSide(mat) || (!mat.gpuBuffer && mat.width != 0 && mat.height != 0))
        throw py::attribute_error("the Mat has no GPU memory");
    const ChannelType channel = channelTypeOf(mat.dataType);
    int64_t shape[3];
    int64_t strides[3];
    int ndim = 0;
    describe(mat, mat.stepGPU, 1, shape, strides, &ndim);
    strides[2] = static_cast<int64_t>(channel.bytes);
    py::tuple shapeTuple(ndim);
    py::tuple strideTuple(ndim);
    for (int i = 0; i < ndim; ++i) {
        shapeTuple[i] = shape[i];
        strideTuple[i] = strides[i];
    }
    py::dict interface;
    interface["shape"] = shapeTuple;
    interface["typestr"] = channel.typestr;
    interface["data"] = py::make_tuple(reinterpret_cast<std::uintptr_t>(mat.gpuBuffer.get()), false);
    interface["version"] = 3;
    interface["strides"] = strideTuple;
    interface["stream"] = kLegacyDefaultStream;
    return interface;
}

// What a DLPack capsule owns: a share of the buffer, so that it outlives the Mat, and the shape and strides.
struct Export {
    DLManagedTensor tensor{};
    std::shared_ptr<unsigned char> buffer;
    int64_t shape[3] = {};
    int64_t strides[3] = {};
};

void releaseExport(DLManagedTensor* tensor) {
    delete static_cast<Export*>(tensor->manager_ctx);
}

// A capsule nobody consumed releases its tensor; a consumer renames the capsule and calls the deleter itself.
void releaseUnconsumed(PyObject* capsule) {
    if (PyCapsule_IsValid(capsule, "dltensor") == 0) return;
    auto* tensor = static_cast<DLManagedTensor*>(PyCapsule_GetPointer(capsule, "dltensor"));
    tensor->deleter(tensor);
}

// The consumer names the stream it will read on: the library's work on the legacy default stream must be
// done first, unless the consumer reads on that stream (1) or asks for no synchronisation (-1).
void syncForConsumer(DLDevice device, const py::object& stream) {
    if (stream.is_none() || device.device_type == kDLCPU) return;
    if (!PyIndex_Check(stream.ptr()))
        throw py::type_error("stream is an int (a CUDA stream's address) or None");
    const auto value = stream.cast<long long>();
    if (value == 0) throw py::value_error("stream 0 is ambiguous: pass 1 for the legacy default stream");
    if (value == -1 || value == kLegacyDefaultStream) return;
    if (!VELA_CUDA_CHECK(cudaStreamSynchronize(nullptr), kDlpackSignature))
        throw py::buffer_error("waiting for the Mat's pending GPU work failed");
}

py::capsule dlpack(const Mat& mat, py::object stream, py::object maxVersion, py::object dlDevice,
                   py::object copy) {
    (void)maxVersion;  // one capsule version is produced; consumers accept it whatever version they name
    const Side side = exportedSide(mat);
    const DLDevice device = deviceOf(mat, side.mem);
    if (!copy.is_none() && copy.cast<bool>())
        throw py::buffer_error("a Mat is exported without copying; copy it with clone or copyTo first");
    if (!dlDevice.is_none()) {
        const auto wanted = dlDevice.cast<std::pair<int, int>>();
        if (wanted.first != device.device_type || wanted.second != device.device_id)
            throw py::buffer_error("the Mat's memory is on another device than the one asked for");
    }
    syncForConsumer(device, stream);
    const ChannelType channel = channelTypeOf(mat.dataType);
    // DLPack counts strides in channels: a pitch is always a whole number of them.
    if (side.step % channel.bytes != 0)
        throw py::buffer_error("the row step is not a whole number of channels");
    auto held = std::make_unique<Export>();
    held->buffer = *side.buffer;
    DLTensor& tensor = held->tensor.dl_tensor;
    describe(mat, side.step, channel.bytes, held->shape, held->strides, &tensor.ndim);
    tensor.data = held->buffer.get();
    tensor.device = device;
    tensor.dtype.code = channel.kind == 'f' ? kDLFloat : (channel.kind == 'i' ? kDLInt : kDLUInt);
    tensor.dtype.bits = static_cast<uint8_t>(channel.bytes * 8);
    tensor.dtype.lanes = 1;
    tensor.shape = held->shape;
    tensor.strides = held->strides;
    tensor.byte_offset = 0;
    held->tensor.manager_ctx = held.get();
    held->tensor.deleter = releaseExport;
    py::capsule capsule(&held->tensor, "dltensor", releaseUnconsumed);
    held.release();  // the capsule, or its consumer, owns it now
    return capsule;
}

}  // namespace

void bindArrayInterfaces(py::class_<Mat>& mat) {
    mat.def_property_readonly(
        "__cuda_array_interface__", &cudaArrayInterface,
        "version 3: the GPU buffer, rows stepGPU bytes apart; AttributeError without one");
    mat.def(
        "__dlpack__", &dlpack, py::kw_only(), py::arg("stream") = py::none(),
        py::arg("max_version") = py::none(), py::arg("dl_device") = py::none(), py::arg("copy") = py::none(),
        "a DLPack capsule of the GPU side when the Mat has one, else of the host side; it keeps the buffer "
        "alive");
    mat.def(
        "__dlpack_device__",
        [](const Mat& self) {
            const DLDevice device = deviceOf(self, exportedSide(self).mem);
            return py::make_tuple(static_cast<int>(device.device_type), device.device_id);
        },
        "(device type, device id) of the buffer __dlpack__ exports");
}

}  // namespace python
}  // namespace vela
