#pragma once

#include <string>

#include "vela/core/export.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// Normalises a name read from text: letters upper-cased, digits kept, everything else dropped except
/// separators. Without `separatorsAsSpace` only a blank is a separator and it is kept; with it, each of
/// blank, '-' and '_' becomes one blank.
VELA_API std::string cleanupAndUpperCaseString(const std::string& text, bool separatorsAsSpace);

/// "CPU" or "GPU"; "Unknown" for any other value, the combinations included.
VELA_API String toString(const MEM& mem);
/// Element type and channel count, e.g. "32F C3" or "8U C4"; "Unknown" outside the defined values.
VELA_API String toString(const MAT_TYPE& type);
/// Copy direction, e.g. "CPU GPU"; "Unknown" outside the defined values.
VELA_API String toString(const COPY_TYPE& copy);

}  // namespace vela
