#pragma once

// Trigonometry of the geometry types: evaluated in double on float arguments, rounded back to float.

#include <cmath>

namespace vela {
namespace detail {

inline float sinOf(float angle) {
    return static_cast<float>(std::sin(static_cast<double>(angle)));
}
inline float cosOf(float angle) {
    return static_cast<float>(std::cos(static_cast<double>(angle)));
}
inline float asinOf(float value) {
    return static_cast<float>(std::asin(static_cast<double>(value)));
}
inline float acosOf(float value) {
    return static_cast<float>(std::acos(static_cast<double>(value)));
}
inline float atan2Of(float y, float x) {
    return static_cast<float>(std::atan2(static_cast<double>(y), static_cast<double>(x)));
}

}  // namespace detail
}  // namespace vela
