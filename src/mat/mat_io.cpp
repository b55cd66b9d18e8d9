// Mat images to and from files: the extension and the element type choose the image encoder, the depth-map
// exporter or the point-cloud exporter; reading decodes into a fresh host buffer.

#include "mat/mat_io.hpp"

#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "core/logging.hpp"
#include "core/replacing_file.hpp"
#include "mat/element_table.hpp"
#include "vela/mat/exporters.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace {

// The text after the last "." of `path`; empty when there is no "." or the text is longer than four
// characters. Case is kept: "PNG" is not "png".
std::string extensionOf(const std::string& path) {
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || path.size() - dot - 1 > 4) return {};
    return path.substr(dot + 1);
}

DEPTH_FORMAT depthFormatFor(const std::string& extension) {
    if (extension == "png") return DEPTH_FORMAT::PNG;
    if (extension == "pgm") return DEPTH_FORMAT::PGM;
    return DEPTH_FORMAT::PFM;
}

POINT_CLOUD_FORMAT cloudFormatFor(const std::string& extension) {
    if (extension == "xyz") return POINT_CLOUD_FORMAT::XYZ;
    if (extension == "ply") return POINT_CLOUD_FORMAT::PLY;
    if (extension == "vtk") return POINT_CLOUD_FORMAT::VTK;
    return POINT_CLOUD_FORMAT::PCD;
}

// The encoder's parameters: "png" takes a level of compression / 10, "jpg" and "jpeg" a quality of
// 100 - compression. Only -1 means the default, which is settled before scaling: level 3, quality 95.
std::vector<int> encoderParameters(const std::string& extension, int compression) {
    if (extension == "png") {
        const int amount = compression == -1 ? 30 : compression;
        return {cv::IMWRITE_PNG_COMPRESSION, std::clamp(amount / 10, 0, 9)};
    }
    if (extension == "jpg" || extension == "jpeg") {
        const int amount = compression == -1 ? 5 : compression;
        return {cv::IMWRITE_JPEG_QUALITY, 100 - std::clamp(amount, 0, 100)};
    }
    return {};
}

ERROR_CODE unsupported() {
    detail::logError("{} Mat type currently not supported.", "[Mat] ");
    return ERROR_CODE::FAILURE;
}

ERROR_CODE exported(bool written) {
    return written ? ERROR_CODE::SUCCESS : unsupported();
}

// Puts the image library's error handler back to its default, however the encoder returns.
struct DefaultErrorHandlerOnExit {
    ~DefaultErrorHandlerOnExit() { cv::redirectError(nullptr, nullptr, nullptr); }
};

// Encodes a copy of the host content (the encoder never sees, and never changes, the Mat's own buffer) to
// memory, then writes the bytes through a temporary file renamed over the target: a failed encode or write
// leaves an old file as it was. Four channels stay four channels.
ERROR_CODE encodeImage(const Mat& mat, const std::string& path, const std::string& extension,
                       int compression) {
    std::vector<uchar> encoded;
    try {
        cv::Mat image;
        if (mat.cpuBuffer != nullptr) {
            cv::Mat(static_cast<int>(mat.height), static_cast<int>(mat.width), cvTypeOf(mat.dataType),
                    mat.cpuBuffer.get(), mat.getStepBytes(MEM::CPU))
                .copyTo(image);
        }
        if (image.empty()) return unsupported();
        const DefaultErrorHandlerOnExit resetHandler;
        // The encoder is chosen from the whole text after the last ".", as when encoding to a file.
        const size_t dot = path.rfind('.');
        const std::string codec = dot == std::string::npos ? std::string() : path.substr(dot);
        if (!cv::imencode(codec, image, encoded, encoderParameters(extension, compression))) {
            detail::logError("{} in {} : {}", "[Mat] ", "write", "the image encoder refused the image");
            return ERROR_CODE::FAILURE;
        }
    } catch (const cv::Exception& error) {
        detail::logError("{} in {} : {}", "[Mat] ", "write", error.what());
        return ERROR_CODE::FAILURE;
    }
    const int error = detail::replaceFile(path, encoded.data(), encoded.size(), false);
    if (error == 0) return ERROR_CODE::SUCCESS;
    detail::logError("{} in {} : {} cannot be written: {}", "[Mat] ", "write", path, std::strerror(error));
    return ERROR_CODE::FAILURE;
}

}  // namespace

int cvTypeOf(MAT_TYPE type) {
    return detail::withElementType(
        type,
        [](auto* tag) {
            using Traits = detail::ElementTraits<std::remove_pointer_t<decltype(tag)>>;
            return CV_MAKETYPE(cv::traits::Depth<typename Traits::Scalar>::value,
                               static_cast<int>(Traits::channels));
        },
        -1);
}

