#pragma once

// vela Mats to and from ROS's PointCloud2 and Image messages. Opt-in and header-only, and it includes no
// ROS header: the functions are templates over any message type with the standard members (PointCloud2:
// height, width, fields of {name, offset, datatype, count}, is_bigendian, point_step, row_step, data,
// is_dense; Image: height, width, encoding, is_bigendian, step, data), so one header serves ROS 1 and
// ROS 2 without linking either. The message's header (frame and stamp) is the caller's to fill.
//
// A cloud's `rgb` field is the packed float ROS tools expect: its 32 bits read as 0x00RRGGBB (alpha in
// the top byte), blue first in memory, where a vela point's fourth float is red first. Reading accepts
// any field order and offset, and refuses with FAILURE (and a logged reason) what it cannot represent;
// the output Mat is then left as it was. Messages are little-endian, as every host vela runs on.

#include <climits>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>

#include "vela/core/error_code.hpp"
#include "vela/core/logger.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/geometry/point_cloud.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace ros {

/// PointField datatypes, as sensor_msgs defines them.
enum POINT_FIELD_TYPE : uint8_t {
    INT8 = 1,     ///< signed byte
    UINT8 = 2,    ///< unsigned byte
    INT16 = 3,    ///< signed 16-bit
    UINT16 = 4,   ///< unsigned 16-bit
    INT32 = 5,    ///< signed 32-bit
    UINT32 = 6,   ///< unsigned 32-bit
    FLOAT32 = 7,  ///< single-precision float
    FLOAT64 = 8,  ///< double-precision float
};

namespace detail {

inline ERROR_CODE refuse(const std::string& why) {
    TarnLogger::get_instance().log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR, "[ROS message] " + why);
    return ERROR_CODE::FAILURE;
}

/// a x b into `out`; false when it passes size_t.
inline bool product(size_t a, size_t b, size_t& out) {
    if (a != 0 && b > SIZE_MAX / a) return false;
    out = a * b;
    return true;
}

/// Offset of the 4-byte field `name` of one of `types` with count 1 (or 0, which old writers use), or -1.
template <typename Fields>
long findField(const Fields& fields, const char* name, std::initializer_list<uint8_t> types) {
    for (const auto& field : fields) {
        if (field.name != name) continue;
        bool typed = false;
        for (uint8_t type : types)
            typed = typed || field.datatype == type;
        if (!typed || field.count > 1) return -2;
        return static_cast<long>(field.offset);
    }
    return -1;
}

template <typename Fields>
void addField(Fields& fields, const char* name, uint32_t offset) {
    typename Fields::value_type field;
    field.name = name;
    field.offset = offset;
    field.datatype = FLOAT32;
    field.count = 1;
    fields.push_back(field);
}

/// Bytes per pixel and channels of an image encoding vela reads and writes; 0 for the others.
inline size_t encodingBytes(const std::string& encoding, MAT_TYPE& type, bool& redFirst) {
    redFirst = encoding == "rgba8" || encoding == "rgb8";
    if (encoding == "32FC1") return type = MAT_TYPE::F32_C1, 4;
    if (encoding == "16UC1" || encoding == "mono16") return type = MAT_TYPE::U16_C1, 2;
    if (encoding == "mono8" || encoding == "8UC1") return type = MAT_TYPE::U8_C1, 1;
    if (encoding == "bgr8" || encoding == "rgb8") return type = MAT_TYPE::U8_C3, 3;
    if (encoding == "bgra8" || encoding == "rgba8") return type = MAT_TYPE::U8_C4, 4;
    return 0;
}

}  // namespace detail

