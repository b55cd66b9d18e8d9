// Point clouds and depth maps as files that keep every value. Points are packed into records in a large
// buffer and written in big blocks to a temporary file beside the target, which is renamed over it once
// complete. Text holds each float with the fewest digits that read back to the same float, and every line
// ends with a line break.

#include "vela/mat/point_cloud_files.hpp"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <lzf.h>

#include "core/logging.hpp"
#include "core/replacing_file.hpp"
#include "formats/host_rows.hpp"

namespace vela {
namespace {

using detail::HostRows;
using detail::isFinite;

constexpr const char* kPrefix = "[Mat] ";

// The host rows of `mat`; a Mat without host memory is first copied from the GPU into `copy`.
HostRows readableRows(const Mat& mat, Mat& copy) {
    if (mat.initialized && !detail::hasHostSide(mat.memType) && mat.gpuBuffer != nullptr) {
        if (mat.copyTo(copy, COPY_TYPE::GPU_CPU) != ERROR_CODE::SUCCESS) return {};
        return detail::hostRows(copy);
    }
    return detail::hostRows(mat);
}

ERROR_CODE invalid(const char* function, const std::string& path, const char* reason) {
    detail::logError("{}{} {}: {}", kPrefix, function, path, reason);
    return ERROR_CODE::INVALID_FUNCTION_PARAMETERS;
}

ERROR_CODE unwritable(const char* function, const std::string& path, int error) {
    detail::logError("{}{} {}: cannot be written: {}", kPrefix, function, path, std::strerror(error));
    return ERROR_CODE::FAILURE;
}

// Writes what `fill` puts into a block sink to `path`, replacing an old file only once complete.
template <typename Fill>
ERROR_CODE writeReplacing(const char* function, const std::string& path, Fill fill) {
    detail::ReplacingFile file(path);
    if (!file.isOpen()) return unwritable(function, path, file.error());
    {
        detail::BlockSink sink([&file](const char* data, size_t size) { return file.write(data, size); });
        fill(sink);
        sink.flush();
    }
    return file.commit(false) ? ERROR_CODE::SUCCESS : unwritable(function, path, file.error());
}

// How the points of a cloud file are laid out.
struct CloudLayout {
    POINT_CLOUD_FORMAT format;
    bool binary;
    bool color;
    bool organised;
    bool compressed;  ///< PCD binary_compressed
};

std::string cloudHeader(const CloudLayout& layout, size_t width, size_t height) {
    const std::string points = std::to_string(width * height);
    if (layout.format == POINT_CLOUD_FORMAT::PLY) {
        return std::string("ply\nformat ") + (layout.binary ? "binary_little_endian" : "ascii") +
               " 1.0\nelement vertex " + points + "\nproperty float x\nproperty float y\nproperty float z\n" +
               (layout.color ? "property uchar red\nproperty uchar green\nproperty uchar blue\n" : "") +
               "end_header\n";
    }
    if (layout.format == POINT_CLOUD_FORMAT::PCD) {
        // PCD has no density field: readers learn it from the NaN points, the comment tells a person.
        return std::string("# .PCD v0.7 - Point Cloud Data file format\n") +
               (layout.organised ? "# organised, not dense: invalid points are NaN\n" : "") +
               "VERSION 0.7\n" +
               (layout.color ? "FIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F F\nCOUNT 1 1 1 1\n"
                             : "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\n") +
               "WIDTH " + std::to_string(width) + "\nHEIGHT " + std::to_string(height) +
               "\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS " + points + "\nDATA " +
               (layout.compressed ? "binary_compressed"
                : layout.binary   ? "binary"
                                  : "ascii") +
               "\n";
    }
    return {};  // XYZ has no header
}

// More than the longest record: four floats of text (at most 15 characters each) and the separators.
constexpr size_t kMaxRecord = 128;

// A float's shortest exact text; NaN is always "nan", whatever its sign and payload.
char* writeFloat(float value, char* out) {
    if (value != value) return std::copy_n("nan", 3, out);
    return std::to_chars(out, out + 24, value).ptr;
}

// True when x, y and z are all finite: none has the exponent bits all set.
bool isValidPoint(const unsigned char* point) {
    uint32_t bits[3];
    std::memcpy(bits, point, sizeof bits);
    constexpr uint32_t kExponent = 0x7F800000;
    return ((bits[0] & kExponent) != kExponent) & ((bits[1] & kExponent) != kExponent) &
           ((bits[2] & kExponent) != kExponent);
}

// PCD's packed colour, 0x00RRGGBB, as the bits of a float; red, green and blue are bytes 0, 1, 2 of `rgb`.
uint32_t packedColor(const unsigned char* rgb) {
    return uint32_t{rgb[0]} << 16 | uint32_t{rgb[1]} << 8 | rgb[2];
}

// Binary records: x, y, z as they lie in memory (the host is little-endian), then PLY's three colour bytes
// or PCD's packed word. The record is always stored and `out` advanced only when it is kept, so that
// invalid points cost no mispredicted branch.
template <size_t kColorBytes, bool kPly>
char* writeBinaryRecords(const unsigned char* point, size_t count, size_t pointBytes, bool organised,
                         char* out) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInvalid[3] = {kNaN, kNaN, kNaN};
    for (size_t i = 0; i < count; ++i, point += pointBytes) {
        const bool valid = isValidPoint(point);
        std::memcpy(out, valid ? point : reinterpret_cast<const unsigned char*>(kInvalid), 12);
        if constexpr (kColorBytes == 3) {
            std::memcpy(out + 12, point + 12, 3);
        } else if constexpr (kColorBytes == 4) {
            const uint32_t word = packedColor(point + 12);
            std::memcpy(out + 12, &word, sizeof word);
        }
        out += valid || organised ? 12 + kColorBytes : 0;
    }
    return out;
}

// One text line per kept point: the floats, then the colour, blank-separated.
char* writeTextRecords(const CloudLayout& layout, const unsigned char* point, size_t count, size_t pointBytes,
                       char* out) {
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    for (size_t i = 0; i < count; ++i, point += pointBytes) {
        const bool valid = isValidPoint(point);
        if (!valid && !layout.organised) continue;
        for (int axis = 0; axis < 3; ++axis) {
            float value;
            std::memcpy(&value, point + axis * sizeof value, sizeof value);
            out = writeFloat(valid ? value : kNaN, out);
            *out++ = ' ';
        }
        const unsigned char* rgb = point + 12;
        if (layout.color && layout.format == POINT_CLOUD_FORMAT::PLY) {
            for (int channel = 0; channel < 3; ++channel) {
                out = std::to_chars(out, out + 3, rgb[channel]).ptr;
                *out++ = ' ';
            }
        } else if (layout.color) {
            const uint32_t word = packedColor(rgb);
            float packed;
            std::memcpy(&packed, &word, sizeof packed);
            out = writeFloat(packed, out);
            *out++ = ' ';
        }
        out[-1] = '\n';  // the last separator ends the line
    }
    return out;
}

// Points are taken in spans short enough that the longest records of a whole span fit in the sink.
constexpr size_t kSpanPoints = detail::BlockSink::kCapacity / kMaxRecord;

// Calls `visit(first, count)` for consecutive spans of at most kSpanPoints points, in memory order.
template <typename Visit>
void forEachSpan(const HostRows& rows, size_t pointBytes, Visit visit) {
    for (size_t y = 0; y < rows.height; ++y) {
        const unsigned char* row = rows.data + y * rows.step;
        for (size_t x = 0; x < rows.width; x += kSpanPoints)
            visit(row + x * pointBytes, std::min(kSpanPoints, rows.width - x));
    }
}

size_t countValidPoints(const HostRows& rows, size_t pointBytes) {
    size_t valid = 0;
    forEachSpan(rows, pointBytes, [&](const unsigned char* point, size_t count) {
        for (size_t i = 0; i < count; ++i, point += pointBytes)
            valid += isValidPoint(point) ? 1 : 0;
    });
    return valid;
}

void writePoints(const HostRows& rows, size_t pointBytes, const CloudLayout& layout,
                 detail::BlockSink& sink) {
    const bool organised = layout.organised;
    const bool ply = layout.format == POINT_CLOUD_FORMAT::PLY;
    forEachSpan(rows, pointBytes, [&](const unsigned char* point, size_t count) {
        char* out = sink.reserve(count * kMaxRecord);
        if (!layout.binary)
            out = writeTextRecords(layout, point, count, pointBytes, out);
        else if (!layout.color)
            out = writeBinaryRecords<0, false>(point, count, pointBytes, organised, out);
        else if (ply)
            out = writeBinaryRecords<3, true>(point, count, pointBytes, organised, out);
        else
            out = writeBinaryRecords<4, false>(point, count, pointBytes, organised, out);
        sink.commit(out);
    });
}

// 16-bit depth counts: depth x factor rounded to nearest, ties to even; NaN and infinities become
// `invalidValue`, and what lies outside 0..65535 is clamped to it.
uint16_t depthCount(float depth, const DepthWriteOptions& options) {
    if (!isFinite(depth)) return options.invalidValue;
    const float scaled = depth * options.factor;
    if (!(scaled > 0.0f)) return scaled != scaled ? options.invalidValue : 0;
    if (scaled >= 65535.0f) return 65535;
    return static_cast<uint16_t>(std::nearbyint(scaled));
}

ERROR_CODE writePfm(const HostRows& rows, const std::string& path) {
    return writeReplacing("writeDepth", path, [&](detail::BlockSink& sink) {
        // A negative scale says the samples are little-endian; rows go bottom first.
        sink.append("Pf\n" + std::to_string(rows.width) + " " + std::to_string(rows.height) + "\n-1\n");
        for (size_t y = rows.height; y-- > 0;)
            sink.append(reinterpret_cast<const char*>(rows.data + y * rows.step), rows.width * sizeof(float));
    });
}

ERROR_CODE writeDepthImage(const HostRows& rows, const std::string& path, const char* extension,
                           const std::vector<int>& parameters, const DepthWriteOptions& options) {
    std::vector<uchar> encoded;
    try {
        cv::Mat counts(static_cast<int>(rows.height), static_cast<int>(rows.width), CV_16UC1);
        for (size_t y = 0; y < rows.height; ++y) {
            const auto* depth = reinterpret_cast<const float*>(rows.data + y * rows.step);
            auto* count = counts.ptr<uint16_t>(static_cast<int>(y));
            for (size_t x = 0; x < rows.width; ++x)
                count[x] = depthCount(depth[x], options);
        }
        if (!cv::imencode(extension, counts, encoded, parameters))
            return invalid("writeDepth", path, "the image encoder refused the map");
    } catch (const cv::Exception& error) {
        detail::logError("{}writeDepth {}: {}", kPrefix, path, error.what());
        return ERROR_CODE::FAILURE;
    }
    return writeReplacing("writeDepth", path, [&](detail::BlockSink& sink) {
        sink.append(reinterpret_cast<const char*>(encoded.data()), encoded.size());
    });
}

// PCD binary_compressed: after the header, the sizes of the LZF stream and of the data it expands to
// (little-endian 32-bit), then the stream. The data holds all x values of the kept points, then all y, all
// z and, with colour, all packed words: runs of like values, which compress far better than records.
ERROR_CODE writeCompressedPcd(const HostRows& rows, size_t pointBytes, const CloudLayout& layout,
                              size_t points, const std::string& path) {
    const char* function = "writePointCloud";
    const size_t fields = layout.color ? 4 : 3;
    if (points > (size_t{0xFFFFFFFF} - 64) / (fields * 4 + 1))
        return invalid(function, path, "the cloud is too large for a compressed PCD (4 GiB of data at most)");
    const size_t dataBytes = points * fields * 4;
    std::unique_ptr<uint32_t[]> data;
    std::unique_ptr<char[]> compressed;
    const size_t room = dataBytes + dataBytes / 16 + 64;  // LZF adds at most one byte in 32
    try {
        data.reset(new uint32_t[points * fields]);
        compressed.reset(new char[room]);
    } catch (const std::bad_alloc&) {
        detail::logError("{}{} {}: no memory for the compressed data", kPrefix, function, path);
        return ERROR_CODE::FAILURE;
    }
    uint32_t* column[4] = {data.get(), data.get() + points, data.get() + 2 * points, data.get() + 3 * points};
    constexpr uint32_t kNaNBits = 0x7FC00000;
    size_t kept = 0;
    forEachSpan(rows, pointBytes, [&](const unsigned char* point, size_t count) {
        for (size_t i = 0; i < count; ++i, point += pointBytes) {
            const bool valid = isValidPoint(point);
            if (!valid && !layout.organised) continue;
            uint32_t xyz[3];
            std::memcpy(xyz, point, sizeof xyz);
            for (size_t axis = 0; axis < 3; ++axis)
                column[axis][kept] = valid ? xyz[axis] : kNaNBits;
            if (layout.color) column[3][kept] = packedColor(point + 12);
            ++kept;
        }
    });
    const unsigned int stream = dataBytes == 0
                                    ? 0
                                    : lzf_compress(data.get(), static_cast<unsigned int>(dataBytes),
                                                   compressed.get(), static_cast<unsigned int>(room));
    if (dataBytes != 0 && stream == 0) {
        detail::logError("{}{} {}: the points could not be compressed", kPrefix, function, path);
        return ERROR_CODE::FAILURE;
    }
    data.reset();
    const uint32_t sizes[2] = {stream, static_cast<uint32_t>(dataBytes)};  // the host is little-endian
    return writeReplacing(function, path, [&](detail::BlockSink& sink) {
        sink.append(
            cloudHeader(layout, layout.organised ? rows.width : points, layout.organised ? rows.height : 1));
        sink.append(reinterpret_cast<const char*>(sizes), sizeof sizes);
        sink.append(compressed.get(), stream);
    });
}

}  // namespace

