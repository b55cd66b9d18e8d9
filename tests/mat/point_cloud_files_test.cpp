// The lossless point-cloud and depth files: whole small files byte for byte, round trips through
// readPointCloud for every writer and option (the ASCII exporters against printf's own text), depth files
// read back with the image library, and the reader's answers to broken files.

#include <gtest/gtest.h>

#include <lzf.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <vela/vela.hpp>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/log_capture.hpp"
#include "support/point_colour.hpp"
#include "support/temp_dir.hpp"

namespace vela {
namespace {

using test::colour;
using test::readFile;
using test::TempDir;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::string bytesOf(std::initializer_list<float> values) {
    std::string bytes(values.size() * sizeof(float), '\0');
    std::memcpy(bytes.data(), values.begin(), bytes.size());
    return bytes;
}

void writeText(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// 2x2: two valid points, one with a NaN x, one with a finite x and an infinite y.
Mat smallCloud() {
    Mat cloud(2, 2, MAT_TYPE::F32_C4);
    const Vector4<float> points[] = {{1.5f, -2.25f, 3.0f, colour(255, 128, 0)},
                                     {kNaN, 1.0f, 1.0f, colour(1, 2, 3)},
                                     {0.1f, kInfinity, 2.0f, colour(10, 20, 30)},
                                     {-100.0f, 0.5f, 2.0f / 3.0f, colour(254, 255, 1)}};
    std::memcpy(cloud.getPtr<Vector4<float>>(), points, sizeof points);
    return cloud;
}

const std::string kPlyProperties =
    "element vertex 2\nproperty float x\nproperty float y\nproperty float z\n"
    "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
const std::string kPcdFields = "VERSION 0.7\nFIELDS x y z rgb\nSIZE 4 4 4 4\nTYPE F F F F\nCOUNT 1 1 1 1\n";

TEST(WritePointCloud, files_hold_exactly_the_header_and_the_records) {
    const Mat cloud = smallCloud();
    const std::string nan3 = bytesOf({kNaN, kNaN, kNaN});
    struct Case {
        POINT_CLOUD_FORMAT format;
        PointCloudWriteOptions options;
        std::string content;
    } cases[] = {
        {POINT_CLOUD_FORMAT::PLY,
         {FILE_ENCODING::BINARY, true, false},
         "ply\nformat binary_little_endian 1.0\n" + kPlyProperties + bytesOf({1.5f, -2.25f, 3.0f}) +
             std::string("\xff\x80\x00", 3) + bytesOf({-100.0f, 0.5f, 2.0f / 3.0f}) + "\xfe\xff\x01"},
        {POINT_CLOUD_FORMAT::PLY,
         {FILE_ENCODING::ASCII, true, false},
         "ply\nformat ascii 1.0\n" + kPlyProperties +
             "1.5 -2.25 3 255 128 0\n-100 0.5 0.6666667 254 255 1\n"},
        // Organised: the grid stays, invalid points are NaN and keep their colour, 0x00RRGGBB little-endian.
        {POINT_CLOUD_FORMAT::PCD,
         {FILE_ENCODING::BINARY, true, true},
         "# .PCD v0.7 - Point Cloud Data file format\n# organised, not dense: invalid points are NaN\n" +
             kPcdFields + "WIDTH 2\nHEIGHT 2\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS 4\nDATA binary\n" +
             bytesOf({1.5f, -2.25f, 3.0f}) + std::string("\x00\x80\xff\x00", 4) + nan3 +
             std::string("\x03\x02\x01\x00", 4) + nan3 + std::string("\x1e\x14\x0a\x00", 4) +
             bytesOf({-100.0f, 0.5f, 2.0f / 3.0f}) + std::string("\x01\xff\xfe\x00", 4)},
        // The packed colour as the shortest text of its float, worked out apart.
        {POINT_CLOUD_FORMAT::PCD,
         {FILE_ENCODING::ASCII, true, true},
         "# .PCD v0.7 - Point Cloud Data file format\n# organised, not dense: invalid points are NaN\n" +
             kPcdFields +
             "WIDTH 2\nHEIGHT 2\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS 4\nDATA ascii\n"
             "1.5 -2.25 3 2.3463969e-38\nnan nan nan 9.2557e-41\nnan nan nan 9.25572e-40\n"
             "-100 0.5 0.6666667 2.3417694e-38\n"},
        // XYZ is text whatever the encoding says.
        {POINT_CLOUD_FORMAT::XYZ, {FILE_ENCODING::BINARY, false, false}, "1.5 -2.25 3\n-100 0.5 0.6666667\n"},
    };
    for (const Case& expected : cases) {
        const TempDir dir;
        ASSERT_EQ(writePointCloud(cloud, dir.path("cloud"), expected.format, expected.options),
                  ERROR_CODE::SUCCESS);
        EXPECT_EQ(readFile(dir.path("cloud")), expected.content) << expected.content.substr(0, 40);
        EXPECT_EQ(dir.names(), std::vector<std::string>{"cloud"});  // no temporary left, no extension added
    }
}

TEST(WritePointCloud, refuses_what_a_format_cannot_hold_and_leaves_the_old_file) {
    const TempDir dir;
    const std::string path = dir.path("kept.ply");
    writeText(path, "old");
    test::LogCapture log;
    const auto write = [&](const Mat& cloud, POINT_CLOUD_FORMAT format, PointCloudWriteOptions options) {
        return writePointCloud(cloud, path, format, options);
    };
    EXPECT_EQ(write(smallCloud(), POINT_CLOUD_FORMAT::PLY, {FILE_ENCODING::BINARY, false, true}),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(write(smallCloud(), POINT_CLOUD_FORMAT::VTK, {}), ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(
        write(Mat(2, 2, MAT_TYPE::F32_C3), POINT_CLOUD_FORMAT::PLY, {FILE_ENCODING::BINARY, true, false}),
        ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    EXPECT_EQ(write(Mat(2, 2, MAT_TYPE::U8_C4), POINT_CLOUD_FORMAT::PCD, {}),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
    const std::vector<std::string> messages = log.texts();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0], "[Mat] writePointCloud " + path +
                               ": only PCD keeps invalid points: PLY and XYZ have no organised form");
    EXPECT_EQ(readFile(path), "old");
    EXPECT_EQ(dir.names(), std::vector<std::string>{"kept.ply"});
}

TEST(WritePointCloud, a_cloud_without_valid_points_is_a_valid_empty_file_with_a_warning) {
    Mat cloud(3, 1, MAT_TYPE::F32_C4);
    ASSERT_EQ(cloud.setTo(Vector4<float>(kNaN, 0.0f, 0.0f, 0.0f)), ERROR_CODE::SUCCESS);
    const TempDir dir;
    test::LogCapture log;
    ASSERT_EQ(writePointCloud(cloud, dir.path("e.ply"), POINT_CLOUD_FORMAT::PLY), ERROR_CODE::SUCCESS);
    EXPECT_EQ(readFile(dir.path("e.ply")),
              "ply\nformat binary_little_endian 1.0\nelement vertex 0\nproperty float x\nproperty float y\n"
              "property float z\nend_header\n");
    EXPECT_EQ(log.texts().size(), 1u);
    // So is a compressed PCD: its stream sizes are zero.
    PointCloudWriteOptions compressed;
    compressed.encoding = FILE_ENCODING::BINARY_COMPRESSED;
    ASSERT_EQ(writePointCloud(cloud, dir.path("e.pcd"), POINT_CLOUD_FORMAT::PCD, compressed),
              ERROR_CODE::SUCCESS);
    for (const char* name : {"e.ply", "e.pcd"}) {
        Mat read(1, 1, MAT_TYPE::F32_C4);
        ASSERT_EQ(readPointCloud(dir.path(name), read), ERROR_CODE::SUCCESS) << name;
        EXPECT_FALSE(read.isInit()) << name;
    }
}

// A cloud with the values that break printing: subnormals, -0, the largest float, tiny and huge values,
// about 5% invalid points of every kind.
Mat hardCloud(size_t width, size_t height) {
    Mat cloud(width, height, MAT_TYPE::F32_C4);
    std::mt19937 random(7);
    std::uniform_int_distribution<uint32_t> bits;
    std::uniform_real_distribution<float> metres(-20.0f, 20.0f);
    const float special[] = {-0.0f, 1e-45f, 1.1754942e-38f, 3.4028235e38f, -1e-30f, 16777217.0f, 0.1f};
    auto* point = cloud.getPtr<Vector4<float>>();
    for (size_t i = 0; i < width * height; ++i) {
        uint32_t rgb = bits(random);
        float w;
        std::memcpy(&w, &rgb, sizeof w);
        point[i] = {metres(random), metres(random), special[i % 7], w};
        if (i % 20 == 3) point[i].x = kNaN;
        if (i % 20 == 9) point[i].y = -kInfinity;  // finite x, infinite y
    }
    return cloud;
}

bool valid(const Vector4<float>& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

// Colour bytes red, green, blue and a zero fourth byte, or all zero without colour.
uint32_t colourWord(float w, bool withColor) {
    unsigned char bytes[4];
    std::memcpy(bytes, &w, sizeof bytes);
    return withColor ? uint32_t{bytes[0]} | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 : 0;
}

// Compares bit for bit; invalid points of an organised cloud are NaN with their colour.
void expectSamePoints(const Mat& read, const std::vector<Vector4<float>>& expected, bool withColor) {
    ASSERT_EQ(read.getDataType(), MAT_TYPE::F32_C4);
    ASSERT_EQ(read.width * read.height, expected.size());
    const auto* got = read.getPtr<Vector4<float>>();
    for (size_t i = 0; i < expected.size(); ++i) {
        for (int axis = 0; axis < 3; ++axis) {
            const float want = expected[i][axis];
            if (std::isnan(want)) {
                EXPECT_TRUE(std::isnan(got[i][axis])) << i;
            } else {
                EXPECT_EQ(std::memcmp(&got[i][axis], &want, 4), 0) << i << " " << axis << " " << got[i][axis];
            }
        }
        uint32_t word;
        std::memcpy(&word, &got[i].w, sizeof word);
        ASSERT_EQ(word, colourWord(expected[i].w, withColor)) << i;
    }
}

// Every writer and option, with rows that cross the blocks the reader takes the file in (the binary files
// are over a block long, the text ones several).
TEST(ReadPointCloud, every_writer_and_option_reads_back_exactly) {
    constexpr size_t kW = 256, kH = 200;
    const Mat cloud = hardCloud(kW, kH);
    const auto* points = cloud.getPtr<Vector4<float>>();
    for (POINT_CLOUD_FORMAT format :
         {POINT_CLOUD_FORMAT::PLY, POINT_CLOUD_FORMAT::PCD, POINT_CLOUD_FORMAT::XYZ})
        for (FILE_ENCODING encoding :
             {FILE_ENCODING::BINARY, FILE_ENCODING::ASCII, FILE_ENCODING::BINARY_COMPRESSED})
            for (bool withColor : {false, true})
                for (bool keepInvalid : {false, true}) {
                    if ((withColor || keepInvalid) && format == POINT_CLOUD_FORMAT::XYZ) continue;
                    if (encoding == FILE_ENCODING::BINARY_COMPRESSED && format != POINT_CLOUD_FORMAT::PCD)
                        continue;
                    if (keepInvalid && format == POINT_CLOUD_FORMAT::PLY) continue;
                    SCOPED_TRACE(::testing::Message()
                                 << static_cast<int>(format) << " " << static_cast<int>(encoding) << withColor
                                 << keepInvalid);
                    const TempDir dir;
                    ASSERT_EQ(
                        writePointCloud(cloud, dir.path("c"), format, {encoding, withColor, keepInvalid}),
                        ERROR_CODE::SUCCESS);
                    Mat read;
                    ASSERT_EQ(readPointCloud(dir.path("c"), read), ERROR_CODE::SUCCESS);
                    std::vector<Vector4<float>> expected;
                    for (size_t i = 0; i < kW * kH; ++i) {
                        if (valid(points[i]))
                            expected.push_back(points[i]);
                        else if (keepInvalid)
                            expected.push_back({kNaN, kNaN, kNaN, points[i].w});
                    }
                    expectSamePoints(read, expected, withColor);
                    EXPECT_EQ(read.getResolution(),
                              keepInvalid ? Resolution(kW, kH) : Resolution(expected.size(), 1));
                }
}

// The ASCII exporters write every point whose x is finite with "%f"; values worked by hand.
TEST(ReadPointCloud, the_ascii_exporters_read_back) {
    const TempDir dir;
    const Mat cloud = smallCloud();
    const std::vector<Vector4<float>> expected = {{1.5f, -2.25f, 3.0f, colour(255, 128, 0)},
                                                  {0.1f, kInfinity, 2.0f, colour(10, 20, 30)},
                                                  {-100.0f, 0.5f, 0.666667f, colour(254, 255, 1)}};
    for (const char* name : {"old.ply", "old.pcd", "old.xyz"}) {
        const bool withColor = name[5] == 'l';  // PCD's packed colour goes through "%e": left out here
        const auto format = withColor        ? POINT_CLOUD_FORMAT::PLY
                            : name[5] == 'c' ? POINT_CLOUD_FORMAT::PCD
                                             : POINT_CLOUD_FORMAT::XYZ;
        ASSERT_TRUE(savePointCloudAs(cloud, format, dir.path("old"), withColor));
        Mat read;
        ASSERT_EQ(readPointCloud(dir.path(name), read), ERROR_CODE::SUCCESS) << name;
        expectSamePoints(read, expected, withColor);
    }
}

template <typename T>
void appendBytes(std::string& bytes, T value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

TEST(ReadPointCloud, reads_big_endian_ply_other_types_and_elements_before_the_vertices) {
    const TempDir dir;
    // Vertices of double x, short y, float z and uchar colour; once after a face element (whose list sends
    // the values through the checked cursor), once alone (rows of one size, read at fixed offsets).
    const std::string faceHeader = "element face 1\r\nproperty list uchar int vertex_indices\r\n";
    const std::string face("\x02\x00\x00\x00\x01\x00\x00\x00\x02", 9);  // 2 indices
    const std::string vertexHeader =
        "element vertex 1\r\nproperty double x\r\nproperty short y\r\n"
        "property float z\r\nproperty uchar red\r\nproperty uchar green\r\n"
        "property uchar blue\r\nend_header\r\n";
    const std::string vertex = std::string("\x3f\xf8\x00\x00\x00\x00\x00\x00", 8)  // 1.5
                               + std::string("\xff\xfe", 2)                        // -2
                               + std::string("\xc0\x40\x00\x00", 4)                // -3
                               + std::string("\x0a\x14\x1e", 3);
    Mat read;
    for (const bool withFace : {true, false}) {
        writeText(dir.path("be.ply"), "ply\r\nformat binary_big_endian 1.0\r\ncomment made by hand\r\n" +
                                          (withFace ? faceHeader : "") + vertexHeader +
                                          (withFace ? face : "") + vertex);
        ASSERT_EQ(readPointCloud(dir.path("be.ply"), read), ERROR_CODE::SUCCESS) << withFace;
        expectSamePoints(read, {{1.5f, -2.0f, -3.0f, colour(10, 20, 30)}}, true);
    }

    // Binary PCD rows of 23 bytes: int8 x, a padding field of three uint16, uint64 y, int32 z, packed rgb.
    std::string pcd =
        "VERSION 0.7\nFIELDS x _ y z rgb\nSIZE 1 2 8 4 4\nTYPE I U U I U\nCOUNT 1 3 1 1 1\n"
        "WIDTH 2\nHEIGHT 1\nPOINTS 2\nDATA binary\n";
    const std::string padding(6, '\x55');
    appendBytes<int8_t>(pcd, -5);
    pcd += padding;
    appendBytes<uint64_t>(pcd, 7);
    appendBytes<int32_t>(pcd, -100000);
    appendBytes<uint32_t>(pcd, 0x00102030);
    appendBytes<int8_t>(pcd, 127);
    pcd += padding;
    appendBytes<uint64_t>(pcd, uint64_t{1} << 40);
    appendBytes<int32_t>(pcd, 0);
    appendBytes<uint32_t>(pcd, 0x00FFFFFF);
    writeText(dir.path("types.pcd"), pcd);
    ASSERT_EQ(readPointCloud(dir.path("types.pcd"), read), ERROR_CODE::SUCCESS);
    expectSamePoints(read,
                     {{-5.0f, 7.0f, -100000.0f, colour(0x10, 0x20, 0x30)},
                      {127.0f, 1099511627776.0f, 0.0f, colour(0xFF, 0xFF, 0xFF)}},
                     true);

    // PCD with a padding field of COUNT 3, colour as an unsigned rgba, and text values with a plus sign.
    writeText(dir.path("pad.pcd"),
              "VERSION 0.7\nFIELDS x _ y z rgba\nSIZE 4 1 4 4 4\nTYPE F U F F U\nCOUNT 1 3 1 1 1\nWIDTH 1\n"
              "HEIGHT 1\nPOINTS 1\nDATA ascii\n+0.25 1 2 3 -1 1e3 4279246896\n");
    ASSERT_EQ(readPointCloud(dir.path("pad.pcd"), read), ERROR_CODE::SUCCESS);
    expectSamePoints(read, {{0.25f, -1.0f, 1000.0f, colour(0x10, 0x20, 0x30)}}, true);
}

// The two little-endian sizes that open compressed PCD data: the stream's, then what it expands to.
std::string sizes(uint32_t stream, uint32_t expanded) {
    std::string bytes;
    appendBytes(bytes, stream);
    appendBytes(bytes, expanded);
    return bytes;
}

TEST(ReadPointCloud, compressed_pcd_holds_the_fields_one_after_another_in_an_lzf_stream) {
    const TempDir dir;
    // Two points; the y column repeats the x column, which the stream gives as a back reference.
    const std::string x = bytesOf({1.0f, 2.0f});
    const std::string rest = bytesOf({0.5f, -4.0f}) + std::string("\x30\x20\x10\x00\x60\x50\x40\x00", 8);
    const std::string stream = "\x07" + x +                  // a literal run of 8 bytes
                               std::string("\xc0\x07", 2) +  // 8 bytes from 8 back: (8 - 2) << 5, 8 - 1
                               "\x0f" + rest;                // a literal run of 16
    writeText(dir.path("hand.pcd"),
              kPcdFields + "WIDTH 2\nHEIGHT 1\nPOINTS 2\nDATA binary_compressed\n" + sizes(28, 32) + stream);
    Mat read;
    ASSERT_EQ(readPointCloud(dir.path("hand.pcd"), read), ERROR_CODE::SUCCESS);
    expectSamePoints(
        read, {{1.0f, 1.0f, 0.5f, colour(0x10, 0x20, 0x30)}, {2.0f, 2.0f, -4.0f, colour(0x40, 0x50, 0x60)}},
        true);

    // The writer: the binary header but for DATA, the sizes, and a stream that expands to the columns.
    ASSERT_EQ(writePointCloud(smallCloud(), dir.path("w.pcd"), POINT_CLOUD_FORMAT::PCD,
                              {FILE_ENCODING::BINARY_COMPRESSED, true, false}),
              ERROR_CODE::SUCCESS);
    const std::string file = readFile(dir.path("w.pcd"));
    const std::string header =
        "# .PCD v0.7 - Point Cloud Data file format\n" + kPcdFields +
        "WIDTH 2\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS 2\nDATA binary_compressed\n";
    ASSERT_EQ(file.substr(0, header.size()), header);
    uint32_t stored[2];
    std::memcpy(stored, file.data() + header.size(), sizeof stored);
    ASSERT_EQ(stored[1], 32u);
    ASSERT_EQ(file.size(), header.size() + 8 + stored[0]);
    std::string columns(32, '\0');
    ASSERT_EQ(lzf_decompress(file.data() + header.size() + 8, stored[0], columns.data(), 32), 32u);
    EXPECT_EQ(columns, bytesOf({1.5f, -100.0f, -2.25f, 0.5f, 3.0f, 2.0f / 3.0f}) +
                           std::string("\x00\x80\xff\x00\x01\xff\xfe\x00", 8));
    EXPECT_EQ(writePointCloud(smallCloud(), dir.path("w.ply"), POINT_CLOUD_FORMAT::PLY,
                              {FILE_ENCODING::BINARY_COMPRESSED, false, false}),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
}

// A float NaN goes through a double on the general path, which quiets a signalling NaN and keeps its payload;
// the fast path for float rows must give the same bits.
TEST(ReadPointCloud, a_signalling_nan_reads_back_quiet_with_its_payload_on_every_path) {
    const TempDir dir;
    std::string rows, columns;  // the same two points by rows and, for the compressed file, by fields
    for (const uint32_t bits : {0x7F800001u, 0xFFA00000u, 0x3F800000u, 0x7F800000u, 0x7FC00000u, 0xFF800100u})
        appendBytes(rows, bits);
    for (const uint32_t bits : {0x7F800001u, 0x7F800000u, 0xFFA00000u, 0x7FC00000u, 0x3F800000u, 0xFF800100u})
        appendBytes(columns, bits);
    const std::string head = "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\nPOINTS 2\nDATA ";
    writeText(dir.path("fast.pcd"), head + "binary\n" + rows);
    writeText(dir.path("general.pcd"), head + "binary_compressed\n" + sizes(25, 24) + "\x17" + columns);
    for (const char* name : {"fast.pcd", "general.pcd"}) {
        Mat read;
        ASSERT_EQ(readPointCloud(dir.path(name), read), ERROR_CODE::SUCCESS) << name;
        std::vector<uint32_t> words(8);
        std::memcpy(words.data(), read.getPtr<float>(), 32);
        EXPECT_EQ(words, (std::vector<uint32_t>{0x7FC00001u, 0xFFE00000u, 0x3F800000u, 0, 0x7F800000u,
                                                0x7FC00000u, 0xFFC00100u, 0}))
            << name;
    }
}

// Binary rows of lists ahead of the vertices cross the blocks the reader takes the file in.
TEST(ReadPointCloud, rows_across_blocks_read_whole) {
    const TempDir dir;
    // 200000 faces of 1 to 3 indices (1.8 MB) ahead of two vertices.
    std::string ply =
        "ply\nformat binary_little_endian 1.0\nelement face 200000\n"
        "property list uchar int vertex_indices\n" +
        kPlyProperties;
    for (int i = 0; i < 200000; ++i) {
        ply += static_cast<char>(1 + i % 3);
        for (int k = 0; k <= i % 3; ++k)
            appendBytes<int32_t>(ply, i);
    }
    ply += bytesOf({1.0f, 2.0f, 3.0f}) + "\x01\x02\x03" + bytesOf({4.0f, 5.0f, 6.0f}) + "\x04\x05\x06";
    writeText(dir.path("faces.ply"), ply);
    Mat read;
    ASSERT_EQ(readPointCloud(dir.path("faces.ply"), read), ERROR_CODE::SUCCESS);
    expectSamePoints(read, {{1.0f, 2.0f, 3.0f, colour(1, 2, 3)}, {4.0f, 5.0f, 6.0f, colour(4, 5, 6)}}, true);
}

TEST(ReadPointCloud, broken_files_fail_with_a_reason_and_leave_the_cloud_untouched) {
    const TempDir dir;
    ASSERT_EQ(writePointCloud(smallCloud(), dir.path("good.pcd"), POINT_CLOUD_FORMAT::PCD,
                              {FILE_ENCODING::BINARY, true, true}),
              ERROR_CODE::SUCCESS);
    const std::string good = readFile(dir.path("good.pcd"));
    const std::string pcdHead = "VERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\nTYPE F F F\n";
    struct Case {
        std::string content;
        std::string reason;
    } cases[] = {
        {good.substr(0, good.size() - 1), "truncated: 4 points cannot fit in the 63 bytes left"},
        {"", "the file is empty"},
        {"ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n",
         "the PLY header has no end_header line"},
        {"ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n1\n",
         "the vertices have no x, y and z"},
        {"ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\nproperty float z\n"
         "end_header\n1 2 3\n4 5 six\n",
         "truncated or malformed at point 1 of 2"},
        {"ply\nformat binary_little_endian 1.0\nelement vertex 18446744073709551615\nproperty float x\n"
         "property float y\nproperty float z\nend_header\n",
         "truncated: 18446744073709551615 points cannot fit in the 0 bytes left"},
        {pcdHead + "WIDTH 3\nHEIGHT 2\nPOINTS 5\nDATA binary\n", "PCD WIDTH x HEIGHT is not POINTS"},
        {pcdHead + "WIDTH 4294967296\nHEIGHT 4294967296\nPOINTS 0\nDATA binary\n",
         "PCD WIDTH x HEIGHT is not POINTS"},
        {pcdHead + "POINTS 1\nDATA binary_packed\n",
         "unsupported PCD data DATA binary_packed (ascii, binary and binary_compressed are read)"},
        // SIZE x COUNT of the padding is 2^64 - 8: a row of 12 + 2^64 - 8 bytes would wrap around to 4.
        {"VERSION 0.7\nFIELDS x y z _\nSIZE 4 4 4 8\nTYPE F F F U\nCOUNT 1 1 1 2305843009213693951\n"
         "POINTS 1\nDATA binary\n" +
             std::string(4, '\0'),
         "the PCD row of SIZE x COUNT bytes overflows"},
        {pcdHead + "POINTS 1\nDATA binary_compressed\n", "truncated: the compressed PCD data has no sizes"},
        {pcdHead + "POINTS 2\nDATA binary_compressed\n" + sizes(10, 12) + std::string(10, '\0'),
         "the compressed PCD data expands to 12 bytes, not the 2 points of 12 bytes the header gives"},
        {pcdHead + "POINTS 1\nDATA binary_compressed\n" + sizes(14, 12) + std::string(13, '\0'),
         "truncated: the compressed PCD data of 14 bytes cannot fit in the 13 bytes left"},
        {pcdHead + "POINTS 100\nDATA binary_compressed\n" + sizes(13, 1200) + std::string(13, '\0'),
         "the compressed PCD data of 13 bytes cannot expand to 1200"},
        // A literal run of 13 where 12 bytes are expected, and one of 11 that stops short.
        {pcdHead + "POINTS 1\nDATA binary_compressed\n" + sizes(14, 12) + "\x0c" + std::string(13, 'a'),
         "the compressed PCD data is corrupt or does not expand to 12 bytes"},
        {pcdHead + "POINTS 1\nDATA binary_compressed\n" + sizes(12, 12) + "\x0a" + std::string(11, 'a'),
         "the compressed PCD data is corrupt or does not expand to 12 bytes"},
        {"1 2 3\n4 5\n", "point 1 is not three numbers: 4 5"},
    };
    Mat cloud(1, 1, MAT_TYPE::F32_C1);
    ASSERT_EQ(cloud.setValue(0, 0, 42.0f), ERROR_CODE::SUCCESS);
    const unsigned char* buffer = cloud.cpuBuffer.get();
    test::LogCapture log;
    for (const Case& broken : cases) {
        writeText(dir.path("bad"), broken.content);
        EXPECT_EQ(readPointCloud(dir.path("bad"), cloud), ERROR_CODE::FAILURE) << broken.reason;
        EXPECT_EQ(log.texts(),
                  std::vector<std::string>{"[Mat] readPointCloud " + dir.path("bad") + ": " + broken.reason});
    }
    EXPECT_EQ(readPointCloud(dir.path("missing"), cloud), ERROR_CODE::FAILURE);
    EXPECT_EQ(readPointCloud(dir.path(""), cloud), ERROR_CODE::FAILURE);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{
                               "[Mat] readPointCloud " + dir.path("missing") + ": No such file or directory",
                               "[Mat] readPointCloud " + dir.path("") + ": not a regular file"}));
    EXPECT_EQ(cloud.cpuBuffer.get(), buffer);
    EXPECT_EQ(cloud.getDataType(), MAT_TYPE::F32_C1);
    EXPECT_EQ(*cloud.getPtr<float>(), 42.0f);
}

Mat depthMap(const std::vector<float>& values, size_t width) {
    Mat depth(width, values.size() / width, MAT_TYPE::F32_C1);
    std::memcpy(depth.getPtr<float>(), values.data(), values.size() * sizeof(float));
    return depth;
}

TEST(WriteDepth, pfm_is_bottom_row_first_and_keeps_every_float) {
    const TempDir dir;
    const std::vector<float> values = {1.25f, kNaN, -kInfinity, kInfinity, -0.5f, 3.4028235e38f};
    ASSERT_EQ(writeDepth(depthMap(values, 3), dir.path("d.pfm"), DEPTH_FORMAT::PFM), ERROR_CODE::SUCCESS);
    EXPECT_EQ(readFile(dir.path("d.pfm")),
              "Pf\n3 2\n-1\n" + bytesOf({kInfinity, -0.5f, 3.4028235e38f, 1.25f, kNaN, -kInfinity}));
    // The image library reads it the right way up.
    const cv::Mat read = cv::imread(dir.path("d.pfm"), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(read.type(), CV_32FC1);
    EXPECT_EQ(read.at<float>(0, 0), 1.25f);
    EXPECT_TRUE(std::isnan(read.at<float>(0, 1)));
    EXPECT_EQ(read.at<float>(1, 2), 3.4028235e38f);
}

TEST(WriteDepth, sixteen_bit_files_follow_the_stated_rule_for_every_value) {
    const TempDir dir;
    const std::vector<float> values = {kNaN,  kInfinity, -kInfinity, -0.5f,    0.25f,   0.75f,
                                       1.25f, 32767.5f,  32767.75f,  40000.0f, 3.4e38f, 500.25f};
    for (DEPTH_FORMAT format : {DEPTH_FORMAT::PNG, DEPTH_FORMAT::PGM}) {
        ASSERT_EQ(writeDepth(depthMap(values, 4), dir.path("d"), format, {2.0f, 7}), ERROR_CODE::SUCCESS);
        const cv::Mat read = cv::imread(dir.path("d"), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(read.type(), CV_16UC1);
        std::vector<int> counts(read.begin<uint16_t>(), read.end<uint16_t>());
        // Non-finite: the invalid value; below 0: 0; nearest, ties to even; above 65535: 65535.
        EXPECT_EQ(counts, (std::vector<int>{7, 7, 7, 0, 0, 2, 2, 65535, 65535, 65535, 65535, 1000}));
    }
    // By default non-finite depths read as 0, "no depth".
    ASSERT_EQ(writeDepth(depthMap({kNaN, kInfinity}, 2), dir.path("n.png"), DEPTH_FORMAT::PNG),
              ERROR_CODE::SUCCESS);
    const cv::Mat read = cv::imread(dir.path("n.png"), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(read.at<uint16_t>(0, 0) + read.at<uint16_t>(0, 1), 0);
    EXPECT_EQ(writeDepth(Mat(2, 2, MAT_TYPE::F32_C4), dir.path("x.png"), DEPTH_FORMAT::PNG),
              ERROR_CODE::INVALID_FUNCTION_PARAMETERS);
}

}  // namespace
}  // namespace vela
