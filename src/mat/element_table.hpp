#pragma once

// The one table of a Mat's element types. Everything else that depends on the element type is derived from
// it: channel counts and sizes (ElementTraits), the word getInfos prints, the signature texts of the typed
// member functions, OpenCV's types and the Python binding's channel types (from the scalar type), and every
// instantiation (element access, fills, their GPU and simulated launches). Adding an element type adds an
// enumerator to MAT_TYPE, a type to MatElementTypes (vela/mat/mat.hpp, whose order is the enumeration's) and
// a row here; a static_assert below refuses the table when the three disagree.

#include <cstddef>
#include <type_traits>
#include <utility>

#include "vela/core/memory_types.hpp"
#include "vela/core/vector.hpp"
#include "vela/mat/mat.hpp"

/// X(type, MAT_TYPE enumerator, the type as the compiler spells it in a signature, the word getInfos prints)
/// once per element type, in the order of MAT_TYPE's values.
#define VELA_FOR_EACH_ELEMENT_TYPE(X)                                                  \
    X(float, F32_C1, "float", "float ")                                                \
    X(::vela::Vector2<float>, F32_C2, "vela::Vector2<float>", "float ")                \
    X(::vela::Vector3<float>, F32_C3, "vela::Vector3<float>", "float ")                \
    X(::vela::Vector4<float>, F32_C4, "vela::Vector4<float>", "float ")                \
    X(unsigned char, U8_C1, "unsigned char", "uchar ")                                 \
    X(::vela::Vector2<unsigned char>, U8_C2, "vela::Vector2<unsigned char>", "uchar ") \
    X(::vela::Vector3<unsigned char>, U8_C3, "vela::Vector3<unsigned char>", "uchar ") \
    X(::vela::Vector4<unsigned char>, U8_C4, "vela::Vector4<unsigned char>", "uchar ") \
    X(unsigned short, U16_C1, "short unsigned int", "short ")                          \
    X(::vela::Vector4<char>, S8_C4, "vela::Vector4<char>", "char ")

namespace vela {
namespace detail {

/// The scalar type and channel count of an element type: a Vector's, or the type itself with one channel.
template <typename T>
struct ElementShape {
    using Scalar = T;
    static constexpr size_t channels = 1;
};
template <template <typename> class Vector, typename S>
struct ElementShape<Vector<S>> {
    using Scalar = S;
    static constexpr size_t channels = Vector<S>::size();
};

/// What the table says of element type T.
template <typename T>
struct ElementTraits;  // deliberately undefined: a type outside the table has no traits

#define VELA_ELEMENT_TRAITS(T, enumerator, spelledText, wordText)                                      \
    template <>                                                                                        \
    struct ElementTraits<T> : ElementShape<T> {                                                        \
        static constexpr MAT_TYPE type = MAT_TYPE::enumerator;                                         \
        static constexpr const char* spelled = spelledText;                                            \
        static constexpr const char* word = wordText;                                                  \
    };                                                                                                 \
    static_assert(                                                                                     \
        std::is_same<MatElementTypes::At<toValue(MAT_TYPE::enumerator)>, T>::value,                    \
        "the element table, MAT_TYPE and MatElementTypes must list the same types in the same order"); \
    static_assert(std::is_trivially_copyable<T>::value, "Mat elements are copied as bytes");
VELA_FOR_EACH_ELEMENT_TYPE(VELA_ELEMENT_TRAITS)
#undef VELA_ELEMENT_TRAITS

#define VELA_COUNT_ELEMENT(...) +1
/// Rows of the table.
inline constexpr size_t kElementTypeCount = 0 VELA_FOR_EACH_ELEMENT_TYPE(VELA_COUNT_ELEMENT);
#undef VELA_COUNT_ELEMENT
static_assert(kElementTypeCount == MatElementTypes::size,
              "a MatElementTypes entry without a row in the table");

/// Calls f(static_cast<T*>(nullptr)) with the element type T of `type` and returns its result, or returns
/// `unknown` for a value that names no element type. The one dispatch from a runtime MAT_TYPE to a template.
template <typename F, typename R>
R withElementType(MAT_TYPE type, F&& f, R unknown) {
    switch (type) {
#define VELA_ELEMENT_CASE(T, enumerator, ...) \
    case MAT_TYPE::enumerator:                \
        return std::forward<F>(f)(static_cast<T*>(nullptr));
        VELA_FOR_EACH_ELEMENT_TYPE(VELA_ELEMENT_CASE)
#undef VELA_ELEMENT_CASE
    }
    return unknown;
}

/// True when `type` names an element type.
inline bool isKnownType(MAT_TYPE type) {
    return withElementType(
        type, [](auto*) { return true; }, false);
}

/// Channels of `type`; 0 for a value outside the enumeration.
inline size_t channelsOf(MAT_TYPE type) {
    return withElementType(
        type, [](auto* tag) { return ElementTraits<std::remove_pointer_t<decltype(tag)>>::channels; },
        size_t{0});
}

/// Bytes per element of `type`; 0 when unknown.
inline size_t bytesPerElement(MAT_TYPE type) {
    return withElementType(
        type, [](auto* tag) { return sizeof(*tag); }, size_t{0});
}

/// The word getInfos prints for `type`, trailing space included; nothing when unknown.
inline const char* typeWord(MAT_TYPE type) {
    return withElementType(
        type, [](auto* tag) { return ElementTraits<std::remove_pointer_t<decltype(tag)>>::word; }, "");
}

}  // namespace detail
}  // namespace vela
