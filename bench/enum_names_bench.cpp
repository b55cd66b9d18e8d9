// toString and fromString of two table-based enumerations against the floor a user would write by hand:
// a switch from value to text (returning the same String) and, back, a comparison with each text in turn.
// Each iteration converts every value of the enumeration once.

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

template <typename E, int Count>
void toString_vela(benchmark::State& state) {
    for (auto _ : state) {
        for (int i = 0; i < Count; ++i) {
            String text = toString(static_cast<E>(i));
            benchmark::DoNotOptimize(text);
        }
    }
}

template <typename E, int Count>
void toString_switch(benchmark::State& state) {
    for (auto _ : state) {
        for (int i = 0; i < Count; ++i) {
            String text = nameOf(static_cast<E>(i));
            benchmark::DoNotOptimize(text);
        }
    }
}

template <typename E, int Count>
void fromString_vela(benchmark::State& state) {
    String names[Count];
    for (int i = 0; i < Count; ++i)
        names[i] = nameOf(static_cast<E>(i));
    for (auto _ : state) {
        for (const String& name : names) {
            E value{};
            if (fromString(name, value) != ERROR_CODE::SUCCESS) state.SkipWithError("fromString failed");
            benchmark::DoNotOptimize(value);
        }
    }
}

template <typename E, int Count>
void fromString_switch(benchmark::State& state) {
    String names[Count];
    for (int i = 0; i < Count; ++i)
        names[i] = nameOf(static_cast<E>(i));
    for (auto _ : state) {
        for (const String& name : names) {
            E value{};
            for (int i = 0; i < Count; ++i) {
                if (std::strcmp(name.c_str(), nameOf(static_cast<E>(i))) == 0) {
                    value = static_cast<E>(i);
                    break;
                }
            }
            benchmark::DoNotOptimize(value);
        }
    }
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