MAT_TYPE matTypeFromCvMat(const cv::Mat& mat) {
#define VELA_MATCH_CV_TYPE(T, name, ...) \
    if (mat.type() == cvTypeOf(MAT_TYPE::name)) return MAT_TYPE::name;
    VELA_FOR_EACH_ELEMENT_TYPE(VELA_MATCH_CV_TYPE)
#undef VELA_MATCH_CV_TYPE
    // Deliberately one 8-bit channel: read then copies only the bytes such a grid holds.
    return MAT_TYPE::U8_C1;
}

ERROR_CODE Mat::write(const String& filePath, MEM mem, int compression) {
    if (!initialized) return ERROR_CODE::FAILURE;
    if (mem == MEM::GPU) {
        if (updateCPUfromGPU() != ERROR_CODE::SUCCESS) return ERROR_CODE::INVALID_FUNCTION_CALL;
    } else if (mem != MEM::CPU) {
        return ERROR_CODE::INVALID_FUNCTION_CALL;
    }
    const std::string path = filePath.str();
    const std::string extension = extensionOf(path);
    switch (dataType) {
        case MAT_TYPE::F32_C1:
            return exported(saveDepthAs(*this, depthFormatFor(extension), filePath, 1.0f));
        case MAT_TYPE::F32_C3:
        case MAT_TYPE::F32_C4:
            return exported(
                savePointCloudAs(*this, cloudFormatFor(extension), filePath, dataType == MAT_TYPE::F32_C4));
        case MAT_TYPE::U8_C1:
        case MAT_TYPE::U8_C3:
        case MAT_TYPE::U8_C4:
        case MAT_TYPE::S8_C4:
            return encodeImage(*this, path, extension, compression);
        case MAT_TYPE::U16_C1:
            // 16-bit samples are only written as PNG.
            return extension == "png" ? encodeImage(*this, path, extension, compression) : unsupported();
        case MAT_TYPE::F32_C2:
        case MAT_TYPE::U8_C2:
            return unsupported();
    }
    return unsupported();
}

ERROR_CODE Mat::read(const String& filePath) {
    const std::string path = filePath.str();
    // Only a regular file is read, checked before reading so that a FIFO cannot block; the decoder then
    // works on those bytes, so the file cannot change between the check and the decode.
    std::string content;
    const int error = detail::readRegularFile(path, content);
    if (error != 0) {
        detail::logError("{} in {} : {}: {}", "[Mat] ", "read", path,
                         error == EINVAL ? "not a regular file" : std::strerror(error));
        return ERROR_CODE::FAILURE;
    }
    // The DICOM decoder aborts the whole process on some malformed input instead of reporting an error, so
    // files with its mark, "DICM" after a 128-byte preamble, are never handed to it.
    if (content.size() >= 132 && content.compare(128, 4, "DICM") == 0) {
        detail::logError("{} in {} : {} is a DICOM file, which is not read", "[Mat] ", "read", path);
        return ERROR_CODE::FAILURE;
    }
    try {
        const cv::Mat image =
            content.empty()
                ? cv::Mat()
                : cv::imdecode(cv::Mat(1, static_cast<int>(std::min<size_t>(content.size(), INT_MAX)),
                                       CV_8UC1, content.data()),
                               cv::IMREAD_UNCHANGED);
        if (image.empty()) return ERROR_CODE::FAILURE;
        // Decoded and allocated before anything is freed: on any failure this Mat stays as it was.
        Mat decoded(static_cast<size_t>(image.cols), static_cast<size_t>(image.rows), matTypeFromCvMat(image),
                    MEM::CPU);
        if (decoded.cpuBuffer == nullptr) return ERROR_CODE::FAILURE;  // the allocation has logged why
        // Decoded rows are packed like host rows. For a fall-back type the new buffer is smaller than the
        // image, and only its size is copied.
        std::memcpy(decoded.cpuBuffer.get(), image.data, decoded.stepCPU * decoded.height);
        decoded.userFlag = userFlag;  // as before the read: only the storage changes
        decoded.timestamp = timestamp;
        free(MEM_BOTH);
        static_cast<void>(decoded.move(*this));  // decoded owns its buffer
        return ERROR_CODE::SUCCESS;
    } catch (const cv::Exception& exception) {
        detail::logError("{} in {} : {}", "[Mat] ", "read", exception.what());
        return ERROR_CODE::FAILURE;
    }
}

}  // namespace vela
