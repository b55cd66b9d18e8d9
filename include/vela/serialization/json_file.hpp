#pragma once

#include <cstddef>
#include <cstdint>

#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// The deepest nesting of arrays and objects that a JSON document read by the library may have; a deeper
/// document is refused as invalid, because processing it would take stack in proportion to its depth.
constexpr size_t kMaxJSONDepth = 512;

/// Outcome of reading or writing a JSON file; each failure has its own value.
enum class JSON_FILE_STATUS : int32_t {
    SUCCESS = 0,
    NOT_FOUND = 1,     ///< no file at the path
    UNREADABLE = 2,    ///< the path exists but cannot be read (permissions, not a regular file, an I/O error)
    INVALID_JSON = 3,  ///< the file was read but does not hold one JSON document (or nests too deep)
    UNWRITABLE = 4,    ///< the file could not be written completely; the previous file is untouched
};

/// Parses `text` as JSON. When it parses, returns true at once and writes nothing. Otherwise writes the
/// document the failed parse leaves (null) to `path` and returns whether that write succeeded;
/// `indented` selects 2-blank indentation rather than one compact line.
VELA_API bool saveJSONFile(String path, const String& text, bool indented);

/// Reads the JSON document at `path` into `text` as one compact line; on failure `text` is "null".
VELA_API JSON_FILE_STATUS loadJSONFile(String path, String& text);

}  // namespace vela
