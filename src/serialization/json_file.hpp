#pragma once

// The JSON layer under the configuration records: files, parsing and tolerant member look-ups.

#include <nlohmann/json.hpp>

#include <cstdio>
#include <exception>
#include <string>

#include "vela/serialization/json_file.hpp"

namespace vela {

using json = nlohmann::json;

/// Parses `text`; true when it is one JSON document nested at most kMaxJSONDepth deep. On failure
/// `document` is null. The parse itself takes no stack in proportion to the depth.
bool parseJSONFile(const String& text, json& document);

/// Reads and parses the file at `path`; on failure `document` is null and the result says why. Only regular
/// files are read: a directory, a device or a pipe is UNREADABLE.
JSON_FILE_STATUS loadJSONFile(const std::string& path, json& document);

/// Writes `document` to `path` (2-blank indentation when `indented`, else one compact line) through a
/// temporary file in the same directory renamed over the target, so a crash or a full disk leaves either
/// the old file, with its permissions, or the new one, never a mix. A link is followed; a device or a pipe
/// is written in place; a directory is UNWRITABLE.
JSON_FILE_STATUS saveJSONFile(const std::string& path, const json& document, bool indented);

/// One compact line: no ASCII escaping, invalid UTF-8 refused with the library's exception.
std::string dumpCompact(const json& document);

/// Copies the member `key` of `object` into `out`. False when `object` is not an object or lacks the
/// member, or when the copy fails with a std::exception, whose message is printed when `verbose`.
template <typename T>
bool get(const json& object, const std::string& key, T& out, bool verbose) {
    if (!object.is_object()) return false;
    const auto member = object.find(key);
    if (member == object.end()) return false;
    try {
        out = member->template get<T>();
    } catch (const std::exception& e) {
        if (verbose) std::printf("%s\n", e.what());
        return false;
    }
    return true;
}

/// The member `key` of `object` as text: a string without its quotes (escapes kept as written in JSON),
/// anything else as its compact JSON text. False as for get.
bool getString(const json& object, const std::string& key, std::string& out, bool verbose);

}  // namespace vela
