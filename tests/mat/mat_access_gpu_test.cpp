// Typed element access on both sides, for the ten element types, with the checking differences between
// getValue and setValue, and the reports of failed runtime calls.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <cstring>
#include <string>
#include <vector>

#include "support/device.hpp"

namespace vela {
namespace test {
namespace {

template <typename T, MAT_TYPE M>
struct Element {
    using Type = T;
    static constexpr MAT_TYPE type = M;
};
using ElementTypes = ::testing::Types<
    Element<float, MAT_TYPE::F32_C1>, Element<Vector2<float>, MAT_TYPE::F32_C2>,
    Element<Vector3<float>, MAT_TYPE::F32_C3>, Element<Vector4<float>, MAT_TYPE::F32_C4>,
    Element<unsigned char, MAT_TYPE::U8_C1>, Element<Vector2<unsigned char>, MAT_TYPE::U8_C2>,
    Element<Vector3<unsigned char>, MAT_TYPE::U8_C3>, Element<Vector4<unsigned char>, MAT_TYPE::U8_C4>,
    Element<unsigned short, MAT_TYPE::U16_C1>, Element<Vector4<char>, MAT_TYPE::S8_C4>>;

// An element whose bytes count up from `seed`; compared as bytes, so no float pattern can be a NaN trap.
template <typename T>
T bytesFrom(unsigned char seed) {
    unsigned char bytes[sizeof(T)];
    for (size_t i = 0; i < sizeof(T); ++i)
        bytes[i] = static_cast<unsigned char>(seed + 17 * i);
    T value;
    std::memcpy(static_cast<void*>(&value), bytes, sizeof(T));
    return value;
}

template <typename T>
bool sameBytes(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// The host bytes of `mat` brought back from its GPU side, rows packed.
std::vector<unsigned char> hostBytesOf(const Mat& mat) {
    Mat host;
    EXPECT_EQ(mat.copyTo(host, COPY_TYPE::GPU_CPU), ERROR_CODE::SUCCESS);
    const unsigned char* bytes = host.getPtr<unsigned char>();
    return std::vector<unsigned char>(bytes, bytes + host.stepCPU * host.height);
}

template <typename E>
class MatElements : public GpuTest {};
TYPED_TEST_SUITE(MatElements, ElementTypes);

// 5 x 3 grids: three-byte and twelve-byte rows do not divide any GPU pitch.
TYPED_TEST(MatElements, fill_and_single_writes_reach_exactly_their_elements_on_both_sides) {
    using T = typename TypeParam::Type;
    constexpr size_t kW = 5, kH = 3;
    const T fill = bytesFrom<T>(11);
    const T single = bytesFrom<T>(200);
    for (MEM side : {MEM::CPU, MEM::GPU}) {
        Mat mat(kW, kH, TypeParam::type, side);
        ASSERT_EQ(mat.setTo(fill, side), ERROR_CODE::SUCCESS);
        ASSERT_EQ(mat.setValue(3, 2, single, side), ERROR_CODE::SUCCESS);
        const std::vector<unsigned char> bytes =
            side == MEM::CPU ? std::vector<unsigned char>(mat.getPtr<unsigned char>(),
                                                          mat.getPtr<unsigned char>() + kW * kH * sizeof(T))
                             : hostBytesOf(mat);
        ASSERT_EQ(bytes.size(), kW * kH * sizeof(T));
        for (size_t i = 0; i < kW * kH; ++i) {
            const T& expected = i == 2 * kW + 3 ? single : fill;
            EXPECT_EQ(std::memcmp(&bytes[i * sizeof(T)], &expected, sizeof(T)), 0) << "element " << i;
        }
        T read;
        ASSERT_EQ(mat.getValue(3, 2, &read, side), ERROR_CODE::SUCCESS);
        EXPECT_TRUE(sameBytes(read, single));
        ASSERT_EQ(mat.getValue(4, 1, &read, side), ERROR_CODE::SUCCESS);
        EXPECT_TRUE(sameBytes(read, fill));
    }
}

// Long host runs are filled in blocks: packed rows make one run of 3000 elements (two blocks and a part),
// padded rows of 1500 elements are filled one by one; every element is written and nothing past a row.
TYPED_TEST(MatElements, long_host_fills_write_every_element_and_leave_padding_alone) {
    using T = typename TypeParam::Type;
    const T fill = bytesFrom<T>(5);
    const unsigned char guard = 0xEE;
    for (const size_t width : {size_t{1000}, size_t{1500}}) {
        const size_t height = 3;
        const size_t stride = width == 1000 ? width : width + 1;  // in elements; 1 element of padding
        std::vector<unsigned char> bytes((stride * height + 1) * sizeof(T), guard);
        Mat wrapped(width, height, TypeParam::type, bytes.data(), stride * sizeof(T), MEM::CPU);
        ASSERT_EQ(wrapped.setTo(fill), ERROR_CODE::SUCCESS);
        for (size_t i = 0; i < stride * height + 1; ++i) {
            const bool written = i < stride * height && i % stride < width;
            const unsigned char* element = &bytes[i * sizeof(T)];
            if (written) {
                ASSERT_EQ(std::memcmp(element, &fill, sizeof(T)), 0)
                    << "width " << width << ", element " << i;
            } else {
                ASSERT_EQ(std::vector<unsigned char>(element, element + sizeof(T)),
                          std::vector<unsigned char>(sizeof(T), guard))
                    << "width " << width << ", element " << i;
            }
        }
    }
}

TYPED_TEST(MatElements, other_sides_and_bad_coordinates_are_refused) {
    using T = typename TypeParam::Type;
    const T zero{};
    Mat host(4, 2, TypeParam::type);
    EXPECT_EQ(host.setTo(bytesFrom<T>(1), MEM::GPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(host.setValue(0, 0, bytesFrom<T>(1), MEM::GPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(host.setTo(bytesFrom<T>(1), MEM_BOTH), ERROR_CODE::FAILURE);
    T read = bytesFrom<T>(9);
    EXPECT_EQ(host.getValue(4, 0, &read), ERROR_CODE::FAILURE);
    EXPECT_TRUE(sameBytes(read, zero)) << "the output is zeroed first";
    EXPECT_EQ(host.getValue(0, 2, &read), ERROR_CODE::FAILURE);
    EXPECT_EQ(host.getValue(0, 0, &read, MEM::GPU), ERROR_CODE::FAILURE);
    EXPECT_EQ(host.getValue(0, 0, &read, MEM_MANAGED), ERROR_CODE::FAILURE);
    Mat empty;
    EXPECT_EQ(empty.setValue(0, 0, bytesFrom<T>(1)), ERROR_CODE::FAILURE);
    EXPECT_EQ(empty.getValue(0, 0, &read), ERROR_CODE::FAILURE);
    const Mat managed(4, 2, TypeParam::type, MEM_MANAGED);
    EXPECT_EQ(managed.getPtr<T>(MEM_MANAGED), managed.getPtr<T>(MEM::CPU));
    EXPECT_EQ(managed.getPtr<T>(MEM_BOTH), nullptr);
}

class MatAccess : public GpuTest {};

TEST_F(MatAccess, set_value_trusts_the_caller_where_get_value_checks) {
    Mat bytes(8, 2, MAT_TYPE::U8_C1);
    ASSERT_EQ(bytes.setTo<unsigned char>(0), ERROR_CODE::SUCCESS);
    float read = 0;
    EXPECT_EQ(bytes.getValue(0, 0, &read), ERROR_CODE::FAILURE) << "element sizes differ";
    EXPECT_EQ(bytes.setTo(1.0f), ERROR_CODE::FAILURE);
    const float written = -2.5f;
    EXPECT_EQ(bytes.setValue(1, 0, written), ERROR_CODE::SUCCESS) << "four bytes at the float-sized index";
    EXPECT_EQ(std::memcmp(bytes.getPtr<unsigned char>() + 4, &written, 4), 0);
    EXPECT_EQ(bytes.setValue<unsigned char>(8, 0, 77), ERROR_CODE::SUCCESS)
        << "x past the row is not refused";
    unsigned char wrapped = 0;
    EXPECT_EQ(bytes.getValue(0, 1, &wrapped), ERROR_CODE::SUCCESS);
    EXPECT_EQ(wrapped, 77);

    Mat rgba(2, 2, MAT_TYPE::U8_C4, MEM::GPU);
    ASSERT_EQ(rgba.setValue(1, 1, written, MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(rgba.getValue(1, 1, &read, MEM::GPU), ERROR_CODE::SUCCESS)
        << "only the element size is compared";
    EXPECT_EQ(read, written);
}

TEST_F(MatAccess, host_fill_of_a_wrapped_buffer_honours_its_row_step) {
    std::vector<unsigned short> rows(2 * 4, 0xAAAA);  // 3 elements and one element of padding per row
    Mat wrapped(3, 2, MAT_TYPE::U16_C1, reinterpret_cast<unsigned char*>(rows.data()), 8, MEM::CPU);
    ASSERT_EQ(wrapped.setTo<unsigned short>(7), ERROR_CODE::SUCCESS);
    EXPECT_EQ(rows, (std::vector<unsigned short>{7, 7, 7, 0xAAAA, 7, 7, 7, 0xAAAA}));
}

std::string injectedReport(const std::string& signature) {
    return "in " + signature + " : Err [719]: unspecified launch failure.\n";
}

TEST_F(MatAccess, failed_gpu_calls_are_reported_under_the_member_and_succeed) {
    Mat floats(2, 2, MAT_TYPE::F32_C1, MEM::GPU);
    Mat shorts(2, 2, MAT_TYPE::U16_C1, MEM::GPU);
    Mat points(2, 2, MAT_TYPE::F32_C3, MEM_MANAGED);
    if (!injectFailure("cudaMemcpy", cudaErrorLaunchFailure)) GTEST_SKIP() << "failures cannot be injected";
    testing::internal::CaptureStdout();
    EXPECT_EQ(floats.setValue(0, 0, 1.0f, MEM::GPU), ERROR_CODE::SUCCESS);
    injectFailure("cudaMemcpy", cudaErrorLaunchFailure);
    unsigned short value = 0;
    EXPECT_EQ(shorts.getValue(1, 1, &value, MEM::GPU), ERROR_CODE::SUCCESS);
    injectFailure("cudaLaunchKernel", cudaErrorLaunchFailure);
    EXPECT_EQ(points.setTo(Vector3<float>(1, 2, 3), MEM::GPU), ERROR_CODE::SUCCESS);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              injectedReport("vela::ERROR_CODE vela::Mat::setValue(size_t, size_t, const T&, vela::MEM) "
                             "[with T = float]") +
                  injectedReport("vela::ERROR_CODE vela::Mat::getValue(size_t, size_t, T*, vela::MEM) const "
                                 "[with T = short unsigned int]") +
                  injectedReport("vela::ERROR_CODE vela::Mat::setTo(const T&, vela::MEM, cudaStream_t) "
                                 "[with T = vela::Vector3<float>]"));
    cudaGetLastError();
}

}  // namespace
}  // namespace test
}  // namespace vela
