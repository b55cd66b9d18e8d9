#pragma once

#include <cstdint>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Skeleton layout of a tracked body; read from configuration text by name.
enum class BODY_FORMAT : int32_t {
    BODY_18 = 0,  ///< "BODY 18": 18 keypoints
    BODY_34 = 1,  ///< "BODY 34": 34 keypoints
    BODY_38 = 2,  ///< "BODY 38": 38 keypoints
};

/// Which keypoints of the skeleton are tracked; read from configuration text by name.
enum class BODY_KEYPOINTS_SELECTION : int32_t {
    FULL = 0,        ///< "FULL"
    UPPER_BODY = 1,  ///< "UPPER BODY"
};

/// Detector used by body tracking; read from configuration text by name.
enum class BODY_TRACKING_MODEL : int32_t {
    HUMAN_BODY_FAST = 0,      ///< "HUMAN BODY FAST"
    HUMAN_BODY_MEDIUM = 1,    ///< "HUMAN BODY MEDIUM"
    HUMAN_BODY_ACCURATE = 2,  ///< "HUMAN BODY ACCURATE"
};

/// The upper-case name, e.g. "BODY 34"; "Unknown" for any other value.
VELA_API String toString(const BODY_FORMAT& format);
/// Reads a number or a name in any case, '-' and '_' standing for blanks ("body_34", "1"); FAILURE leaves
/// `out` unchanged and prints a warning on standard error.
VELA_API ERROR_CODE fromString(const String& text, BODY_FORMAT& out);
/// The upper-case name, e.g. "UPPER BODY"; "Unknown" for any other value.
VELA_API String toString(const BODY_KEYPOINTS_SELECTION& selection);
/// Reads a number or a name as fromString of BODY_FORMAT does.
VELA_API ERROR_CODE fromString(const String& text, BODY_KEYPOINTS_SELECTION& out);
/// The upper-case name, e.g. "HUMAN BODY MEDIUM"; "Unknown" for any other value.
VELA_API String toString(const BODY_TRACKING_MODEL& model);
/// Reads a number or a name as fromString of BODY_FORMAT does.
VELA_API ERROR_CODE fromString(const String& text, BODY_TRACKING_MODEL& out);

}  // namespace vela
