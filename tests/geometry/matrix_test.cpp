// Matrix3f and Matrix4f: values worked out by hand or in exact rational arithmetic, the printed text to
// the character, the inverse's failure state and the sub-block setters' logged refusals.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/log_capture.hpp"

namespace {

using vela::ERROR_CODE;
using vela::Matrix3f;
using vela::Matrix4f;

Matrix3f matrix3(std::initializer_list<float> values) {
    std::vector<float> copy(values);
    return Matrix3f(copy.data());
}

Matrix4f matrix4(std::initializer_list<float> values) {
    std::vector<float> copy(values);
    return Matrix4f(copy.data());
}

template <typename M>
std::vector<float> elementsOf(const M& m) {
    return std::vector<float>(std::begin(m.elements), std::end(m.elements));
}

std::string hexAddress(const void* object) {
    char text[32];
    std::snprintf(text, sizeof(text), "%02llX",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(object)));
    return text;
}

TEST(Matrix, identity_zeros_names_and_exact_equality) {
    EXPECT_EQ(elementsOf(Matrix3f()), (std::vector<float>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
    EXPECT_EQ(elementsOf(Matrix4f()), (std::vector<float>{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    EXPECT_EQ(elementsOf(Matrix4f::zeros()), std::vector<float>(16, 0.0f));

    // The name labels one object: never copied, kept by assignment, ignored by equality.
    Matrix4f named = matrix4({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    named.name = "pose";
    const Matrix4f copy(named);
    EXPECT_TRUE(copy.name.empty() && (named * 2.0f).name.empty());
    EXPECT_EQ(copy, named);
    Matrix4f target;
    target.name = "target";
    target = named;
    EXPECT_EQ(target.name, "target");
    EXPECT_EQ(target, named);

    Matrix4f a, b;
    b(3, 2) = std::numeric_limits<float>::denorm_min();
    EXPECT_TRUE(a != b);
    b(3, 2) = -0.0f;
    EXPECT_TRUE(a == b);
    Matrix3f nan;
    nan(1, 1) = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(nan != nan && !(nan == nan));
}

TEST(Matrix, getInfos_prints_the_name_then_rows_of_six_decimals) {
    Matrix3f r;
    r.name = "R";
    EXPECT_EQ(r.getInfos().str(),
              "R\n1.000000 0.000000 0.000000\n0.000000 1.000000 0.000000\n0.000000 0.000000 1.000000\n");

    Matrix4f t = matrix4({0.5f, -2, 0, 1e6f, 0, 1, 0, -0.25f, 0, 0, 1, 3.1415927f, 0, 0, 0, 1});
    t.name = "T_world";
    EXPECT_EQ(t.getInfos().str(),
              "T_world\n"
              "0.500000 -2.000000 0.000000 1000000.000000\n"
              "0.000000 1.000000 0.000000 -0.250000\n"
              "0.000000 0.000000 1.000000 3.141593\n"
              "0.000000 0.000000 0.000000 1.000000\n");
}

TEST(Matrix, getInfos_of_an_unnamed_copy_starts_with_its_own_address_in_hexadecimal) {
    Matrix3f named;
    named.name = "original";
    const Matrix3f copy(named);
    EXPECT_EQ(copy.getInfos().str(), hexAddress(&copy) +
                                         "\n1.000000 0.000000 0.000000\n0.000000 1.000000 0.000000\n"
                                         "0.000000 0.000000 1.000000\n");
}

TEST(Matrix, products_and_elementwise_operators_match_hand_worked_values) {
    const Matrix3f e = matrix3({1, 2, 3, 0, 1, 4, 5, 6, 0});
    const Matrix3f g = matrix3({2, -1, 0, 1, 0, 3, 4, 1, -2});
    EXPECT_EQ(elementsOf(e * g), (std::vector<float>{16, 2, 0, 17, 4, -5, 16, -5, 18}));
    EXPECT_EQ(elementsOf(e + g), (std::vector<float>{3, 1, 3, 1, 1, 7, 9, 7, -2}));
    EXPECT_EQ(elementsOf(e - g), (std::vector<float>{-1, 3, 3, -1, 1, 1, 1, 5, 2}));
    EXPECT_EQ(elementsOf((Matrix3f::identity() + 1.0f) * 0.5f - 0.5f),
              (std::vector<float>{0.5f, 0, 0, 0, 0.5f, 0, 0, 0, 0.5f}));

    const Matrix4f c = matrix4({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    const Matrix4f d = matrix4({2, 0, 1, -1, 1, 3, 0, 2, -2, 1, 4, 0, 0, 1, -1, 3});
    EXPECT_EQ(elementsOf(c * d),
              (std::vector<float>{-2, 13, 9, 15, 2, 33, 25, 31, 6, 53, 41, 47, 10, 73, 57, 63}));
    // Matrix times vector repeats each dot product along its row.
    EXPECT_EQ(elementsOf(c * vela::Vector4<float>(1, -2, 3, 0.5f)),
              (std::vector<float>{8, 8, 8, 8, 18, 18, 18, 18, 28, 28, 28, 28, 38, 38, 38, 38}));
    EXPECT_EQ(Matrix4f::identity() + 2.0f - Matrix4f::identity(), Matrix4f::zeros() + 2.0f);
}

// a(0,0)·b(0,0) = -(1 + 2^-11) and a(0,1)·b(1,0) = 1 + 2^-11 + 2^-24: rounded apart, the sum would be 0;
// fused, it keeps the 2^-24.
template <typename M>
float productOfNearlyCancellingTerms() {
    const float u = 1.0f + std::ldexp(1.0f, -12);
    M a = M::zeros(), b = M::zeros();
    a(0, 0) = -(1.0f + std::ldexp(1.0f, -11));
    a(0, 1) = u;
    b(0, 0) = 1;
    b(1, 0) = u;
    return (a * b)(0, 0);
}

TEST(Matrix, product_accumulates_with_fused_multiply_add) {
    EXPECT_EQ(productOfNearlyCancellingTerms<Matrix3f>(), std::ldexp(1.0f, -24));
    EXPECT_EQ(productOfNearlyCancellingTerms<Matrix4f>(), std::ldexp(1.0f, -24));
}

#if VELA_TEST_PRODUCT_BUILDS
}  // namespace
namespace fused {
Matrix4f product(const Matrix4f& a, const Matrix4f& b);
bool productIsInlined();
}  // namespace fused
namespace plain {
Matrix4f product(const Matrix4f& a, const Matrix4f& b);
bool productIsInlined();
}  // namespace plain
namespace {

// A caller built with AVX2 and FMA inlines the product, one built without calls the library's: both link
// into one program and give the same bits, cancellations and signed zeros included.
TEST(Matrix4fProduct, inlined_and_compiled_products_agree_bit_for_bit) {
    ASSERT_TRUE(fused::productIsInlined());
    ASSERT_FALSE(plain::productIsInlined());
    std::mt19937 random(7);
    std::uniform_real_distribution<float> mantissa(-1.0f, 1.0f);
    std::uniform_int_distribution<int> exponent(-8, 8);
    for (int trial = 0; trial < 2000; ++trial) {
        Matrix4f a, b;
        for (int i = 0; i < 16; ++i) {
            a.elements[i] = std::ldexp(mantissa(random), exponent(random));
            b.elements[i] = std::ldexp(mantissa(random), exponent(random));
        }
        if (trial % 4 == 0) b = Matrix4f::inverse(a);  // nearly cancelling sums off the diagonal
        const Matrix4f inlined = fused::product(a, b), compiled = plain::product(a, b);
        ASSERT_EQ(std::memcmp(inlined.elements, compiled.elements, sizeof(inlined.elements)), 0)
            << "trial " << trial;
    }
}
#endif

TEST(Matrix, transpose_in_place_and_as_a_copy) {
    Matrix4f m = matrix4({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    const Matrix4f transposed = Matrix4f::transpose(m);
    EXPECT_EQ(elementsOf(transposed),
              (std::vector<float>{1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}));
    m.transpose();
    EXPECT_EQ(m, transposed);
}

TEST(Matrix3fInverse, exact_for_a_unimodular_matrix_and_silently_non_finite_when_singular) {
    Matrix3f m = matrix3({1, 2, 3, 0, 1, 4, 5, 6, 0});  // det = 1; the inverse worked by hand
    m.inverse();
    EXPECT_EQ(elementsOf(m), (std::vector<float>{-24, 18, 5, 20, -15, -4, -5, 4, 1}));
    EXPECT_EQ(Matrix3f::inverse(matrix3({2, 0, 0, 0, 4, 0, 0, 0, 8})),
              matrix3({0.5f, 0, 0, 0, 0.25f, 0, 0, 0, 0.125f}));

    vela::test::LogCapture log;
    const Matrix3f inverse = Matrix3f::inverse(matrix3({1, 2, 3, 2, 4, 6, 0, 1, 1}));
    EXPECT_FALSE(std::all_of(std::begin(inverse.elements), std::end(inverse.elements),
                             [](float e) { return std::isfinite(e); }));
    EXPECT_TRUE(log.take().empty());
}

TEST(Matrix4fInverse, matches_the_exact_rational_inverse) {
    // det = -8: every element of the inverse is a multiple of 1/8, exact in float.
    Matrix4f m = matrix4({2, 1, 0, 3, 1, 3, 2, 0, 0, 1, 4, 1, 1, 0, 1, 2});
    EXPECT_EQ(m.inverse(), ERROR_CODE::SUCCESS);
    EXPECT_EQ(elementsOf(m),
              (std::vector<float>{-17 / 8.0f, 5 / 4.0f, -13 / 8.0f, 4, 9 / 8.0f, -1 / 4.0f, 5 / 8.0f, -2,
                                  -5 / 8.0f, 1 / 4.0f, -1 / 8.0f, 1, 11 / 8.0f, -3 / 4.0f, 7 / 8.0f, -2}));
    // A tiny determinant is still inverted.
    m = matrix4({1e-10f, 0, 0, 0, 0, 1e-10f, 0, 0, 0, 0, 1e-10f, 0, 0, 0, 0, 1});
    ASSERT_EQ(m.inverse(), ERROR_CODE::SUCCESS);
    EXPECT_NEAR(m(1, 1), 1e10, 1e4);
    EXPECT_EQ(m(3, 3), 1.0f);
}

// Products with the inverse against the identity over matrices from well to badly conditioned.
TEST(Matrix4fInverse, product_with_the_inverse_is_the_identity) {
    const std::vector<Matrix4f> samples = {
        matrix4({0.8f, -0.3f, 0.5f, 1.5f, 0.4f, 0.9f, -0.2f, -2.0f, -0.6f, 0.3f, 0.7f, 0.25f, 0.1f, 0.2f,
                 0.3f, 1}),
        matrix4({1, 1, 0, 0, 0, 1, 1, 0, 0, 0, 1, 1, 1e-3f, 0, 0, 1}),
        matrix4({100, 0, 0, -5, 0, 0.01f, 0, 7, 0, 0, -3, 0.5f, 0, 0, 0, 1}),
    };
    for (const Matrix4f& m : samples) {
        const Matrix4f product = m * Matrix4f::inverse(m);
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                EXPECT_NEAR(product(i, j), i == j ? 1.0 : 0.0, 1e-4) << i << "," << j;
    }
}

TEST(Matrix4fInverse, singular_input_fails_with_only_the_first_column_overwritten_by_the_adjugate) {
    const Matrix4f singular = matrix4({1, 2, 3, 4, 1, 2, 3, 4, 2, 0, 1, 3, 0, 5, 1, 2});
    Matrix4f m(singular);
    EXPECT_EQ(m.inverse(), ERROR_CODE::FAILURE);
    // Cofactors of the first row, worked by hand: 23, 5, 17, -21.
    EXPECT_EQ(elementsOf(m), (std::vector<float>{23, 2, 3, 4, 5, 2, 3, 4, 17, 0, 1, 3, -21, 5, 1, 2}));
    EXPECT_EQ(Matrix4f::inverse(singular), m);

    m.setZeros();
    EXPECT_EQ(m.inverse(), ERROR_CODE::FAILURE);
    EXPECT_EQ(m, Matrix4f::zeros());
}

TEST(Matrix4fSubBlocks, setters_write_their_block_only_and_refuse_indices_outside_with_a_log) {
    Matrix4f m = Matrix4f::zeros();
    EXPECT_EQ(m.setSubMatrix3f(matrix3({1, 2, 3, 4, 5, 6, 7, 8, 9}), 1, 1), ERROR_CODE::SUCCESS);
    EXPECT_EQ(elementsOf(m), (std::vector<float>{0, 0, 0, 0, 0, 1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9}));
    m = Matrix4f::identity() * 5.0f;
    EXPECT_EQ(m.setSubVector3f(vela::Vector3<float>(1, 2, 3), 3), ERROR_CODE::SUCCESS);
    EXPECT_EQ(m.setSubVector4f(vela::Vector4<float>(6, 7, 8, 9), 0), ERROR_CODE::SUCCESS);
    EXPECT_EQ(elementsOf(m), (std::vector<float>{6, 0, 0, 1, 7, 5, 0, 2, 8, 0, 5, 3, 9, 0, 0, 5}));

    vela::test::LogCapture log;
    const Matrix4f original(m);
    for (const auto& [row, column] : {std::pair<int, int>{2, 0}, {-1, 0}, {0, 2}})
        EXPECT_EQ(m.setSubMatrix3f(Matrix3f(), row, column), ERROR_CODE::FAILURE) << row << "," << column;
    EXPECT_EQ(m.setSubVector3f(vela::Vector3<float>(), 4), ERROR_CODE::FAILURE);
    EXPECT_EQ(m.setSubVector4f(vela::Vector4<float>(), -1), ERROR_CODE::FAILURE);
    EXPECT_EQ(m, original);
    const std::string invalid = "[Mat]  setSubMatrix3f Invalid Parameters.";
    EXPECT_EQ(log.texts(), (std::vector<std::string>{invalid, invalid, invalid,
                                                     "[Mat]  setSubVector3f Invalid Parameters.",
                                                     "[Mat]  setSubVector4f Invalid Parameters."}));
}

}  // namespace
