// Unit scaling and change of axes of host point clouds (inputs.hpp; F32_C3 and F32_C4, both frame sizes;
// unit scaling also of the F32_C1 depth map), each against what a user would write instead, in the same
// run: the limits of a pass in place (every byte read and written back to the same buffer) and of a memcpy
// of the same bytes to a second buffer, OpenCV (convertTo with a scale for units, cv::transform for axes)
// and an Eigen Map product. F32_C4 points carry packed colours whose unused byte is 0, so their fourth
// floats are mostly subnormal, which slows plain float multiplication twenty-fold on many x86 processors.

#include <Eigen/Dense>
#include <opencv2/core.hpp>

#include <cstdint>
#include <cstring>
#include <vector>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

const Mat& points(Size size, MAT_TYPE type) {
    if (type == MAT_TYPE::F32_C1) return depthMap(size);
    return type == MAT_TYPE::F32_C3 ? cloud3(size) : cloud(size);
}

// A private copy of the cloud, which the conversions may change.
Mat copyOf(Size size, MAT_TYPE type) {
    Mat copy;
    require(copy.clone(points(size, type)));
    return copy;
}

// Times step(cloud, forth), `forth` alternating so that the data keeps its magnitude however long the run.
template <typename Step>
void timeAlternating(benchmark::State& state, Mat& cloud, Step step) {
    bool forth = true;
    for (auto _ : state) {
        step(cloud, forth);
        benchmark::ClobberMemory();
        forth = !forth;
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytesReadAndWritten(cloud));
}

constexpr UNIT kMetre = UNIT::METER, kMillimetre = UNIT::MILLIMETER;
constexpr COORDINATE_SYSTEM kZUp = COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP, kImage = COORDINATE_SYSTEM::IMAGE;

// convert(cloud, there, back) and back again, on the host.
template <typename E>
void convert_vela(benchmark::State& state, Size size, MAT_TYPE type, ERROR_CODE (*convert)(Mat&, E, E, MEM),
                  E there, E back) {
    Mat cloud = copyOf(size, type);
    timeAlternating(state, cloud, [&](Mat& mat, bool forth) {
        if (convert(mat, forth ? there : back, forth ? back : there, MEM::CPU) != ERROR_CODE::SUCCESS)
            state.SkipWithError("the conversion failed");
    });
}

void unit_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    convert_vela<UNIT>(state, size, type, convertUnit, kMetre, kMillimetre);
}

void axes_vela(benchmark::State& state, Size size, MAT_TYPE type) {
    convert_vela<COORDINATE_SYSTEM>(state, size, type, convertCoordinateSystem, kZUp, kImage);
}

// The same bytes copied to a second buffer, both touched beforehand.
void copy_memcpy(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud = copyOf(size, type);
    std::vector<unsigned char> copy(cloud.width * cloud.height * cloud.pixelBytes, 1);
    timeAlternating(state, cloud, [&](Mat& mat, bool) {
        std::memcpy(copy.data(), mat.getPtr<unsigned char>(), copy.size());
    });
}

// The limit of any pass in place: every 32-byte block read and written back, xor-ed with a zero that the
// compiler cannot see, so that neither the loads nor the stores can be left out.
void pass_inplace(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud = copyOf(size, type);
    volatile uint64_t opaqueZero = 0;
    const uint64_t zero = opaqueZero;
    auto* words = reinterpret_cast<uint64_t*>(cloud.getPtr<unsigned char>());
    const size_t count = cloud.width * cloud.height * cloud.pixelBytes / sizeof(uint64_t);
    timeAlternating(state, cloud, [&](Mat&, bool) {
        for (size_t i = 0; i < count; ++i)
            words[i] ^= zero;
    });
}

cv::Mat openCvView(Mat& mat) {
    return cv::Mat(static_cast<int>(mat.height), static_cast<int>(mat.width),
                   CV_32FC(static_cast<int>(mat.channels)), mat.getPtr<float>());
}

void unit_opencv(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud = copyOf(size, type);
    cv::Mat view = openCvView(cloud);
    timeAlternating(state, cloud,
                    [&](Mat&, bool forth) { view.convertTo(view, -1, forth ? 1000.0 : 0.001); });
}

