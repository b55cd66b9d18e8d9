// Mat::write and Mat::read: round trips through the image formats, the compression parameter, extension
// dispatch (case-sensitive, at most four characters), unsupported types, and read's type mapping.

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <vela/vela.hpp>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "mat/mat_io.hpp"
#include "support/log_capture.hpp"
#include "support/temp_dir.hpp"

namespace vela {
namespace {

using test::LogCapture;
using test::readFile;
using test::TempDir;

const std::vector<std::string> kUnsupported = {"[Mat]  Mat type currently not supported."};

std::vector<unsigned char> bytesOf(const Mat& mat) {
    const unsigned char* data = mat.getPtr<unsigned char>();
    return std::vector<unsigned char>(data, data + mat.width * mat.height * mat.pixelBytes);
}

// A 7x5 image whose bytes all differ from their neighbours; below `limit` each.
Mat patterned(MAT_TYPE type, unsigned limit = 251) {
    Mat mat(7, 5, type);
    unsigned char* data = mat.getPtr<unsigned char>();
    for (size_t i = 0; i < mat.width * mat.height * mat.pixelBytes; ++i)
        data[i] = static_cast<unsigned char>((i * 37 + 11) % limit);
    return mat;
}

// A 64x64 colour image with smooth gradients and fine texture, so that lossy settings make a difference.
Mat photo() {
    Mat image(64, 64, MAT_TYPE::U8_C3);
    for (size_t y = 0; y < 64; ++y)
        for (size_t x = 0; x < 64; ++x)
            EXPECT_EQ(image.setValue(x, y,
                                     Vector3<unsigned char>(static_cast<unsigned char>(4 * x),
                                                            static_cast<unsigned char>(4 * y),
                                                            static_cast<unsigned char>((x * y * 7) % 256))),
                      ERROR_CODE::SUCCESS);
    return image;
}

// Signed bytes are encoded as unsigned bytes; writing leaves the host content alone (the encoder takes
// its colour order from a copy).
TEST(MatWrite, every_image_type_reads_back_unchanged_through_the_formats_that_hold_it) {
    const std::pair<MAT_TYPE, const char*> trips[] = {
        {MAT_TYPE::U8_C1, "png"},  {MAT_TYPE::U8_C1, "bmp"},  {MAT_TYPE::U8_C1, "tiff"},
        {MAT_TYPE::U8_C1, "pgm"},  {MAT_TYPE::U8_C3, "png"},  {MAT_TYPE::U8_C3, "bmp"},
        {MAT_TYPE::U8_C3, "tif"},  {MAT_TYPE::U8_C3, "ppm"},  {MAT_TYPE::U8_C4, "png"},
        {MAT_TYPE::U8_C4, "tiff"}, {MAT_TYPE::U16_C1, "png"}, {MAT_TYPE::S8_C4, "png"},
    };
    const TempDir dir;
    for (const auto& [type, extension] : trips) {
        Mat original = patterned(type, type == MAT_TYPE::S8_C4 ? 128 : 251);
        const std::vector<unsigned char> before = bytesOf(original);
        const std::string path = dir.path(std::string("image.") + extension);
        ASSERT_EQ(original.write(path), ERROR_CODE::SUCCESS) << extension;
        if (type == MAT_TYPE::U8_C4) {
            ASSERT_EQ(original.write(dir.path("lossy.jpg"), MEM::CPU, 80), ERROR_CODE::SUCCESS);
        }
        EXPECT_EQ(bytesOf(original), before);
        Mat decoded;
        ASSERT_EQ(decoded.read(path), ERROR_CODE::SUCCESS) << extension;
        EXPECT_EQ(decoded.dataType, type == MAT_TYPE::S8_C4 ? MAT_TYPE::U8_C4 : type) << extension;
        EXPECT_EQ(decoded.getResolution(), original.getResolution());
        EXPECT_EQ(bytesOf(decoded), before) << toString(type) << " " << extension;
    }
}

// JPEG quality is 100 minus the compression, 95 by default and clamped; the PNG level is a tenth of the
// compression, 3 by default and clamped. Equal settings give equal files.
TEST(MatWrite, compression_sets_the_jpeg_quality_and_the_png_level) {
    Mat image = photo();
    const TempDir dir;
    for (int compression : {-95, -5, -1, 0, 5, 30, 50, 90, 95, 100, 150})
        for (const char* extension : {".jpg", ".png"})
            ASSERT_EQ(image.write(dir.path(std::to_string(compression) + extension), MEM::CPU, compression),
                      ERROR_CODE::SUCCESS);
    ASSERT_EQ(image.write(dir.path("default.jpeg")), ERROR_CODE::SUCCESS);
    const auto file = [&](const std::string& name) { return readFile(dir.path(name)); };
    EXPECT_EQ(file("-1.jpg"), file("5.jpg"));
    EXPECT_EQ(file("default.jpeg"), file("5.jpg"));
    EXPECT_EQ(file("150.jpg"), file("100.jpg"));
    EXPECT_GT(file("0.jpg").size(), file("50.jpg").size());
    EXPECT_GT(file("50.jpg").size(), file("90.jpg").size());
    EXPECT_EQ(file("-1.png"), file("30.png"));
    EXPECT_EQ(file("95.png"), file("90.png"));
    EXPECT_EQ(file("100.png"), file("90.png"));
    EXPECT_EQ(file("-5.png"), file("0.png"));
    EXPECT_EQ(file("-95.png"), file("0.png"));
    EXPECT_GT(file("0.png").size(), file("90.png").size());
}

TEST(MatWrite, extensions_match_case_sensitively) {
    const TempDir dir;
    // The encoder itself recognises PNG in any case; without the "png" match no level is passed.
    Mat image = patterned(MAT_TYPE::U8_C3);
    ASSERT_EQ(image.write(dir.path("image.PNG")), ERROR_CODE::SUCCESS);
    Mat decoded;
    ASSERT_EQ(decoded.read(dir.path("image.PNG")), ERROR_CODE::SUCCESS);
    EXPECT_EQ(bytesOf(decoded), bytesOf(image));
    // 16-bit samples need exactly "png".
    LogCapture log;
    EXPECT_EQ(patterned(MAT_TYPE::U16_C1).write(dir.path("counts.PNG")), ERROR_CODE::FAILURE);
    EXPECT_EQ(log.texts(), kUnsupported);
    // A depth map named .PNG is not a PNG: it becomes a PFM with its own extension.
    Mat depth(2, 2, MAT_TYPE::F32_C1);
    ASSERT_EQ(depth.setTo(1.0f), ERROR_CODE::SUCCESS);
    ASSERT_EQ(depth.write(dir.path("depth.PNG")), ERROR_CODE::SUCCESS);
    EXPECT_EQ(dir.names(), (std::vector<std::string>{"depth.PNG.pfm", "image.PNG"}));
}

// Unknown extensions, types a format cannot hold, an exporter that cannot write, an empty Mat and memory
// other than CPU or GPU: each is a failure, logged where the text says why, and nothing is written.
TEST(MatWrite, what_cannot_be_written_is_a_logged_failure) {
    const TempDir dir;
    Mat image = patterned(MAT_TYPE::U8_C1);
    LogCapture log;
    for (const char* name : {"image.abc", "image", "image.tiffx"}) {
        EXPECT_EQ(image.write(dir.path(name)), ERROR_CODE::FAILURE) << name;
        const std::vector<std::string> logged = log.texts();
        ASSERT_EQ(logged.size(), 1u) << name;
        EXPECT_EQ(logged[0].rfind("[Mat]  in write : ", 0), 0u) << logged[0];
        EXPECT_NE(logged[0].find("could not find"), std::string::npos) << logged[0];
    }
    for (const auto& [name, type] : {std::pair<const char*, MAT_TYPE>{"counts.jpg", MAT_TYPE::U16_C1},
                                     {"pairs.png", MAT_TYPE::U8_C2},
                                     {"uv.png", MAT_TYPE::F32_C2}}) {
        EXPECT_EQ(Mat(4, 4, type).write(dir.path(name)), ERROR_CODE::FAILURE) << name;
        EXPECT_EQ(log.texts(), kUnsupported) << name;
    }
    EXPECT_EQ(Mat(4, 4, MAT_TYPE::F32_C1).write(dir.path("missing/depth.pfm")), ERROR_CODE::FAILURE);
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"[Mat]  in saveDepthAs : " + dir.path("missing/depth.pfm") +
                                            " cannot be written: No such file or directory",
                                        kUnsupported[0]}));
    EXPECT_EQ(Mat().write(dir.path("empty.png")), ERROR_CODE::FAILURE);
    EXPECT_EQ(image.write(dir.path("both.png"), MEM_BOTH), ERROR_CODE::INVALID_FUNCTION_CALL);
    EXPECT_EQ(image.write(dir.path("managed.png"), MEM_MANAGED), ERROR_CODE::INVALID_FUNCTION_CALL);
    EXPECT_TRUE(dir.names().empty());
}

