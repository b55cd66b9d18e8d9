#pragma once

#include <cuda_runtime_api.h>

#include "vela/core/export.hpp"

namespace vela {

/// Prints "in <function> : Err [<code>]: <runtime text>.\n" on standard output for a failed CUDA call.
/// `function` is the caller's full signature text; `file` and `line` are accepted and not printed.
/// Callers test for cudaSuccess first, so a successful call costs one comparison (see checkCuda).
VELA_API void __cudaSafeCall(cudaError_t err, const char* function, const char* file, int line);

/// True when `err` is cudaSuccess; otherwise prints the report line for `function` and returns false.
/// Never throws: the caller decides whether to go on.
inline bool checkCuda(cudaError_t err, const char* function, const char* file, int line) {
    if (err == cudaSuccess) return true;
    __cudaSafeCall(err, function, file, line);
    return false;
}

}  // namespace vela

/// Evaluates the CUDA call once and reports a failure under `signature`; yields true on success.
#define VELA_CUDA_CHECK(call, signature) ::vela::checkCuda((call), (signature), __FILE__, __LINE__)