/// Fills `message` with the host side of an F32_C3 or F32_C4 `cloud`: fields x, y, z (and rgb for
/// F32_C4) as FLOAT32, organised as the Mat's height x width, point_step 12 or 16, rows packed; is_dense
/// tells whether no point has a NaN coordinate.
template <typename PointCloud2>
ERROR_CODE toPointCloud2(const Mat& cloud, PointCloud2& message) {
    const MAT_TYPE type = cloud.getDataType();
    const unsigned char* host = cloud.isInit() ? cloud.getPtr<unsigned char>(MEM::CPU) : nullptr;
    if (host == nullptr || (type != MAT_TYPE::F32_C3 && type != MAT_TYPE::F32_C4))
        return detail::refuse("toPointCloud2 wants an F32_C3 or F32_C4 cloud with host storage");
    const size_t width = cloud.getWidth(), height = cloud.getHeight();
    const bool withColour = type == MAT_TYPE::F32_C4;
    const size_t pointStep = withColour ? 16 : 12;
    size_t rowBytes = 0, bytes = 0;
    if (!detail::product(width, pointStep, rowBytes) || !detail::product(rowBytes, height, bytes) ||
        width > UINT32_MAX || height > UINT32_MAX || rowBytes > UINT32_MAX)
        return detail::refuse("the cloud is too large for a PointCloud2");
    message.height = static_cast<uint32_t>(height);
    message.width = static_cast<uint32_t>(width);
    message.fields.clear();
    detail::addField(message.fields, "x", 0);
    detail::addField(message.fields, "y", 4);
    detail::addField(message.fields, "z", 8);
    if (withColour) detail::addField(message.fields, "rgb", 12);
    message.is_bigendian = false;
    message.point_step = static_cast<uint32_t>(pointStep);
    message.row_step = static_cast<uint32_t>(rowBytes);
    message.data.resize(bytes);
    bool dense = true;
    for (size_t y = 0; y < height; ++y) {
        const unsigned char* row = host + y * cloud.getStepBytes(MEM::CPU);
        unsigned char* out = message.data.data() + y * rowBytes;
        std::memcpy(out, row, rowBytes);
        for (size_t x = 0; x < width; ++x) {
            float point[4];
            std::memcpy(point, out + x * pointStep, pointStep);
            dense = dense && point[0] == point[0] && point[1] == point[1] && point[2] == point[2];
            if (withColour) {
                const float rgb = swapRedBlue(point[3]);
                std::memcpy(out + x * pointStep + 12, &rgb, sizeof rgb);
            }
        }
    }
    message.is_dense = dense;
    return ERROR_CODE::SUCCESS;
}

/// Reads `message` into `cloud`, a new host Mat of height x width points: F32_C4 with the colour packed
/// red first when the message has an `rgb` or `rgba` field (FLOAT32 or UINT32), F32_C3 otherwise. x, y and
/// z must be FLOAT32 fields; any order and offset within point_step is accepted.
template <typename PointCloud2>
ERROR_CODE fromPointCloud2(const PointCloud2& message, Mat& cloud) {
    if (message.is_bigendian) return detail::refuse("big-endian clouds are not read");
    const size_t width = message.width, height = message.height;
    const size_t pointStep = message.point_step, rowStep = message.row_step;
    if (width == 0 || height == 0) return detail::refuse("the cloud has no points");
    long offsets[4] = {detail::findField(message.fields, "x", {FLOAT32}),
                       detail::findField(message.fields, "y", {FLOAT32}),
                       detail::findField(message.fields, "z", {FLOAT32}),
                       detail::findField(message.fields, "rgb", {FLOAT32, UINT32})};
    if (offsets[3] == -1) offsets[3] = detail::findField(message.fields, "rgba", {FLOAT32, UINT32});
    for (int i = 0; i < 4; ++i) {
        if (offsets[i] == -2) return detail::refuse("a field is not one 4-byte value of a type vela reads");
        if (i < 3 && offsets[i] < 0) return detail::refuse("x, y and z must be FLOAT32 fields");
        if (offsets[i] >= 0 && static_cast<size_t>(offsets[i]) + 4 > pointStep)
            return detail::refuse("a field lies outside point_step");
    }
    size_t rowBytes = 0, bytes = 0;
    if (!detail::product(width, pointStep, rowBytes) || rowStep < rowBytes ||
        !detail::product(rowStep, height - 1, bytes) || bytes > SIZE_MAX - rowBytes ||
        message.data.size() < bytes + rowBytes)
        return detail::refuse("the data is shorter than height, width and the steps say");
    const bool withColour = offsets[3] >= 0;
    Mat read(width, height, withColour ? MAT_TYPE::F32_C4 : MAT_TYPE::F32_C3, MEM::CPU);
    unsigned char* host = read.isInit() ? read.getPtr<unsigned char>(MEM::CPU) : nullptr;
    if (host == nullptr) return detail::refuse("no memory for the cloud");
    const size_t channels = withColour ? 4 : 3;
    for (size_t y = 0; y < height; ++y) {
        const unsigned char* row = message.data.data() + y * rowStep;
        float* out = reinterpret_cast<float*>(host + y * read.getStepBytes(MEM::CPU));
        for (size_t x = 0; x < width; ++x, out += channels) {
            for (size_t i = 0; i < channels; ++i)
                std::memcpy(out + i, row + x * pointStep + static_cast<size_t>(offsets[i]), sizeof(float));
            if (withColour) out[3] = swapRedBlue(out[3]);
        }
    }
    return read.move(cloud);  // `cloud` is untouched on every failure above
}

