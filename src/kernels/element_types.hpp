#pragma once

// The ten element types a Mat can hold, each with its MAT_TYPE. Every template that serves all element
// types (element access, fills, conversions, the GPU launchers) is instantiated from this one list.

#include "vela/core/memory_types.hpp"
#include "vela/core/vector.hpp"

/// Expands X(type, MAT_TYPE enumerator) once per element type.
#define VELA_FOR_EACH_ELEMENT_TYPE(X)        \
    X(float, F32_C1)                         \
    X(::vela::Vector2<float>, F32_C2)        \
    X(::vela::Vector3<float>, F32_C3)        \
    X(::vela::Vector4<float>, F32_C4)        \
    X(unsigned char, U8_C1)                  \
    X(::vela::Vector2<unsigned char>, U8_C2) \
    X(::vela::Vector3<unsigned char>, U8_C3) \
    X(::vela::Vector4<unsigned char>, U8_C4) \
    X(unsigned short, U16_C1)                \
    X(::vela::Vector4<char>, S8_C4)
