// JSON nested to a depth drawn from the input, around content from the input, through the parser, the file
// loader and the record decoder: a document deeper than kMaxJSONDepth is always a parse failure, never a
// crash, and one that parses has at most that depth.

#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "serialization/json_file.hpp"
#include "vela/serialization/communication_parameters.hpp"

namespace {

// The depth of a parsed document, counted without recursion beyond the limit it has already passed.
size_t depthOf(const vela::json& value, size_t limit) {
    if (!value.is_structured() || limit == 0) return value.is_structured() ? 1 : 0;
    size_t deepest = 0;
    for (const auto& child : value)
        deepest = std::max(deepest, depthOf(child, limit - 1));
    return deepest + 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const size_t depth = input.ConsumeIntegralInRange<size_t>(0, 2 * vela::kMaxJSONDepth);
    std::string open, close;
    for (size_t level = 0; level < depth; ++level) {
        const bool object = input.ConsumeBool();
        open += object ? "{\"k\":" : "[";
        close.insert(0, object ? "}" : "]");
    }
    const std::string inner = input.ConsumeRemainingBytesAsString();
    const std::string text = open + (inner.empty() ? "0" : inner) + close;

    vela::json document;
    const bool parsed = vela::parseJSONFile(vela::String(text), document);
    if (parsed && depth > vela::kMaxJSONDepth) __builtin_trap();
    if (!parsed && !document.is_null()) __builtin_trap();
    if (parsed && depthOf(document, vela::kMaxJSONDepth + 1) > vela::kMaxJSONDepth) __builtin_trap();

    vela::CommunicationParameters parameters;
    const std::string record = "{\"CommunicationParameters\":" + text + "}";
    try {
        (void)parameters.decode(vela::String(record), vela::SERIALIZATION_FORMAT::JSON);
    } catch (const vela::json::exception&) {  // a member of the wrong type is the caller's to handle
    }
    return 0;
}