TEST(MatWrite, float_maps_go_to_the_exporter_their_extension_selects) {
    const TempDir dir;
    Mat depth(3, 1, MAT_TYPE::F32_C1);
    ASSERT_EQ(depth.setTo(2.6f), ERROR_CODE::SUCCESS);
    Mat cloud(1, 1, MAT_TYPE::F32_C4);
    ASSERT_EQ(cloud.setTo(Vector4<float>(1.0f, 2.0f, 3.0f, 0.0f)), ERROR_CODE::SUCCESS);
    Mat plain(1, 1, MAT_TYPE::F32_C3);
    ASSERT_EQ(plain.setTo(Vector3<float>(1.0f, 2.0f, 3.0f)), ERROR_CODE::SUCCESS);
    for (const char* name : {"d.png", "d.pgm", "d.exr", "d"})
        ASSERT_EQ(depth.write(dir.path(name)), ERROR_CODE::SUCCESS) << name;
    for (const char* name : {"c.ply", "c.vtk", "c.xyz", "c.txt"})
        ASSERT_EQ(cloud.write(dir.path(name)), ERROR_CODE::SUCCESS) << name;
    ASSERT_EQ(plain.write(dir.path("p.ply")), ERROR_CODE::SUCCESS);
    EXPECT_EQ(dir.names(), (std::vector<std::string>{"c.ply", "c.txt.pcd", "c.vtk", "c.xyz", "d.exr.pfm",
                                                     "d.pfm", "d.pgm", "d.png", "p.ply"}));
    Mat counts;
    ASSERT_EQ(counts.read(dir.path("d.png")), ERROR_CODE::SUCCESS);
    EXPECT_EQ(counts.dataType, MAT_TYPE::U16_C1);
    EXPECT_EQ(counts.getPtr<unsigned short>()[2], 3);
    EXPECT_EQ(readFile(dir.path("d.pgm")).substr(0, 3), "P5\n");
    // Four channels carry colour; three do not.
    EXPECT_NE(readFile(dir.path("c.ply")).find("property uchar red\n"), std::string::npos);
    EXPECT_NE(readFile(dir.path("c.txt.pcd")).find("FIELDS x y z rgb\n"), std::string::npos);
    EXPECT_EQ(readFile(dir.path("p.ply")).find("property uchar red\n"), std::string::npos);
}

