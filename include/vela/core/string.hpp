#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>

#include "vela/core/export.hpp"

namespace vela {

/// The kit's own string: an owned, null-terminated character buffer used in every public signature.
/// An empty String holds no buffer; c_str() still returns a valid empty text.
class VELA_API String {
  public:
    /// An empty text.
    String() noexcept = default;
    /// Copies the null-terminated text; a null pointer gives an empty String.
    String(const char* text);  // NOLINT(google-explicit-constructor): built from literals everywhere
    /// Copies a standard string.
    String(const std::string& text);  // NOLINT(google-explicit-constructor)
    /// Copies the text into a buffer of its own; nothing is shared.
    String(const String& other);
    /// Takes over `other`'s buffer without copying; `other` is left empty.
    String(String&& other) noexcept;
    /// Replaces the text with a copy of `other`'s; assigning a String to itself keeps its text.
    String& operator=(const String& other);
    /// Releases this text and takes over `other`'s buffer; `other` is left empty.
    String& operator=(String&& other) noexcept;
    ~String() {
        if (buffer != nullptr) clear();
    }

    /// The text, never null.
    const char* c_str() const noexcept;
    /// Same as c_str().
    const char* get() const noexcept { return c_str(); }
    /// Replaces the text with a copy of `text`; a null pointer empties the String.
    void set(const char* text);
    /// Replaces the text with a copy of a standard string.
    void set(const std::string& text);
    /// Number of characters before the terminating null.
    size_t size() const noexcept { return length; }
    /// True when the text has no characters.
    bool empty() const noexcept { return length == 0; }
    /// Releases the buffer and leaves an empty text.
    void clear() noexcept;
    /// A standard-string copy of the text.
    std::string str() const { return std::string(c_str(), length); }
    /// A standard-string copy of the text, as str().
    operator std::string() const { return str(); }  // NOLINT(google-explicit-constructor)

    /// Same length and the same characters, byte for byte.
    bool operator==(const String& other) const noexcept;
    /// True when the lengths or any characters differ.
    bool operator!=(const String& other) const noexcept { return !(*this == other); }
    /// Same text as the null-terminated `other`; a null pointer equals the empty text.
    bool operator==(const char* other) const noexcept;
    /// True when the text differs from the null-terminated `other` (null reads as empty).
    bool operator!=(const char* other) const noexcept { return !(*this == other); }

  private:
    void assign(const char* text, size_t count);

    char* buffer = nullptr;
    size_t length = 0;
};

/// Writes the text of `text` to `os`.
VELA_API std::ostream& operator<<(std::ostream& os, const String& text);

}  // namespace vela
