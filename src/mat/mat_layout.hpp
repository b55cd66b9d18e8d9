#pragma once

// What a MAT_TYPE and a MEM value say about a Mat's storage, shared by allocation, transfers and access.

#include <cstddef>
#include <cstdint>

#include "mat/element_table.hpp"
#include "vela/core/memory_types.hpp"

namespace vela {

class Mat;

namespace detail {

/// True when a Mat of memory type `mem` has host-readable storage.
inline bool hasHostSide(MEM mem) {
    return mem == MEM::CPU || mem == MEM_BOTH || mem == MEM_MANAGED || mem == MEM_UNIFIED;
}

/// True when a Mat of memory type `mem` has GPU-readable storage.
inline bool hasGpuSide(MEM mem) {
    return mem == MEM::GPU || mem == MEM_BOTH || mem == MEM_MANAGED || mem == MEM_UNIFIED;
}

/// True when one buffer serves both sides (managed or mapped memory): releasing either side releases it.
inline bool sharesOneBuffer(MEM mem) {
    return mem == MEM_MANAGED || mem == MEM_UNIFIED;
}

/// True when a Mat of memory type `mem` has storage on both sides.
inline bool hasBothSides(MEM mem) {
    return hasHostSide(mem) && hasGpuSide(mem);
}

/// The sides `free(mem)` is asked to release: its own, and both for any value past GPU (MEM_BOTH and the
/// values above it, as free has always read them).
inline bool freesHostSide(MEM mem) {
    return mem == MEM::CPU || toValue(mem) > toValue(MEM::GPU);
}
/// See freesHostSide.
inline bool freesGpuSide(MEM mem) {
    return toValue(mem) >= toValue(MEM::GPU);
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