// The image library's error handler before and after a write; 1 if it was called.
int countingHandler(int, const char*, const char*, const char*, int, void*) {
    return 1;
}

TEST(MatWrite, the_image_library_error_handler_is_reset_after_encoding) {
    const TempDir dir;
    Mat image = patterned(MAT_TYPE::U8_C1);
    for (const char* name : {"image.png", "image.abc"}) {
        cv::redirectError(countingHandler);
        static_cast<void>(image.write(dir.path(name)));
        EXPECT_EQ(cv::redirectError(nullptr), nullptr) << name;
    }
}

TEST(MatRead, a_file_that_cannot_be_decoded_leaves_the_mat_as_it_was) {
    const TempDir dir;
    Mat image = patterned(MAT_TYPE::U8_C3);
    const unsigned char* buffer = image.getPtr<unsigned char>();
    EXPECT_EQ(image.read(dir.path("missing.png")), ERROR_CODE::FAILURE);
    std::FILE* junk = std::fopen(dir.path("junk.png").c_str(), "w");
    std::fputs("not an image", junk);
    std::fclose(junk);
    EXPECT_EQ(image.read(dir.path("junk.png")), ERROR_CODE::FAILURE);
    EXPECT_EQ(image.getPtr<unsigned char>(), buffer);
    EXPECT_EQ(image.dataType, MAT_TYPE::U8_C3);
    EXPECT_EQ(bytesOf(image), bytesOf(patterned(MAT_TYPE::U8_C3)));
}

