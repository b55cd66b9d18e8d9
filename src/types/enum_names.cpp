#include "vela/types/enum_names.hpp"

#include <cctype>
#include <charconv>
#include <iostream>

#include "types/name_table.hpp"

namespace vela {

std::string cleanupAndUpperCaseString(const std::string& text, bool separatorsAsSpace) {
    std::string cleaned;
    cleaned.reserve(text.size());
    for (const char c : text) {
        // The classification functions take the byte as unsigned: bytes of UTF-8 sequences are dropped.
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalpha(byte)) {
            cleaned.push_back(static_cast<char>(std::toupper(byte)));
        } else if (std::isdigit(byte)) {
            cleaned.push_back(c);
        } else if (c == ' ' || (separatorsAsSpace && (c == '-' || c == '_'))) {
            cleaned.push_back(' ');
        }
    }
    return cleaned;
}

namespace detail {

bool parseLeadingInteger(const std::string& cleaned, int32_t& number) {
    // A cleaned name holds only upper-case letters, digits and blanks: no sign can precede the digits.
    const size_t start = cleaned.find_first_not_of(' ');
    if (start == std::string::npos) return false;
    const char* first = cleaned.data() + start;
    const auto parsed = std::from_chars(first, cleaned.data() + cleaned.size(), number);
    return parsed.ec == std::errc() && parsed.ptr != first;
}

void warnNoConversion(const String& text) {
    std::cerr << "Warning ! No conversion known for field '" << text << "'" << std::endl;
}

}  // namespace detail

String toString(const MEM& mem) {
    switch (mem) {
        case MEM::CPU:
            return "CPU";
        case MEM::GPU:
            return "GPU";
    }
    return detail::kUnknownName;
}

String toString(const MAT_TYPE& type) {
    switch (type) {
        case MAT_TYPE::F32_C1:
            return "32F C1";
        case MAT_TYPE::F32_C2:
            return "32F C2";
        case MAT_TYPE::F32_C3:
            return "32F C3";
        case MAT_TYPE::F32_C4:
            return "32F C4";
        case MAT_TYPE::U8_C1:
            return "8U C1";
        case MAT_TYPE::U8_C2:
            return "8U C2";
        case MAT_TYPE::U8_C3:
            return "8U C3";
        case MAT_TYPE::U8_C4:
            return "8U C4";
        case MAT_TYPE::U16_C1:
            return "US16 C1";
        case MAT_TYPE::S8_C4:
            return "8S C4";
    }
    return detail::kUnknownName;
}

String toString(const COPY_TYPE& copy) {
    switch (copy) {
        case COPY_TYPE::CPU_CPU:
            return "CPU CPU";
        case COPY_TYPE::CPU_GPU:
            return "CPU GPU";
        case COPY_TYPE::GPU_GPU:
            return "GPU GPU";
        case COPY_TYPE::GPU_CPU:
            return "GPU CPU";
    }
    return detail::kUnknownName;
}

}  // namespace vela
