#pragma once

// Zero-copy views between vela::Mat and OpenCV's cv::Mat (host memory) and cv::cuda::GpuMat (GPU memory).
// Opt-in and header-only: include it in code that already uses OpenCV; vela/vela.hpp never includes it.
//
// A view shares the other container's pixels without owning them: the viewed container must outlive the
// view, and writes through either are seen by both. Element types map one to one (F32_Cn <-> CV_32FCn,
// U8_Cn <-> CV_8UCn, U16_C1 <-> CV_16UC1, S8_C4 <-> CV_8SC4) and the row step is kept; anything else is
// refused with FAILURE and the output is left as it was.

#include <opencv2/core.hpp>
#include <opencv2/core/cuda.hpp>

#include <climits>
#include <string>

#include "vela/core/error_code.hpp"
#include "vela/core/logger.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace opencv {

/// OpenCV's type for `type`, or -1 when there is none.
inline int toCvType(MAT_TYPE type) {
    switch (type) {
        case MAT_TYPE::F32_C1:
            return CV_32FC1;
        case MAT_TYPE::F32_C2:
            return CV_32FC2;
        case MAT_TYPE::F32_C3:
            return CV_32FC3;
        case MAT_TYPE::F32_C4:
            return CV_32FC4;
        case MAT_TYPE::U8_C1:
            return CV_8UC1;
        case MAT_TYPE::U8_C2:
            return CV_8UC2;
        case MAT_TYPE::U8_C3:
            return CV_8UC3;
        case MAT_TYPE::U8_C4:
            return CV_8UC4;
        case MAT_TYPE::U16_C1:
            return CV_16UC1;
        case MAT_TYPE::S8_C4:
            return CV_8SC4;
    }
    return -1;
}

/// The MAT_TYPE of OpenCV's `cvType` into `type`; false when vela has no such element type.
inline bool fromCvType(int cvType, MAT_TYPE& type) {
    const MAT_TYPE all[] = {MAT_TYPE::F32_C1, MAT_TYPE::F32_C2, MAT_TYPE::F32_C3, MAT_TYPE::F32_C4,
                            MAT_TYPE::U8_C1,  MAT_TYPE::U8_C2,  MAT_TYPE::U8_C3,  MAT_TYPE::U8_C4,
                            MAT_TYPE::U16_C1, MAT_TYPE::S8_C4};
    for (MAT_TYPE candidate : all)
        if (toCvType(candidate) == cvType) {
            type = candidate;
            return true;
        }
    return false;
}

namespace detail {
/// Logs why a view was refused and returns FAILURE.
inline ERROR_CODE refuse(const std::string& why) {
    TarnLogger::get_instance().log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR, "[OpenCV view] " + why);
    return ERROR_CODE::FAILURE;
}

/// Whether a grid of `rows` x `cols` elements of `elementBytes`, rows `step` bytes apart, fits OpenCV's
/// int sizes and its rule that a step is a whole number of channel values.
inline bool fitsOpenCV(size_t cols, size_t rows, size_t step, int cvType) {
    const size_t limit = static_cast<size_t>(INT_MAX);
    return cols > 0 && rows > 0 && cols <= limit && rows <= limit && step % CV_ELEM_SIZE1(cvType) == 0 &&
           step >= cols * static_cast<size_t>(CV_ELEM_SIZE(cvType));
}
}  // namespace detail

/// A cv::Mat header over the host side of `mat` (CPU, MEM_BOTH, managed or mapped memory).
inline ERROR_CODE toCvMat(const Mat& mat, cv::Mat& out) {
    const int cvType = toCvType(mat.getDataType());
    unsigned char* data = mat.isInit() ? mat.getPtr<unsigned char>(MEM::CPU) : nullptr;
    if (data == nullptr || cvType < 0) return detail::refuse("the Mat has no host pixels of a known type");
    const size_t step = mat.getStepBytes(MEM::CPU);
    if (!detail::fitsOpenCV(mat.getWidth(), mat.getHeight(), step, cvType))
        return detail::refuse("the Mat's size or row step cannot be described to OpenCV");
    out = cv::Mat(static_cast<int>(mat.getHeight()), static_cast<int>(mat.getWidth()), cvType, data, step);
    return ERROR_CODE::SUCCESS;
}

/// A cv::cuda::GpuMat header over the GPU side of `mat`; needs no CUDA support in OpenCV to be made.
inline ERROR_CODE toGpuMat(const Mat& mat, cv::cuda::GpuMat& out) {
    const int cvType = toCvType(mat.getDataType());
    unsigned char* data = mat.isInit() ? mat.getPtr<unsigned char>(MEM::GPU) : nullptr;
    if (data == nullptr || cvType < 0) return detail::refuse("the Mat has no GPU pixels of a known type");
    const size_t step = mat.getStepBytes(MEM::GPU);
    if (!detail::fitsOpenCV(mat.getWidth(), mat.getHeight(), step, cvType))
        return detail::refuse("the Mat's size or row step cannot be described to OpenCV");
    out = cv::cuda::GpuMat(static_cast<int>(mat.getHeight()), static_cast<int>(mat.getWidth()), cvType, data,
                           step);
    return ERROR_CODE::SUCCESS;
}

/// A vela::Mat referring to the pixels of `image` (host memory), without owning them.
inline ERROR_CODE fromCvMat(const cv::Mat& image, Mat& out) {
    MAT_TYPE type{};
    if (image.dims != 2 || image.empty() || !fromCvType(image.type(), type))
        return detail::refuse("only non-empty 2-D images of a vela element type can be viewed");
    out = Mat(static_cast<size_t>(image.cols), static_cast<size_t>(image.rows), type, image.data,
              image.step[0], MEM::CPU);
    return ERROR_CODE::SUCCESS;
}

/// A vela::Mat referring to the pixels of `image` (GPU memory), without owning them.
inline ERROR_CODE fromGpuMat(const cv::cuda::GpuMat& image, Mat& out) {
    MAT_TYPE type{};
    if (image.empty() || !fromCvType(image.type(), type))
        return detail::refuse("only non-empty images of a vela element type can be viewed");
    out = Mat(static_cast<size_t>(image.cols), static_cast<size_t>(image.rows), type, image.data, image.step,
              MEM::GPU);
    return ERROR_CODE::SUCCESS;
}

}  // namespace opencv
}  // namespace vela
