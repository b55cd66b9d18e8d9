// Depth maps and point clouds to files. 16-bit PNG and PGM go through the image encoder; PFM and the ASCII
// point-cloud formats are written here. Point clouds are large (a 1280x720 map is 921,600 points) and their
// text must be exactly what printf's "%f" and "%e" give, so numbers are formatted by detail::formatFixed6
// and formatExponent6 into a large buffer that is written in big blocks.

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/logging.hpp"
#include "core/replacing_file.hpp"
#include "formats/float_format.hpp"
#include "formats/host_rows.hpp"
#include "vela/mat/exporters.hpp"

namespace vela {
namespace {

using detail::HostRows;
using detail::hostRows;
using detail::isFinite;

// `name` with `extension` appended unless it already ends with it, compared case-sensitively: a.png stays,
// a becomes a.png, a.PNG becomes a.PNG.png.
std::string withExtension(const String& name, const std::string& extension) {
    std::string result = name.str();
    const bool ends = result.size() >= extension.size() &&
                      result.compare(result.size() - extension.size(), extension.size(), extension) == 0;
    if (!ends) result += extension;
    return result;
}

// Logs why `fileName` could not be written and returns false.
bool unwritable(const char* function, const std::string& fileName, int error) {
    detail::logError("{} in {} : {} cannot be written: {}", "[Mat] ", function, fileName,
                     std::strerror(error));
    return false;
}

// Writes what `fill` puts into a block sink to `fileName` through a temporary file (named after the target
// and `suffix`) renamed over it once complete: a failed write leaves an old file as it was and no temporary.
template <typename Fill>
bool writeReplacing(const char* function, const std::string& fileName, const std::string& suffix, Fill fill) {
    detail::ReplacingFile file(fileName, suffix);
    if (!file.isOpen()) return unwritable(function, fileName, file.error());
    {
        detail::BlockSink sink([&file](const char* data, size_t size) { return file.write(data, size); });
        fill(sink);
        sink.flush();
    }
    return file.commit(false) || unwritable(function, fileName, file.error());
}

bool writePfm(const HostRows& rows, const std::string& fileName) {
    return writeReplacing("saveDepthAs", fileName, ".tmp", [&](detail::BlockSink& sink) {
        // A negative scale says the samples are little-endian; rows go top first.
        char header[64];
        const int length = std::snprintf(header, sizeof header, "Pf\n%d %d\n%lf\n",
                                         static_cast<int>(rows.width), static_cast<int>(rows.height), -1.0);
        sink.append(header, static_cast<size_t>(length));
        // Samples go through the sink's buffer, non-finite ones replaced by 0: a single pass over the map.
        constexpr size_t kBlockSamples = 16384;
        for (size_t y = 0; y < rows.height; ++y) {
            const unsigned char* row = rows.data + y * rows.step;
            for (size_t x = 0; x < rows.width;) {
                const size_t count = std::min(rows.width - x, kBlockSamples);
                char* out = sink.reserve(count * sizeof(float));
                for (size_t i = 0; i < count; ++i) {
                    float sample;
                    std::memcpy(&sample, row + (x + i) * sizeof(float), sizeof sample);
                    if (!isFinite(sample)) sample = 0.0f;
                    std::memcpy(out + i * sizeof(float), &sample, sizeof sample);
                }
                sink.commit(out + count * sizeof(float));
                x += count;
            }
        }
    });
}

// Depth counts through the image encoder: each value times `factor`, rounded and saturated to 0..65535.
bool writeDepthImage(const HostRows& rows, const std::string& fileName, const char* extension, float factor,
                     const std::vector<int>& parameters) {
    std::vector<uchar> encoded;
    try {
        const cv::Mat depth(static_cast<int>(rows.height), static_cast<int>(rows.width), CV_32FC1,
                            const_cast<unsigned char*>(rows.data), rows.step);
        cv::Mat counts;
        depth.convertTo(counts, CV_16UC1, factor, 0);
        if (!cv::imencode(extension, counts, encoded, parameters)) {
            detail::logError("{} in {} : {}", "[Mat] ", "saveDepthAs", "the image encoder refused the map");
            return false;
        }
    } catch (const cv::Exception& error) {
        detail::logError("{} in {} : {}", "[Mat] ", "saveDepthAs", error.what());
        return false;
    }
    const int error = detail::replaceFile(fileName, encoded.data(), encoded.size(), false);
    return error == 0 || unwritable("saveDepthAs", fileName, error);
}

// What a point-cloud format needs: its extension and how it prints colour.
enum class ColorText { None, PackedFloat, Bytes };
struct CloudFormat {
    const char* extension;
    ColorText color;  ///< the colour text when colour is asked for; None when the format has none
};

// The format's description; a null extension for a value outside the enumeration.
CloudFormat describe(POINT_CLOUD_FORMAT format) {
    switch (format) {
        case POINT_CLOUD_FORMAT::XYZ:
            return {".xyz", ColorText::None};
        case POINT_CLOUD_FORMAT::PCD:
            return {".pcd", ColorText::PackedFloat};
        case POINT_CLOUD_FORMAT::PLY:
            return {".ply", ColorText::Bytes};
        case POINT_CLOUD_FORMAT::VTK:
            return {".vtk", ColorText::None};
    }
    return {nullptr, ColorText::None};
}

// Everything before the points; every header states the number of points first.
std::string cloudHeader(POINT_CLOUD_FORMAT format, bool color, size_t count) {
    const std::string n = std::to_string(count);
    switch (format) {
        case POINT_CLOUD_FORMAT::XYZ:
            return "# Point Cloud generated by the TARN Camera \n# Number of points " + n + "\n";
        case POINT_CLOUD_FORMAT::PCD:
            return std::string("# .PCD v.7 - Point Cloud Data file format\nVERSION .7\n") +
                   (color ? "FIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F F\nCOUNT 1 1 1 1\n"
                          : "FIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nCOUNT 1 1 1\n") +
                   "WIDTH " + n + "\nHEIGHT 1\nPOINTS " + n + "\nDATA ascii\n";
        case POINT_CLOUD_FORMAT::PLY:
            return "ply\nformat ascii 1.0\nelement vertex " + n +
                   "\nproperty float x\nproperty float y\nproperty float z\n" +
                   (color ? "property uchar red\nproperty uchar green\nproperty uchar blue\n" : "") +
                   "end_header\n";
        case POINT_CLOUD_FORMAT::VTK:
            return "# vtk DataFile Version 3.0\nFile created by Merrow\nASCII\nDATASET POLYDATA\nPOINTS " +
                   n + " float\n";
    }
    return {};
}

// Calls `visit` with each point whose x is finite, in memory order; y and z are not tested.
template <typename Visit>
void forEachValidPoint(const HostRows& rows, size_t pointBytes, Visit visit) {
    for (size_t y = 0; y < rows.height; ++y) {
        const unsigned char* point = rows.data + y * rows.step;
        for (size_t x = 0; x < rows.width; ++x, point += pointBytes) {
            float xyz[3];
            std::memcpy(xyz, point, sizeof xyz);
            if (isFinite(xyz[0])) visit(xyz, point);
        }
    }
}

// The decimal text of every byte value, its digits first and its length in the fourth character.
struct ByteTexts {
    char text[256][4];
    constexpr ByteTexts() : text() {
        for (int value = 0; value < 256; ++value) {
            char* digits = text[value];
            int length = 0;
            if (value >= 100) digits[length++] = static_cast<char>('0' + value / 100);
            if (value >= 10) digits[length++] = static_cast<char>('0' + value / 10 % 10);
            digits[length++] = static_cast<char>('0' + value % 10);
            digits[3] = static_cast<char>(length);
        }
    }
};
constexpr ByteTexts kByteTexts;

// Writes the decimal text of `value`: four characters are stored, one past the text when it is shorter,
// so that there is no branch on the number of digits.
char* writeByte(unsigned char value, char* out) {
    std::memcpy(out, kByteTexts.text[value], 4);
    return out + kByteTexts.text[value][3];
}

// Each coordinate and its separator, then a blank and the longest colour text, then the line end.
constexpr size_t kMaxPointLine = 3 * (detail::kFixed6MaxLength + 1) + 1 + detail::kExponent6MaxLength;

// One line per valid point: "%f %f %f", then the colour text. The last line ends without a line break.
void writePointLines(const HostRows& rows, size_t pointBytes, ColorText color, detail::BlockSink& sink) {
    bool any = false;
    forEachValidPoint(rows, pointBytes, [&](const float* xyz, const unsigned char* point) {
        char* out = sink.reserve(kMaxPointLine);
        out += detail::formatFixed6(xyz[0], out);
        *out++ = ' ';
        out += detail::formatFixed6(xyz[1], out);
        *out++ = ' ';
        out += detail::formatFixed6(xyz[2], out);
        // Red, green and blue are bytes 0, 1 and 2 of the fourth float.
        const unsigned char* rgb = point + 3 * sizeof(float);
        if (color == ColorText::PackedFloat) {
            // Each channel clamped to 254 and packed as 0x00RRGGBB, printed as the float of those bits.
            const uint32_t word = uint32_t{std::min<unsigned char>(rgb[0], 254)} << 16 |
                                  uint32_t{std::min<unsigned char>(rgb[1], 254)} << 8 |
                                  std::min<unsigned char>(rgb[2], 254);
            float packed;
            std::memcpy(&packed, &word, sizeof packed);
            *out++ = ' ';
            out += detail::formatExponent6(packed, out);
        } else if (color == ColorText::Bytes) {
            for (int channel = 0; channel < 3; ++channel) {
                *out++ = ' ';
                out = writeByte(rgb[channel], out);
            }
        }
        *out++ = '\n';
        sink.commit(out);
        any = true;
    });
    if (any) sink.takeBackLast();
}

// VTK's vertex list: "VERTICES", the count and the list size, then one single-point vertex per point.
void writeVertices(size_t count, detail::BlockSink& sink) {
    sink.append("VERTICES " + std::to_string(count) + " " + std::to_string(2 * count) + "\n");
    for (size_t i = 0; i < count; ++i) {
        char* out = sink.reserve(24);
        *out++ = '1';
        *out++ = ' ';
        out = std::to_chars(out, out + 20, i).ptr;
        *out++ = '\n';
        sink.commit(out);
    }
}

}  // namespace

bool saveDepthAs(const Mat& depth, DEPTH_FORMAT format, String name, float factor) {
    const HostRows rows = hostRows(depth);
    if (rows.data == nullptr || depth.dataType != MAT_TYPE::F32_C1) return false;
    switch (format) {
        case DEPTH_FORMAT::PNG:
            // Level 0: stored without compression.
            return writeDepthImage(rows, withExtension(name, ".png"), ".png", factor,
                                   {cv::IMWRITE_PNG_COMPRESSION, 0});
        case DEPTH_FORMAT::PGM:
            return writeDepthImage(rows, withExtension(name, ".pgm"), ".pgm", factor,
                                   {cv::IMWRITE_PXM_BINARY, 1});
        case DEPTH_FORMAT::PFM:
            // Floats as they are: the factor does not apply.
            return writePfm(rows, withExtension(name, ".pfm"));
    }
    std::printf(" Invalid Depth Format\n");
    return false;
}

bool savePointCloudAs(const Mat& cloud, POINT_CLOUD_FORMAT format, String name, bool withColor) {
    const HostRows rows = hostRows(cloud);
    const bool fourChannels = cloud.dataType == MAT_TYPE::F32_C4;
    if (rows.data == nullptr || (!fourChannels && cloud.dataType != MAT_TYPE::F32_C3)) return false;
    const CloudFormat described = describe(format);
    if (described.extension == nullptr) return false;
    const ColorText color = withColor ? described.color : ColorText::None;
    // Colour lives in the fourth float, which a three-channel cloud does not have.
    if (color != ColorText::None && !fourChannels) return false;

    size_t count = 0;
    forEachValidPoint(rows, cloud.pixelBytes, [&count](const float*, const unsigned char*) { ++count; });
    // The file is written under a temporary name, "<output>_tmp0.txt." and six random characters, and
    // renamed over the output once complete: a failed write leaves no partial cloud behind, and an existing
    // file stays as it was until then.
    const std::string outputName = withExtension(name, described.extension);
    return writeReplacing("savePointCloudAs", outputName, "_tmp0.txt", [&](detail::BlockSink& sink) {
        sink.append(cloudHeader(format, color != ColorText::None, count));
        writePointLines(rows, cloud.pixelBytes, color, sink);
        // The vertex list starts on the line of the last point.
        if (format == POINT_CLOUD_FORMAT::VTK) writeVertices(count, sink);
    });
}

}  // namespace vela
