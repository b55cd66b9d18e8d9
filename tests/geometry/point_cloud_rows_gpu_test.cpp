// Unit scaling and change of axes, on the host and on the GPU, over rows of every length from 1 to 41
// points, against float arithmetic worked here, so that each row
// has whole blocks of the vectorised loops (2, 4, 8 and 16 floats at a time) and every remainder: random
// bits of every magnitude, subnormals included, and packed colours whose unused byte is 0 (subnormal or
// smallest-exponent floats) or 255 (NaN half of the time).

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "support/device.hpp"
#include "support/float_bits.hpp"

namespace vela {
namespace {

constexpr size_t kHeight = 2;
constexpr size_t kMaxWidth = 41;

class PointCloudRows : public test::GpuTest, public ::testing::WithParamInterface<MEM> {
  protected:
    Mat cloudOf(size_t width, MAT_TYPE type, const std::vector<float>& values) const {
        Mat host(width, kHeight, type, MEM::CPU);
        std::memcpy(host.getPtr<float>(), values.data(), values.size() * sizeof(float));
        Mat mat;
        EXPECT_EQ(host.copyTo(mat, GetParam() == MEM::GPU ? COPY_TYPE::CPU_GPU : COPY_TYPE::CPU_CPU),
                  ERROR_CODE::SUCCESS);
        return mat;
    }
};
INSTANTIATE_TEST_SUITE_P(Conversions, PointCloudRows, ::testing::Values(MEM::CPU, MEM::GPU));

// The GPU keeps the fourth float of F32_C4 points (a colour); the host scales it with the rest.
TEST_P(PointCloudRows, unit_scaling_is_float_multiplication_at_every_row_length) {
    std::mt19937 random(11);
    for (MAT_TYPE type : {MAT_TYPE::F32_C1, MAT_TYPE::F32_C3, MAT_TYPE::F32_C4}) {
        const size_t channels = type == MAT_TYPE::F32_C1 ? 1 : type == MAT_TYPE::F32_C3 ? 3 : 4;
        for (size_t width = 1; width <= kMaxWidth; ++width) {
            SCOPED_TRACE("channels " + std::to_string(channels) + " width " + std::to_string(width));
            std::vector<float> values = test::randomFloats(width * kHeight * channels, channels, random);
            // Negative zeros (a colour of bytes 0, 0, 0, 128 among them) must stay negative.
            for (size_t i = 5; i < values.size(); i += 7)
                values[i] = -0.0f;
            // Metres to millimetres brings colours out of the subnormal range, and back into it.
            for (const auto& [from, to, factor] : {std::tuple{UNIT::METER, UNIT::MILLIMETER, 1000.0f},
                                                   std::tuple{UNIT::MILLIMETER, UNIT::METER, 0.001f},
                                                   std::tuple{UNIT::INCH, UNIT::FOOT, 25.4f / 304.8f}}) {
                Mat cloud = cloudOf(width, type, values);
                ASSERT_EQ(convertUnit(cloud, from, to, GetParam()), ERROR_CODE::SUCCESS);
                std::vector<float> expected = values;
                for (size_t i = 0; i < expected.size(); ++i)
                    if (!(GetParam() == MEM::GPU && channels == 4 && i % 4 == 3)) expected[i] *= factor;
                EXPECT_TRUE(test::sameBits(test::floatsOf(cloud, GetParam()), expected))
                    << "factor " << factor;
            }
        }
    }
}

// Every conversion matrix between two systems holds one 1 or -1 per row, so for non-zero finite
// coordinates each converted one is exactly an input coordinate, negated or not.
TEST_P(PointCloudRows, change_of_axes_moves_each_coordinate_and_keeps_colours_at_every_row_length) {
    std::mt19937 random(12);
    for (MAT_TYPE type : {MAT_TYPE::F32_C3, MAT_TYPE::F32_C4}) {
        const size_t channels = type == MAT_TYPE::F32_C3 ? 3 : 4;
        for (size_t width = 1; width <= kMaxWidth; ++width) {
            const std::vector<float> values =
                test::randomFloats(width * kHeight * channels, channels, random);
            for (int from = 0; from < 6; ++from) {
                const int to = (from + 1 + static_cast<int>(width) % 5) % 6;
                SCOPED_TRACE("channels " + std::to_string(channels) + " width " + std::to_string(width) +
                             " from " + std::to_string(from) + " to " + std::to_string(to));
                const Matrix3f m = getCoordinateTransformConversion3f(static_cast<COORDINATE_SYSTEM>(from),
                                                                      static_cast<COORDINATE_SYSTEM>(to));
                std::vector<float> expected = values;
                for (size_t p = 0; p < values.size(); p += channels) {
                    for (int i = 0; i < 3; ++i) {
                        for (int j = 0; j < 3; ++j) {
                            const float e = m.elements[3 * i + j];
                            if (e != 0) expected[p + i] = e > 0 ? values[p + j] : -values[p + j];
                        }
                    }
                }
                Mat cloud = cloudOf(width, type, values);
                ASSERT_EQ(convertCoordinateSystem(cloud, static_cast<COORDINATE_SYSTEM>(from),
                                                  static_cast<COORDINATE_SYSTEM>(to), GetParam()),
                          ERROR_CODE::SUCCESS);
                EXPECT_TRUE(test::sameBits(test::floatsOf(cloud, GetParam()), expected));
            }
        }
    }
}

}  // namespace
}  // namespace vela
