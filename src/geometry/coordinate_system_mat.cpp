// Unit scaling and change of axes of whole point clouds, by host loops or by the GPU kernels.

#include <cuda_runtime_api.h>

#include <cstdint>

#include "geometry/conversion_ranges.hpp"
#include "geometry/point_loops.hpp"
#include "kernels/elementwise.hpp"
#include "kernels/kernels.hpp"
#include "mat/mat_layout.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/geometry/coordinate_system.hpp"

namespace vela {
namespace {

constexpr const char* kConvertUnitSignature =
    "vela::ERROR_CODE vela::convertUnit(vela::Mat&, vela::UNIT, vela::UNIT, vela::MEM)";
constexpr const char* kConvertSystemSignature =
    "vela::ERROR_CODE vela::convertCoordinateSystem(vela::Mat&, vela::COORDINATE_SYSTEM, "
    "vela::COORDINATE_SYSTEM, vela::MEM)";

bool isPointCloud(MAT_TYPE type) {
    return type == MAT_TYPE::F32_C3 || type == MAT_TYPE::F32_C4;
}

// Converts the points of `mat` on the side `mem` names: CPU calls hostRow(row, width) for each host row,
// rows `stepCPU` bytes apart (a wrapped user buffer may pad them); GPU and MEM_BOTH call
// gpuLaunch(buffer, stepGPU, width, height), which queues kernels on the default stream and reports whether
// the runtime took them, and MEM_BOTH then copies the GPU content to the host. Width and height are read as
// 32-bit signed: below 1 nothing is converted.
template <typename HostRow, typename GpuLaunch>
ERROR_CODE convertPoints(Mat& mat, MEM mem, HostRow hostRow, GpuLaunch gpuLaunch) {
    const bool onHost = mem == MEM::CPU;
    if (!onHost && mem != MEM::GPU && mem != MEM_BOTH) return ERROR_CODE::SUCCESS;
    const int32_t width = static_cast<int32_t>(mat.width);
    const int32_t height = static_cast<int32_t>(mat.height);
    if (width < 1 || height < 1) return ERROR_CODE::SUCCESS;
    if (onHost) {
        unsigned char* host = detail::hasHostSide(mat.memType) ? mat.cpuBuffer.get() : nullptr;
        if (host == nullptr) return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
        for (int32_t y = 0; y < height; ++y)
            hostRow(reinterpret_cast<float*>(host + static_cast<size_t>(y) * mat.stepCPU),
                    static_cast<size_t>(width));
        return ERROR_CODE::SUCCESS;
    }
    unsigned char* gpu = detail::hasGpuSide(mat.memType) ? mat.gpuBuffer.get() : nullptr;
    if (gpu == nullptr) return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
    if (!gpuLaunch(gpu, mat.stepGPU, static_cast<size_t>(width), static_cast<size_t>(height)))
        return ERROR_CODE::FAILURE;
    // The conversion is done whatever the copy back reports.
    if (mem == MEM_BOTH) static_cast<void>(mat.updateCPUfromGPU(nullptr));  // a failed copy logs itself
    return ERROR_CODE::SUCCESS;
}

// Queues the GPU scaling of `type`'s floats: all of them for F32_C1 and F32_C3, x, y and z for F32_C4.
cudaError_t launchFactor(MAT_TYPE type, unsigned char* gpu, float factor, size_t step, size_t width,
                         size_t height) {
    if (type == MAT_TYPE::F32_C1)
        return cu_applyFactor(reinterpret_cast<float*>(gpu), factor, step, width, height, nullptr);
    if (type == MAT_TYPE::F32_C3)
        return cu_applyFactor(reinterpret_cast<Vector3<float>*>(gpu), factor, step, width, height, nullptr);
    return cu_applyFactor4f(reinterpret_cast<Vector4<float>*>(gpu), factor, step, width, height, nullptr);
}

// Queues the GPU change of axes: F32_C4 points through the 4x4 `matrix`, F32_C3 through the 3x3. The
// matrix travels in the launch's parameters: no device buffer, no copy, no implicit synchronisation.
cudaError_t launchTransform(bool withColour, const float* matrix, unsigned char* gpu, size_t step,
                            size_t width, size_t height) {
    if (withColour)
        return cu_applyMat4f(reinterpret_cast<Vector4<float>*>(gpu), matrix, step, width, height, nullptr);
    return cu_applyMat3f(reinterpret_cast<Vector3<float>*>(gpu), matrix, step, width, height, nullptr);
}

}  // namespace

ERROR_CODE convertUnit(Mat& mat, UNIT unit_src, UNIT unit_dst, MEM mem) {
    if (unit_src == unit_dst) return ERROR_CODE::SUCCESS;
    if (!detail::unitsInRange(unit_src, unit_dst)) return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
    const MAT_TYPE type = mat.dataType;
    if (type != MAT_TYPE::F32_C1 && !isPointCloud(type)) return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
    const float factor = getUnitScale(unit_src, unit_dst);
    // Every float of a row is scaled, the packed colour of an F32_C4 point too.
    const size_t channels = detail::channelsOf(type);
    return convertPoints(
        mat, mem, [&](float* row, size_t width) { detail::scaleFloats(row, width * channels, factor); },
        [&](unsigned char* gpu, size_t step, size_t width, size_t height) {
            return VELA_CUDA_CHECK(launchFactor(type, gpu, factor, step, width, height),
                                   kConvertUnitSignature);
        });
}

ERROR_CODE convertCoordinateSystem(Mat& mat, COORDINATE_SYSTEM coord_system_src,
                                   COORDINATE_SYSTEM coord_system_dst, MEM mem) {
    if (coord_system_src == coord_system_dst) return ERROR_CODE::SUCCESS;
    if (!detail::systemsInRange(coord_system_src, coord_system_dst))
        return ERROR_CODE::INVALID_COORDINATE_SYSTEM;
    if (!isPointCloud(mat.dataType)) return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
    // F32_C4 points go through the 4x4 form, whose translation column is zero, without that column: the
    // fourth float is a packed colour and keeps its bits.
    const bool withColour = mat.dataType == MAT_TYPE::F32_C4;
    const Matrix4f conversion4 = getCoordinateTransformConversion4f(coord_system_src, coord_system_dst);
    const Matrix3f conversion3 = getCoordinateTransformConversion3f(coord_system_src, coord_system_dst);
    return convertPoints(
        mat, mem,
        [&](float* row, size_t width) {
            if (withColour)
                detail::transformColouredPoints(row, width, conversion4.elements);
            else
                detail::transformPoints(row, width, conversion3.elements);
        },
        [&](unsigned char* gpu, size_t step, size_t width, size_t height) {
            const float* matrix = withColour ? conversion4.elements : conversion3.elements;
            return VELA_CUDA_CHECK(launchTransform(withColour, matrix, gpu, step, width, height),
                                   kConvertSystemSignature);
        });
}

}  // namespace vela
