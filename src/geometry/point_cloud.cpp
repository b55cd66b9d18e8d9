// Depth to point cloud, rigid transforms and unit changes of whole clouds, and colour order: host loops
// and GPU kernels over the same per-element work.

#include "vela/geometry/point_cloud.hpp"

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "core/logging.hpp"
#include "geometry/conversion_ranges.hpp"
#include "geometry/point_loops.hpp"
#include "kernels/point_cloud_kernels.hpp"
#include "mat/mat_layout.hpp"
#include "vela/core/cuda_check.hpp"
#include "vela/geometry/coordinate_system.hpp"

namespace vela {
namespace {

constexpr const char* kDepthSignature =
    "vela::ERROR_CODE vela::depthToPointCloud(const vela::Mat&, const vela::Mat&, const "
    "vela::CameraParameters&, vela::Mat&, const vela::DepthToPointCloudParameters&, vela::MEM, cudaStream_t)";
constexpr const char* kTransformSignature =
    "vela::ERROR_CODE vela::transformPointCloud(vela::Mat&, const vela::Transform&, vela::MEM, cudaStream_t)";
constexpr const char* kUnitSignature =
    "vela::ERROR_CODE vela::convertPointCloudUnit(vela::Mat&, vela::UNIT, vela::UNIT, vela::MEM, "
    "cudaStream_t)";

// The buffer of `mat` on the side `mem` names (CPU or GPU), or null when it has none there.
unsigned char* side(const Mat& mat, MEM mem) {
    if (!mat.isInit()) return nullptr;
    if (mem == MEM::CPU) return detail::hasHostSide(mat.memType) ? mat.cpuBuffer.get() : nullptr;
    if (mem == MEM::GPU) return detail::hasGpuSide(mat.memType) ? mat.gpuBuffer.get() : nullptr;
    return nullptr;
}

size_t stepOf(const Mat& mat, MEM mem) {
    return mem == MEM::CPU ? mat.stepCPU : mat.stepGPU;
}

ERROR_CODE refuse(const char* operation, const char* why) {
    detail::logError("[{}] {}", operation, why);
    return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
}

bool isCloud(const Mat& mat) {
    return mat.isInit() && (mat.dataType == MAT_TYPE::F32_C3 || mat.dataType == MAT_TYPE::F32_C4);
}

bool unitInRange(UNIT unit) {
    return static_cast<uint32_t>(unit) <= static_cast<uint32_t>(UNIT::FOOT);
}

// Runs perElement over every element of `grid` on the host, row by row. The grid is copied into a local
// that no store can reach, so its fields stay in registers and the row loop vectorises.
template <typename Grid, typename PerElement>
void onHost(const Grid& grid, PerElement perElement) {
    const Grid local = grid;
    for (size_t y = 0; y < local.height; ++y)
        for (size_t x = 0; x < local.width; ++x)
            perElement(local, x, y);
}

// Back-projects on the host: the shape chosen once, rayX computed once per column and rayY once per row,
// so that each row is a vectorised loop of multiplications.
template <bool DepthIsU16, int ColourChannels, int CloudChannels>
// Not inlined: compiled as a function of its own, each shape's row loop vectorises.
__attribute__((noinline)) void backProjectRows(const elementwise::DepthToCloudGrid& grid) {
    const elementwise::DepthToCloudGrid local = grid;
    std::vector<float> columns(local.width);
    for (size_t x = 0; x < local.width; ++x)
        columns[x] = elementwise::rayX(local, x);
    const float* rx = columns.data();
    for (size_t y = 0; y < local.height; ++y) {
        const float ry = elementwise::rayY(local, y);
        for (size_t x = 0; x < local.width; ++x)
            elementwise::depthToPointOf<DepthIsU16, ColourChannels, CloudChannels>(local, x, y, rx[x], ry);
    }
}

template <bool DepthIsU16>
void backProjectOnHost(const elementwise::DepthToCloudGrid& grid, std::integral_constant<bool, DepthIsU16>) {
    if (grid.cloudChannels == 3) return backProjectRows<DepthIsU16, 0, 3>(grid);
    if (grid.colourChannels == 3) return backProjectRows<DepthIsU16, 3, 4>(grid);
    if (grid.colourChannels == 4) return backProjectRows<DepthIsU16, 4, 4>(grid);
    backProjectRows<DepthIsU16, 0, 4>(grid);
}

void backProjectOnHost(const elementwise::DepthToCloudGrid& grid) {
    if (grid.depthIsU16 != 0) {
        backProjectOnHost(grid, std::true_type());
    } else {
        backProjectOnHost(grid, std::false_type());
    }
}

// Moves the host rows of `grid` (points of four floats) with transformRigid, the matrix in a local array
// that no store can reach. Not inlined: compiled on its own, the row loop vectorises.
__attribute__((noinline)) void transformRows4(const elementwise::RigidCloudGrid& grid) {
    float m[12];
    std::memcpy(m, grid.m, sizeof m);
    for (size_t y = 0; y < grid.height; ++y) {
        float* row = reinterpret_cast<float*>(grid.cloud + y * grid.step);
        for (size_t x = 0; x < grid.width; ++x)
            elementwise::transformRigid(m, row + 4 * x);
    }
}

// The cloud of `width` x `height` points of `type` on `mem`: `cloud` itself when it already is one, else
// newly allocated. Null when no buffer could be had.
unsigned char* prepareCloud(Mat& cloud, size_t width, size_t height, MAT_TYPE type, MEM mem) {
    if (!(cloud.isInit() && cloud.width == width && cloud.height == height && cloud.dataType == type &&
          side(cloud, mem) != nullptr))
        cloud.alloc(width, height, type, mem);
    return side(cloud, mem);
}

// The side `mem` of an F32_C3 or F32_C4 `cloud` as the grid of a cloud operation (RigidCloudGrid or
// ScaleCloudGrid); refused on behalf of `name` when there is no such cloud.
template <typename Grid>
ERROR_CODE cloudGrid(Mat& cloud, MEM mem, const char* name, Grid& grid) {
    grid.cloud = side(cloud, mem);
    if (!isCloud(cloud) || grid.cloud == nullptr)
        return refuse(name, "wants an F32_C3 or F32_C4 cloud with storage on CPU or GPU, as mem names");
    grid.step = stepOf(cloud, mem);
    grid.width = cloud.width;
    grid.height = cloud.height;
    grid.channels = static_cast<int>(cloud.channels);
    return ERROR_CODE::SUCCESS;
}

}  // namespace

ERROR_CODE swapRedBlue(Mat& mat) {
    unsigned char* host = side(mat, MEM::CPU);
    const MAT_TYPE type = mat.dataType;
    if (host == nullptr || (type != MAT_TYPE::U8_C3 && type != MAT_TYPE::U8_C4 && type != MAT_TYPE::F32_C4))
        return refuse("swapRedBlue", "wants a U8_C3, U8_C4 or F32_C4 Mat with host storage");
    for (size_t y = 0; y < mat.height; ++y) {
        unsigned char* row = host + y * mat.stepCPU;
        if (type == MAT_TYPE::U8_C3) {
            for (size_t x = 0; x < mat.width; ++x) {
                unsigned char* pixel = row + 3 * x;
                const unsigned char first = pixel[0];
                pixel[0] = pixel[2];
                pixel[2] = first;
            }
            continue;
        }
        // Four bytes at a time (a pixel, or the colour float of a point), 4 or 16 bytes apart.
        const size_t stride = type == MAT_TYPE::U8_C4 ? 4 : 16;
        const size_t offset = type == MAT_TYPE::U8_C4 ? 0 : 12;
        for (size_t x = 0; x < mat.width; ++x) {
            uint32_t bits;
            std::memcpy(&bits, row + stride * x + offset, sizeof bits);
            bits = (bits & 0xFF00FF00u) | ((bits >> 16) & 0xFFu) | ((bits & 0xFFu) << 16);
            std::memcpy(row + stride * x + offset, &bits, sizeof bits);
        }
    }
    return ERROR_CODE::SUCCESS;
}

ERROR_CODE depthToPointCloud(const Mat& depth, const Mat& colour, const CameraParameters& camera, Mat& cloud,
                             const DepthToPointCloudParameters& parameters, MEM mem, cudaStream_t stream) {
    constexpr const char* kName = "depthToPointCloud";
    if (mem != MEM::CPU && mem != MEM::GPU) return refuse(kName, "runs on CPU or GPU memory");
    if (&cloud == &depth || &cloud == &colour) return refuse(kName, "the cloud cannot be an input");
    if (!depth.isInit() || (depth.dataType != MAT_TYPE::F32_C1 && depth.dataType != MAT_TYPE::U16_C1))
        return refuse(kName, "the depth must be F32_C1 or U16_C1");
    const size_t width = depth.width, height = depth.height;
    if (width == 0 || height == 0 || side(depth, mem) == nullptr)
        return refuse(kName, "the depth has no storage on the requested side");
    if (width > INT32_MAX || height > INT32_MAX)
        return refuse(kName, "the depth is wider or taller than 2^31 - 1");
    const bool withColour = colour.isInit();
    if (withColour && ((colour.dataType != MAT_TYPE::U8_C3 && colour.dataType != MAT_TYPE::U8_C4) ||
                       colour.width != width || colour.height != height || side(colour, mem) == nullptr))
        return refuse(kName, "the colour must be U8_C3 or U8_C4, of the depth's size, on the requested side");
    if (!(std::isfinite(camera.fx) && camera.fx > 0 && std::isfinite(camera.fy) && camera.fy > 0 &&
          std::isfinite(camera.cx) && std::isfinite(camera.cy)))
        return refuse(kName, "the focal lengths must be positive and finite, the principal point finite");
    if (camera.image_size != Resolution(0, 0) && camera.image_size != Resolution(width, height))
        return refuse(kName, "the camera describes another resolution: use CameraParameters::scale");
    if (!unitInRange(parameters.depth_unit) || !unitInRange(parameters.cloud_unit))
        return refuse(kName, "unit out of range");
    const bool counts = depth.dataType == MAT_TYPE::U16_C1;
    if (counts && !(std::isfinite(parameters.depth_scale) && parameters.depth_scale > 0))
        return refuse(kName, "the depth scale must be positive and finite");
    if (static_cast<uint32_t>(parameters.coordinate_system) >
        static_cast<uint32_t>(COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD)) {
        detail::logError("[{}] coordinate system out of range", kName);
        return ERROR_CODE::INVALID_COORDINATE_SYSTEM;
    }

    elementwise::DepthToCloudGrid grid{};
    grid.width = width;
    grid.height = height;
    grid.fx = camera.fx;
    grid.fy = camera.fy;
    grid.cx = camera.cx;
    grid.cy = camera.cy;
    // One factor from sample to cloud unit; exactly 1 when nothing changes, so metres stay bit-exact.
    const float unitScale = getUnitScale(parameters.depth_unit, parameters.cloud_unit);
    grid.factor =
        counts ? static_cast<float>(static_cast<double>(parameters.depth_scale) * unitScale) : unitScale;
    // The range as the bits of positive floats; a NaN bound reads as no bound.
    const float least = std::fmax(parameters.min_depth, FLT_TRUE_MIN);
    const float greatest = std::fmin(parameters.max_depth, FLT_MAX);
    std::memcpy(&grid.minBits, &least, sizeof least);
    if (greatest > 0) {
        std::memcpy(&grid.maxBits, &greatest, sizeof greatest);
    } else {
        grid.maxBits = -1;
    }
    const Matrix3f axes =
        getCoordinateTransformConversion3f(COORDINATE_SYSTEM::IMAGE, parameters.coordinate_system);
    std::memcpy(grid.axes, axes.elements, sizeof grid.axes);
    grid.depthIsU16 = counts ? 1 : 0;
    grid.colourChannels = withColour ? static_cast<int>(colour.channels) : 0;
    grid.cloudChannels = withColour ? 4 : 3;

    unsigned char* out =
        prepareCloud(cloud, width, height, withColour ? MAT_TYPE::F32_C4 : MAT_TYPE::F32_C3, mem);
    if (out == nullptr) {
        detail::logError("[{}] no memory for the cloud", kName);
        return ERROR_CODE::FAILURE;
    }
    grid.depth = side(depth, mem);
    grid.depthStep = stepOf(depth, mem);
    grid.colour = withColour ? side(colour, mem) : nullptr;
    grid.colourStep = withColour ? stepOf(colour, mem) : 0;
    grid.cloud = out;
    grid.cloudStep = stepOf(cloud, mem);
    if (mem == MEM::CPU) {
        backProjectOnHost(grid);
        return ERROR_CODE::SUCCESS;
    }
    return VELA_CUDA_CHECK(cu_depthToPointCloud(grid, stream), kDepthSignature) ? ERROR_CODE::SUCCESS
                                                                                : ERROR_CODE::FAILURE;
}

ERROR_CODE depthToPointCloud(const Mat& depth, const CameraParameters& camera, Mat& cloud,
                             const DepthToPointCloudParameters& parameters, MEM mem, cudaStream_t stream) {
    return depthToPointCloud(depth, Mat(), camera, cloud, parameters, mem, stream);
}

ERROR_CODE transformPointCloud(Mat& cloud, const Transform& transform, MEM mem, cudaStream_t stream) {
    elementwise::RigidCloudGrid grid{};
    const ERROR_CODE status = cloudGrid(cloud, mem, "transformPointCloud", grid);
    if (status != ERROR_CODE::SUCCESS) return status;
    std::memcpy(grid.m, transform.elements, sizeof grid.m);  // the top three rows
    if (mem == MEM::CPU) {
        if (grid.channels == 3) {
            for (size_t y = 0; y < grid.height; ++y)
                detail::transformRigidPoints3(reinterpret_cast<float*>(grid.cloud + y * grid.step),
                                              grid.width, grid.m);
        } else {
            transformRows4(grid);
        }
        return ERROR_CODE::SUCCESS;
    }
    return VELA_CUDA_CHECK(cu_transformPointCloud(grid, stream), kTransformSignature) ? ERROR_CODE::SUCCESS
                                                                                      : ERROR_CODE::FAILURE;
}

ERROR_CODE convertPointCloudUnit(Mat& cloud, UNIT unit_src, UNIT unit_dst, MEM mem, cudaStream_t stream) {
    constexpr const char* kName = "convertPointCloudUnit";
    if (unit_src == unit_dst) return ERROR_CODE::SUCCESS;
    if (!detail::unitsInRange(unit_src, unit_dst)) return refuse(kName, "unit out of range");
    elementwise::ScaleCloudGrid grid{};
    const ERROR_CODE status = cloudGrid(cloud, mem, kName, grid);
    if (status != ERROR_CODE::SUCCESS) return status;
    grid.factor = getUnitScale(unit_src, unit_dst);
    if (mem == MEM::CPU) {
        onHost(grid, elementwise::scaleCloudPoint);
        return ERROR_CODE::SUCCESS;
    }
    return VELA_CUDA_CHECK(cu_scalePointCloud(grid, stream), kUnitSignature) ? ERROR_CODE::SUCCESS
                                                                             : ERROR_CODE::FAILURE;
}

}  // namespace vela
