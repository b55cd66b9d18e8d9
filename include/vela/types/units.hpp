#pragma once

#include <cstdint>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Length unit of depths, positions and point clouds; read from configuration text by name.
enum class UNIT : int32_t {
    MILLIMETER = 0,  ///< "MILLIMETER"
    CENTIMETER = 1,  ///< "CENTIMETER"
    METER = 2,       ///< "METER"
    INCH = 3,        ///< "INCH"
    FOOT = 4,        ///< "FOOT"
};

/// Axis convention of 3-D data; read from configuration text by name.
enum class COORDINATE_SYSTEM : int32_t {
    IMAGE = 0,                    ///< "IMAGE"
    LEFT_HANDED_Y_UP = 1,         ///< "LEFT HANDED Y UP"
    RIGHT_HANDED_Y_UP = 2,        ///< "RIGHT HANDED Y UP"
    RIGHT_HANDED_Z_UP = 3,        ///< "RIGHT HANDED Z UP"
    LEFT_HANDED_Z_UP = 4,         ///< "LEFT HANDED Z UP"
    RIGHT_HANDED_Z_UP_X_FWD = 5,  ///< "RIGHT HANDED Z UP X FWD"
};

/// The upper-case name, e.g. "METER"; "Unknown" for any other value.
VELA_API String toString(const UNIT& unit);
/// Same as toString of the unit.
VELA_API String unit2str(UNIT unit);
/// Reads a number or a name in any case, '-' and '_' standing for blanks ("meter", "2"); FAILURE leaves
/// `out` unchanged and prints a warning on standard error.
VELA_API ERROR_CODE fromString(const String& text, UNIT& out);
/// Exactly "Millimeter", "Centimeter", "Meter", "Inch" or "Feet", case included; MILLIMETER for any other
/// text.
VELA_API UNIT str2unit(String text);

/// The upper-case name, e.g. "RIGHT HANDED Y UP"; "Unknown" for any other value.
VELA_API String toString(const COORDINATE_SYSTEM& system);
/// Reads a number or a name as fromString of UNIT does: "right-handed_y_up" gives RIGHT_HANDED_Y_UP.
VELA_API ERROR_CODE fromString(const String& text, COORDINATE_SYSTEM& out);

}  // namespace vela
