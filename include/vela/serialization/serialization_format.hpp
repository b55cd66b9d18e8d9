#pragma once

#include <cstdint>

namespace vela {

/// Text format of a configuration record's encode, decode, save and load.
enum class SERIALIZATION_FORMAT : int32_t {
    NONE = 0,  ///< no format: every operation refuses it
    JSON = 1,  ///< JSON text with 2-blank indentation and keys sorted
    LAST = 2,  ///< one past the last format; load still reads it as JSON
};

}  // namespace vela