/// Fills `message` with the host side of an image: F32_C1 as "32FC1", U16_C1 as "16UC1", U8_C1 as
/// "mono8", and blue-first U8_C3/U8_C4 as "bgr8"/"bgra8", or with `redFirst` as "rgb8"/"rgba8" (red and
/// blue exchanged in the message). Rows are packed.
template <typename Image>
ERROR_CODE toImage(const Mat& image, Image& message, bool redFirst = false) {
    const MAT_TYPE type = image.getDataType();
    const unsigned char* host = image.isInit() ? image.getPtr<unsigned char>(MEM::CPU) : nullptr;
    const char* encoding = type == MAT_TYPE::F32_C1   ? "32FC1"
                           : type == MAT_TYPE::U16_C1 ? "16UC1"
                           : type == MAT_TYPE::U8_C1  ? "mono8"
                           : type == MAT_TYPE::U8_C3  ? (redFirst ? "rgb8" : "bgr8")
                           : type == MAT_TYPE::U8_C4  ? (redFirst ? "rgba8" : "bgra8")
                                                      : nullptr;
    if (host == nullptr || encoding == nullptr)
        return detail::refuse(
            "toImage wants an F32_C1, U16_C1, U8_C1, U8_C3 or U8_C4 image with host storage");
    const size_t width = image.getWidth(), height = image.getHeight(), pixel = image.getPixelBytes();
    size_t rowBytes = 0, bytes = 0;
    if (!detail::product(width, pixel, rowBytes) || !detail::product(rowBytes, height, bytes) ||
        height > UINT32_MAX || width > UINT32_MAX || rowBytes > UINT32_MAX)
        return detail::refuse("the image is too large for an Image message");
    message.height = static_cast<uint32_t>(height);
    message.width = static_cast<uint32_t>(width);
    message.encoding = encoding;
    message.is_bigendian = false;
    message.step = static_cast<uint32_t>(rowBytes);
    message.data.resize(bytes);
    for (size_t y = 0; y < height; ++y) {
        unsigned char* out = message.data.data() + y * rowBytes;
        std::memcpy(out, host + y * image.getStepBytes(MEM::CPU), rowBytes);
        if (redFirst && pixel >= 3)
            for (size_t x = 0; x < width; ++x)
                std::swap(out[x * pixel], out[x * pixel + 2]);
    }
    return ERROR_CODE::SUCCESS;
}

/// Reads an Image message of encoding "32FC1", "16UC1", "mono16", "mono8", "bgr8", "bgra8", "rgb8" or
/// "rgba8" into `image`, a new host Mat; colour images come out blue first, as vela's images are.
template <typename Image>
ERROR_CODE fromImage(const Image& message, Mat& image) {
    MAT_TYPE type{};
    bool redFirst = false;
    const size_t pixel = detail::encodingBytes(message.encoding, type, redFirst);
    if (pixel == 0)
        return detail::refuse("image encoding \"" + std::string(message.encoding) + "\" is not read");
    if (message.is_bigendian && (type == MAT_TYPE::F32_C1 || type == MAT_TYPE::U16_C1))
        return detail::refuse("big-endian images are not read");
    const size_t width = message.width, height = message.height, step = message.step;
    size_t rowBytes = 0, bytes = 0;
    if (width == 0 || height == 0) return detail::refuse("the image is empty");
    if (!detail::product(width, pixel, rowBytes) || step < rowBytes ||
        !detail::product(step, height - 1, bytes) || bytes > SIZE_MAX - rowBytes ||
        message.data.size() < bytes + rowBytes)
        return detail::refuse("the data is shorter than height, width and step say");
    Mat read(width, height, type, MEM::CPU);
    unsigned char* host = read.isInit() ? read.getPtr<unsigned char>(MEM::CPU) : nullptr;
    if (host == nullptr) return detail::refuse("no memory for the image");
    for (size_t y = 0; y < height; ++y) {
        unsigned char* out = host + y * read.getStepBytes(MEM::CPU);
        std::memcpy(out, message.data.data() + y * step, rowBytes);
        if (redFirst)
            for (size_t x = 0; x < width; ++x)
                std::swap(out[x * pixel], out[x * pixel + 2]);
    }
    return read.move(image);
}

}  // namespace ros
}  // namespace vela