// Malformed DICOM makes the image decoder abort the process, so such files never reach it.
TEST(MatRead, a_dicom_file_is_refused_without_decoding) {
    const TempDir dir;
    std::string bytes(128, '\0');
    bytes += "DICM";
    bytes += std::string("\x02\x00\x10\x00UI", 6);
    std::FILE* file = std::fopen(dir.path("scan.png").c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
    Mat image = patterned(MAT_TYPE::U8_C3);
    LogCapture log;
    EXPECT_EQ(image.read(dir.path("scan.png")), ERROR_CODE::FAILURE);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"[Mat]  in read : " + dir.path("scan.png") +
                                                    " is a DICOM file, which is not read"});
    EXPECT_EQ(bytesOf(image), bytesOf(patterned(MAT_TYPE::U8_C3)));
}

TEST(MatRead, image_types_map_to_mat_types_and_everything_else_to_one_byte_channel) {
    const std::pair<int, MAT_TYPE> mapped[] = {
        {CV_32FC1, MAT_TYPE::F32_C1}, {CV_32FC2, MAT_TYPE::F32_C2}, {CV_32FC3, MAT_TYPE::F32_C3},
        {CV_32FC4, MAT_TYPE::F32_C4}, {CV_8UC1, MAT_TYPE::U8_C1},   {CV_8UC2, MAT_TYPE::U8_C2},
        {CV_8UC3, MAT_TYPE::U8_C3},   {CV_8UC4, MAT_TYPE::U8_C4},   {CV_16UC1, MAT_TYPE::U16_C1},
        {CV_8SC4, MAT_TYPE::S8_C4},
    };
    for (int depth : {CV_8U, CV_8S, CV_16U, CV_16S, CV_32S, CV_32F, CV_64F, CV_16F}) {
        for (int channels = 1; channels <= 6; ++channels) {
            const int type = CV_MAKETYPE(depth, channels);
            MAT_TYPE expected = MAT_TYPE::U8_C1;
            for (const auto& entry : mapped)
                if (entry.first == type) expected = entry.second;
            EXPECT_EQ(matTypeFromCvMat(cv::Mat(1, 1, type)), expected) << depth << " x " << channels;
        }
    }
}

TEST(MatRead, a_three_channel_16_bit_image_falls_back_to_its_first_bytes_as_one_byte_channel) {
    const TempDir dir;
    cv::Mat wide(2, 4, CV_16UC3);
    for (int i = 0; i < 2 * 4 * 3; ++i)
        wide.ptr<uint16_t>()[i] = static_cast<uint16_t>(1000 * i + 7);
    ASSERT_TRUE(cv::imwrite(dir.path("wide.png"), wide));
    Mat image;
    ASSERT_EQ(image.read(dir.path("wide.png")), ERROR_CODE::SUCCESS);
    EXPECT_EQ(image.dataType, MAT_TYPE::U8_C1);
    EXPECT_EQ(image.getResolution(), Resolution(4, 2));
    const cv::Mat decoded = cv::imread(dir.path("wide.png"), cv::IMREAD_UNCHANGED);
    EXPECT_EQ(bytesOf(image), std::vector<unsigned char>(decoded.data, decoded.data + 8));
}

}  // namespace
}  // namespace vela