ERROR_CODE writePointCloud(const Mat& cloud, const String& path, POINT_CLOUD_FORMAT format,
                           const PointCloudWriteOptions& options) {
    const char* function = "writePointCloud";
    const std::string name = path.str();
    const bool fourChannels = cloud.dataType == MAT_TYPE::F32_C4;
    if (!cloud.initialized || (!fourChannels && cloud.dataType != MAT_TYPE::F32_C3))
        return invalid(function, name, "the cloud is not an initialised F32_C3 or F32_C4 Mat");
    if (format != POINT_CLOUD_FORMAT::PLY && format != POINT_CLOUD_FORMAT::PCD &&
        format != POINT_CLOUD_FORMAT::XYZ)
        return invalid(function, name, "only PLY, PCD and XYZ are written here; VTK by savePointCloudAs");
    if (options.encoding != FILE_ENCODING::BINARY && options.encoding != FILE_ENCODING::ASCII &&
        options.encoding != FILE_ENCODING::BINARY_COMPRESSED)
        return invalid(function, name, "unknown encoding");
    const bool compressed = options.encoding == FILE_ENCODING::BINARY_COMPRESSED;
    if (compressed && format != POINT_CLOUD_FORMAT::PCD)
        return invalid(function, name, "only PCD is written compressed");
    if (options.withColor && (!fourChannels || format == POINT_CLOUD_FORMAT::XYZ))
        return invalid(function, name, "colour needs an F32_C4 cloud and PLY or PCD");
    if (options.keepInvalid && format != POINT_CLOUD_FORMAT::PCD)
        return invalid(function, name, "only PCD keeps invalid points: PLY and XYZ have no organised form");

    Mat copy;
    const HostRows rows = readableRows(cloud, copy);
    if (rows.data == nullptr) return invalid(function, name, "the cloud's memory cannot be read");
    const CloudLayout layout{format,
                             options.encoding != FILE_ENCODING::ASCII && format != POINT_CLOUD_FORMAT::XYZ,
                             options.withColor, options.keepInvalid, compressed};
    size_t width = rows.width;
    size_t height = rows.height;
    if (!layout.organised) {
        width = countValidPoints(rows, cloud.pixelBytes);
        height = 1;
    }
    if (width == 0) {
        detail::log(LOGGER_NAME::VELA, LOG_LEVEL::WARNING,
                    "{}{} {}: the cloud has no valid point; some readers refuse a file without points",
                    kPrefix, function, name);
    }
    if (compressed) return writeCompressedPcd(rows, cloud.pixelBytes, layout, width * height, name);
    return writeReplacing(function, name, [&](detail::BlockSink& sink) {
        sink.append(cloudHeader(layout, width, height));
        writePoints(rows, cloud.pixelBytes, layout, sink);
    });
}

ERROR_CODE writeDepth(const Mat& depth, const String& path, DEPTH_FORMAT format,
                      const DepthWriteOptions& options) {
    const std::string name = path.str();
    if (!depth.initialized || depth.dataType != MAT_TYPE::F32_C1)
        return invalid("writeDepth", name, "the depth map is not an initialised F32_C1 Mat");
    Mat copy;
    const HostRows rows = readableRows(depth, copy);
    if (rows.data == nullptr) return invalid("writeDepth", name, "the depth map's memory cannot be read");
    switch (format) {
        case DEPTH_FORMAT::PFM:
            return writePfm(rows, name);
        case DEPTH_FORMAT::PNG:
            return writeDepthImage(rows, name, ".png", {}, options);
        case DEPTH_FORMAT::PGM:
            return writeDepthImage(rows, name, ".pgm", {cv::IMWRITE_PXM_BINARY, 1}, options);
    }
    return invalid("writeDepth", name, "unknown depth format");
}

}  // namespace vela
