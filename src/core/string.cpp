#include "vela/core/string.hpp"

#include <cstring>
#include <ostream>
#include <utility>

namespace vela {

String::String(const char* text) {
    set(text);
}

String::String(const std::string& text) {
    assign(text.data(), text.size());
}

String::String(const String& other) {
    assign(other.buffer, other.length);
}

String::String(String&& other) noexcept
    : buffer(std::exchange(other.buffer, nullptr)), length(std::exchange(other.length, 0)) {}

String& String::operator=(const String& other) {
    if (this != &other) assign(other.buffer, other.length);
    return *this;
}

String& String::operator=(String&& other) noexcept {
    if (this != &other) {
        clear();
        buffer = std::exchange(other.buffer, nullptr);
        length = std::exchange(other.length, 0);
    }
    return *this;
}

const char* String::c_str() const noexcept {
    return buffer != nullptr ? buffer : "";
}

void String::set(const char* text) {
    if (text == nullptr) {
        clear();
        return;
    }
    assign(text, std::strlen(text));
}

void String::set(const std::string& text) {
    assign(text.data(), text.size());
}

void String::clear() noexcept {
    delete[] buffer;
    buffer = nullptr;
    length = 0;
}

// The new buffer is filled before the old one is released, so assigning a String its own text is safe.
void String::assign(const char* text, size_t count) {
    if (count == 0) {
        clear();
        return;
    }
    char* copy = new char[count + 1];
    std::memcpy(copy, text, count);
    copy[count] = '\0';
    delete[] buffer;
    buffer = copy;
    length = count;
}

bool String::operator==(const String& other) const noexcept {
    return length == other.length && std::memcmp(c_str(), other.c_str(), length) == 0;
}

bool String::operator==(const char* other) const noexcept {
    return std::strcmp(c_str(), other != nullptr ? other : "") == 0;
}

std::ostream& operator<<(std::ostream& os, const String& text) {
    return os.write(text.c_str(), static_cast<std::streamsize>(text.size()));
}

}  // namespace vela
