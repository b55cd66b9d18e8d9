#pragma once

// What a MAT_TYPE and a MEM value say about a Mat's storage, shared by allocation, transfers and access.

#include <cstddef>
#include <cstdint>

#include "vela/core/memory_types.hpp"

namespace vela {

class Mat;

namespace detail {

/// Channels per element, indexed by MAT_TYPE value.
inline constexpr size_t kChannels[] = {1, 2, 3, 4, 1, 2, 3, 4, 1, 4};

inline bool isKnownType(MAT_TYPE type) {
    return static_cast<uint32_t>(toValue(type)) < sizeof(kChannels) / sizeof(kChannels[0]);
}

/// Channels of `type`; 0 for a value outside the enumeration.
inline size_t channelsOf(MAT_TYPE type) {
    return isKnownType(type) ? kChannels[toValue(type)] : 0;
}

/// Bytes per element of `type`: 4 per float channel, 2 for U16_C1, 1 per byte channel; 0 when unknown.
inline size_t bytesPerElement(MAT_TYPE type) {
    if (toValue(type) <= toValue(MAT_TYPE::F32_C4)) return channelsOf(type) * 4;
    if (type == MAT_TYPE::U16_C1) return channelsOf(type) * 2;
    return channelsOf(type);
}

/// True when a Mat of memory type `mem` has host-readable storage.
inline bool hasHostSide(MEM mem) {
    return mem == MEM::CPU || mem == MEM_BOTH || mem == MEM_MANAGED || mem == MEM_UNIFIED;
}

/// True when a Mat of memory type `mem` has GPU-readable storage.
inline bool hasGpuSide(MEM mem) {
    return mem == MEM::GPU || mem == MEM_BOTH || mem == MEM_MANAGED || mem == MEM_UNIFIED;
}

/// Bytes of one packed row and of the whole packed grid of `mat`'s size and type. False when either passes
/// size_t, after logging that `operation` met a size that overflows: such a grid gets no buffer at all.
bool packedSize(const Mat& mat, const char* operation, size_t* rowBytes, size_t* bytes);

/// Logs that `operation` met `mat`'s size, which overflows what it must fit in.
void logSizeOverflow(const Mat& mat, const char* operation);

/// A new host array of `bytes` bytes, released with array delete; null, after logging that `operation`
/// could not have it, when the allocator refuses. Never throws.
unsigned char* newHostArray(size_t bytes, const char* operation);

}  // namespace detail
}  // namespace vela
