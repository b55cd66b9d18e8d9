// toString and fromString of two table-based enumerations against the floor a user would write by hand:
// a switch from value to text (returning the same String) and, back, a comparison with each text in turn.
// Each iteration converts every value of the enumeration once.

#include <array>
#include <cstring>
#include <string>

#include "inputs.hpp"

namespace vela {
namespace bench {
namespace {

const char* nameOf(COORDINATE_SYSTEM system) {
    switch (system) {
        case COORDINATE_SYSTEM::IMAGE:
            return "IMAGE";
        case COORDINATE_SYSTEM::LEFT_HANDED_Y_UP:
            return "LEFT HANDED Y UP";
        case COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP:
            return "RIGHT HANDED Y UP";
        case COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP:
            return "RIGHT HANDED Z UP";
        case COORDINATE_SYSTEM::LEFT_HANDED_Z_UP:
            return "LEFT HANDED Z UP";
        case COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD:
            return "RIGHT HANDED Z UP X FWD";
    }
    return "Unknown";
}

const char* nameOf(OBJECT_DETECTION_MODEL model) {
    switch (model) {
        case OBJECT_DETECTION_MODEL::MULTI_CLASS_BOX_FAST:
            return "MULTI CLASS BOX FAST";
        case OBJECT_DETECTION_MODEL::MULTI_CLASS_BOX_MEDIUM:
            return "MULTI CLASS BOX MEDIUM";
        case OBJECT_DETECTION_MODEL::MULTI_CLASS_BOX_ACCURATE:
            return "MULTI CLASS BOX ACCURATE";
        case OBJECT_DETECTION_MODEL::PERSON_HEAD_BOX_FAST:
            return "PERSON HEAD BOX FAST";
        case OBJECT_DETECTION_MODEL::PERSON_HEAD_BOX_ACCURATE:
            return "PERSON HEAD BOX ACCURATE";
        case OBJECT_DETECTION_MODEL::CUSTOM_BOX_OBJECTS:
            return "CUSTOM BOX OBJECTS";
        case OBJECT_DETECTION_MODEL::CUSTOM_YOLOLIKE_BOX_OBJECTS:
            return "CUSTOM YOLOLIKE BOX OBJECTS";
    }
    return "Unknown";
}

// Converts every value's index (0 to Count - 1) with `convert` once per iteration.
template <int Count, typename Convert>
void eachValue(benchmark::State& state, Convert convert) {
    for (auto _ : state) {
        for (int i = 0; i < Count; ++i) {
            auto result = convert(i);
            benchmark::DoNotOptimize(result);
        }
    }
}

template <typename E, int Count>
std::array<String, Count> namesOf() {
    std::array<String, Count> names;
    for (int i = 0; i < Count; ++i)
        names[i] = nameOf(static_cast<E>(i));
    return names;
}

template <typename E, int Count>
void toString_vela(benchmark::State& state) {
    eachValue<Count>(state, [](int i) { return toString(static_cast<E>(i)); });
}

template <typename E, int Count>
void toString_switch(benchmark::State& state) {
    eachValue<Count>(state, [](int i) { return String(nameOf(static_cast<E>(i))); });
}

template <typename E, int Count>
void fromString_vela(benchmark::State& state) {
    const std::array<String, Count> names = namesOf<E, Count>();
    eachValue<Count>(state, [&](int i) {
        E value{};
        if (fromString(names[i], value) != ERROR_CODE::SUCCESS) state.SkipWithError("fromString failed");
        return value;
    });
}

template <typename E, int Count>
void fromString_switch(benchmark::State& state) {
    const std::array<String, Count> names = namesOf<E, Count>();
    eachValue<Count>(state, [&](int i) {
        for (int j = 0; j < Count; ++j) {
            if (std::strcmp(names[i].c_str(), nameOf(static_cast<E>(j))) == 0) return static_cast<E>(j);
        }
        return E{};
    });
}

BENCHMARK(toString_vela<COORDINATE_SYSTEM, 6>)->Name("toString_COORDINATE_SYSTEM/vela");
BENCHMARK(toString_switch<COORDINATE_SYSTEM, 6>)->Name("toString_COORDINATE_SYSTEM/switch");
BENCHMARK(fromString_vela<COORDINATE_SYSTEM, 6>)->Name("fromString_COORDINATE_SYSTEM/vela");
BENCHMARK(fromString_switch<COORDINATE_SYSTEM, 6>)->Name("fromString_COORDINATE_SYSTEM/switch");
BENCHMARK(toString_vela<OBJECT_DETECTION_MODEL, 7>)->Name("toString_OBJECT_DETECTION_MODEL/vela");
BENCHMARK(toString_switch<OBJECT_DETECTION_MODEL, 7>)->Name("toString_OBJECT_DETECTION_MODEL/switch");
BENCHMARK(fromString_vela<OBJECT_DETECTION_MODEL, 7>)->Name("fromString_OBJECT_DETECTION_MODEL/vela");
BENCHMARK(fromString_switch<OBJECT_DETECTION_MODEL, 7>)->Name("fromString_OBJECT_DETECTION_MODEL/switch");

}  // namespace
}  // namespace bench
}  // namespace vela
