// Name parsing of every enumeration read from configuration text, the unit names and the cleanup.

#include <cstddef>
#include <cstdint>
#include <string>

#include "vela/vela.hpp"

namespace {

// A value no table lists, so that an `out` left alone on failure can be told apart.
template <typename E>
void parse(const vela::String& text) {
    const E untouched = static_cast<E>(-123456);
    E out = untouched;
    const vela::ERROR_CODE result = vela::fromString(text, out);
    if (result == vela::ERROR_CODE::FAILURE && out != untouched) __builtin_trap();
    if (result != vela::ERROR_CODE::FAILURE && result != vela::ERROR_CODE::SUCCESS) __builtin_trap();
    (void)vela::toString(out);
}

void checkCleanup(const std::string& text, bool separatorsAsSpace) {
    const std::string cleaned = vela::cleanupAndUpperCaseString(text, separatorsAsSpace);
    if (cleaned.size() > text.size()) __builtin_trap();
    for (const char c : cleaned) {
        if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ')) __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const vela::String name(text);
    parse<vela::UNIT>(name);
    parse<vela::COORDINATE_SYSTEM>(name);
    parse<vela::InputType::INPUT_TYPE>(name);
    parse<vela::STREAMING_CODEC>(name);
    parse<vela::OBJECT_CLASS>(name);
    parse<vela::OBJECT_FILTERING_MODE>(name);
    parse<vela::BODY_FORMAT>(name);
    parse<vela::BODY_KEYPOINTS_SELECTION>(name);
    parse<vela::OBJECT_DETECTION_MODEL>(name);
    parse<vela::BODY_TRACKING_MODEL>(name);
    parse<vela::CommunicationParameters::COMM_TYPE>(name);
    (void)vela::str2unit(name);
    checkCleanup(text, false);
    checkCleanup(text, true);
    return 0;
}
