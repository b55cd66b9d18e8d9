#pragma once

// How a Mat's elements look to Python: the numeric type of one channel, in numpy's and DLPack's terms, and
// the conversion of one element to and from Python numbers.

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "mat/element_table.hpp"
#include "vela/core/memory_types.hpp"
#include "vela/core/vector.hpp"

namespace vela {
namespace python {

/// One channel's numeric type: numpy's type text ("<f4") and kind ('f', 'u' or 'i'), and its size.
struct ChannelType {
    const char* typestr;
    char kind;
    size_t bytes;
};

/// Channels of an element type, and their numeric type.
template <typename T>
struct Element : detail::ElementTraits<T> {
    /// The channels of `value` as an array.
    static typename detail::ElementTraits<T>::Scalar* data(T& value) {
        if constexpr (detail::ElementTraits<T>::channels == 1)
            return &value;
        else
            return value.data();
    }
};

/// The numeric type of a channel of S: single bytes have no byte order, and wider channels are stored
/// little-endian on every host the library runs on.
template <typename S>
constexpr ChannelType channelTypeOf() {
    static_assert(sizeof(S) == 1 || std::is_same<S, float>::value || std::is_same<S, unsigned short>::value,
                  "a channel type without a numpy name");
    constexpr char kind = std::is_floating_point<S>::value ? 'f' : (std::is_signed<S>::value ? 'i' : 'u');
    if (sizeof(S) == 1) return {kind == 'i' ? "|i1" : "|u1", kind, 1};
    return {kind == 'f' ? "<f4" : "<u2", kind, sizeof(S)};
}

/// Calls f(static_cast<T*>(nullptr)) with the element type T of `type`; ValueError for a value that names no
/// element type.
template <typename F>
decltype(auto) withElementType(MAT_TYPE type, F&& f) {
    if (!detail::isKnownType(type))
        throw pybind11::value_error("MAT_TYPE value " + std::to_string(toValue(type)) +
                                    " names no element type");
    using Result = decltype(f(static_cast<float*>(nullptr)));
    return detail::withElementType(type, std::forward<F>(f), Result());
}

/// The numeric type of one channel of `type`.
inline ChannelType channelTypeOf(MAT_TYPE type) {
    return withElementType(type, [](auto* tag) {
        return channelTypeOf<typename Element<std::remove_pointer_t<decltype(tag)>>::Scalar>();
    });
}

}  // namespace python
}  // namespace vela
