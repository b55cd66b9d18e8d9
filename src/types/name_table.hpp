#pragma once

// Names of the enumerations that configuration text can name: one name-to-value table per enumeration,
// with the value-to-name direction derived from it.

#include <cstdint>
#include <initializer_list>
#include <string>
#include <unordered_map>
#include <utility>

#include "vela/core/error_code.hpp"
#include "vela/core/string.hpp"
#include "vela/types/enum_names.hpp"

namespace vela {
namespace detail {

/// The name given to a value that no table or switch lists.
inline constexpr const char* kUnknownName = "Unknown";

/// The value-to-name table of a name-to-value table; the names are expected to have distinct values.
template <typename Name, typename Value>
std::unordered_map<Value, Name> createReverseMap(const std::unordered_map<Name, Value>& map) {
    std::unordered_map<Value, Name> reverse;
    reverse.reserve(map.size());
    for (const auto& entry : map)
        reverse.emplace(entry.second, entry.first);
    return reverse;
}

/// Reads a leading base-10 number of a cleaned name (leading blanks skipped, trailing text ignored);
/// false when there is none or it does not fit 32 signed bits.
bool parseLeadingInteger(const std::string& cleaned, int32_t& number);

/// Tells standard error that `text` names no value.
void warnNoConversion(const String& text);

/// The upper-case names of one enumeration. Both tables are built once, at load, and never change, so
/// look-ups are read-only and safe from any thread.
template <typename E>
class NameTable {
  public:
    NameTable(std::initializer_list<std::pair<const std::string, E>> entries)
        : byName(entries), byValue(createReverseMap(byName)) {}

    /// The name of `value`, or "Unknown" when the table does not list it.
    String toString(E value) const {
        const auto found = byValue.find(value);
        return found == byValue.end() ? String(kUnknownName) : String(found->second);
    }

    /// A number first (stored without checking that it names a value), then the cleaned name, then the
    /// name cleaned with '-' and '_' read as blanks. `out` is left alone on failure.
    ERROR_CODE fromString(const String& text, E& out) const {
        const std::string cleaned = cleanupAndUpperCaseString(text.str(), false);
        int32_t number = 0;
        if (parseLeadingInteger(cleaned, number)) {
            out = static_cast<E>(number);
            return ERROR_CODE::SUCCESS;
        }
        if (find(cleaned, out) || find(cleanupAndUpperCaseString(text.str(), true), out)) {
            return ERROR_CODE::SUCCESS;
        }
        warnNoConversion(text);
        return ERROR_CODE::FAILURE;
    }

  private:
    bool find(const std::string& name, E& out) const {
        const auto found = byName.find(name);
        if (found == byName.end()) return false;
        out = found->second;
        return true;
    }

    const std::unordered_map<std::string, E> byName;
    const std::unordered_map<E, std::string> byValue;
};

}  // namespace detail
}  // namespace vela

/// Defines, in namespace vela, the public toString and fromString of `E`, both served by `table`.
#define VELA_NAME_TABLE_FUNCTIONS(E, table)             \
    String toString(const E& value) {                   \
        return (table).toString(value);                 \
    }                                                   \
    ERROR_CODE fromString(const String& text, E& out) { \
        return (table).fromString(text, out);           \
    }