// The change-of-axes matrix and its inverse, as `channels` x `channels` row-major floats.
std::vector<float> axesMatrix(size_t channels, bool forth) {
    const COORDINATE_SYSTEM from = forth ? kZUp : kImage, to = forth ? kImage : kZUp;
    if (channels == 3) {
        const Matrix3f m = getCoordinateTransformConversion3f(from, to);
        return std::vector<float>(m.elements, m.elements + 9);
    }
    const Matrix4f m = getCoordinateTransformConversion4f(from, to);
    return std::vector<float>(m.elements, m.elements + 16);
}

// OpenCV and Eigen write into a second buffer and back, as they would be used: in place, both need a
// temporary.
void axes_opencv(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud = copyOf(size, type), other = copyOf(size, type);
    cv::Mat views[2] = {openCvView(cloud), openCvView(other)};
    const int n = static_cast<int>(cloud.channels);
    std::vector<float> forward = axesMatrix(cloud.channels, true),
                       backward = axesMatrix(cloud.channels, false);
    const cv::Mat matrices[2] = {cv::Mat(n, n, CV_32F, forward.data()),
                                 cv::Mat(n, n, CV_32F, backward.data())};
    timeAlternating(state, cloud, [&](Mat&, bool forth) {
        cv::transform(views[forth ? 0 : 1], views[forth ? 1 : 0], matrices[forth ? 0 : 1]);
    });
}

void unit_eigen(benchmark::State& state, Size size, MAT_TYPE type) {
    Mat cloud = copyOf(size, type);
    Eigen::Map<Eigen::VectorXf> floats(
        cloud.getPtr<float>(), static_cast<Eigen::Index>(cloud.width * cloud.height * cloud.channels));
    timeAlternating(state, cloud, [&](Mat&, bool forth) { floats *= forth ? 1000.0f : 0.001f; });
}

template <int N>
void axesEigen(benchmark::State& state, Size size, MAT_TYPE type) {
    using Points = Eigen::Map<Eigen::Matrix<float, N, Eigen::Dynamic>>;
    using Matrix = Eigen::Matrix<float, N, N, Eigen::RowMajor>;
    Mat cloud = copyOf(size, type), other = copyOf(size, type);
    const Eigen::Index count = static_cast<Eigen::Index>(cloud.width * cloud.height);
    Points views[2] = {Points(cloud.getPtr<float>(), N, count), Points(other.getPtr<float>(), N, count)};
    const Matrix matrices[2] = {Matrix(axesMatrix(N, true).data()), Matrix(axesMatrix(N, false).data())};
    timeAlternating(state, cloud, [&](Mat&, bool forth) {
        views[forth ? 1 : 0].noalias() = matrices[forth ? 0 : 1] * views[forth ? 0 : 1];
    });
}

void axes_eigen(benchmark::State& state, Size size, MAT_TYPE type) {
    if (type == MAT_TYPE::F32_C3)
        axesEigen<3>(state, size, type);
    else
        axesEigen<4>(state, size, type);
}

[[maybe_unused]] const bool registered = [] {
    for (const Size size : kSizes) {
        for (MAT_TYPE type : {MAT_TYPE::F32_C1, MAT_TYPE::F32_C3, MAT_TYPE::F32_C4}) {
            const std::string suffix = type == MAT_TYPE::F32_C1   ? "_F32_C1"
                                       : type == MAT_TYPE::F32_C3 ? "_F32_C3"
                                                                  : "_F32_C4";
            add("convertUnit" + suffix, size, "vela", unit_vela, type);
            add("convertUnit" + suffix, size, "inplace", pass_inplace, type);
            add("convertUnit" + suffix, size, "memcpy", copy_memcpy, type);
            add("convertUnit" + suffix, size, "opencv", unit_opencv, type);
            add("convertUnit" + suffix, size, "eigen", unit_eigen, type);
            // The depth map has no axes.
            if (type == MAT_TYPE::F32_C1) continue;
            add("convertCoordinateSystem" + suffix, size, "vela", axes_vela, type);
            add("convertCoordinateSystem" + suffix, size, "inplace", pass_inplace, type);
            add("convertCoordinateSystem" + suffix, size, "memcpy", copy_memcpy, type);
            add("convertCoordinateSystem" + suffix, size, "opencv", axes_opencv, type);
            add("convertCoordinateSystem" + suffix, size, "eigen", axes_eigen, type);
        }
    }
    return true;
}();

}  // namespace
}  // namespace bench
}  // namespace vela
