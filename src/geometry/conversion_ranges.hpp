#pragma once

// The range tests shared by the converters of transforms and of point clouds: signed comparisons against
// the last value only, so a negative value passes (it selects no axis matrix and has no unit size).

#include <cstdint>

#include "vela/core/memory_types.hpp"
#include "vela/types/units.hpp"

namespace vela {
namespace detail {

inline constexpr int32_t kLastCoordinateSystem = toValue(COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD);
inline constexpr int32_t kLastUnit = toValue(UNIT::FOOT);

inline bool systemsInRange(COORDINATE_SYSTEM a, COORDINATE_SYSTEM b) {
    return toValue(a) <= kLastCoordinateSystem && toValue(b) <= kLastCoordinateSystem;
}

inline bool unitsInRange(UNIT a, UNIT b) {
    return toValue(a) <= kLastUnit && toValue(b) <= kLastUnit;
}

}  // namespace detail
}  // namespace vela
