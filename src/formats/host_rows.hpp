#pragma once

// What the file writers read: a Mat's host rows, and the buffer they fill before writing in big blocks.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "mat/mat_layout.hpp"
#include "vela/mat/mat.hpp"

namespace vela {
namespace detail {

/// False for NaN and both infinities: a finite float is at most the largest float in magnitude.
inline bool isFinite(float value) {
    return std::fabs(value) <= 3.4028235e38f;
}

/// The host rows of a Mat, or no data when the host cannot read its memory.
struct HostRows {
    const unsigned char* data = nullptr;
    size_t width = 0;
    size_t height = 0;
    size_t step = 0;  ///< bytes from one row to the next
};

/// Host rows are packed unless the Mat wraps a user buffer with longer rows, whose step is then honoured.
inline HostRows hostRows(const Mat& mat) {
    if (!mat.initialized || !hasHostSide(mat.memType) || mat.cpuBuffer == nullptr) return {};
    const size_t rowBytes = mat.width * mat.pixelBytes;
    return {mat.cpuBuffer.get(), mat.width, mat.height, std::max(mat.stepCPU, rowBytes)};
}

/// Bytes gathered in one large buffer and handed to `write` in big blocks; remembers whether every write
/// succeeded.
class BlockSink {
  public:
    static constexpr size_t kCapacity = size_t{1} << 21;
    using Write = std::function<bool(const char* data, size_t size)>;

    explicit BlockSink(Write write)
        : write(std::move(write)), begin(new char[kCapacity]), cursor(begin.get()) {}

    /// At least `size` (at most kCapacity) free bytes at the returned position; `commit` the end of what
    /// was written there.
    char* reserve(size_t size) {
        if (static_cast<size_t>(begin.get() + kCapacity - cursor) < size) flush();
        return cursor;
    }
    void commit(char* end) { cursor = end; }
    /// Copies `size` bytes of `data`, of any length, block by block.
    void append(const char* data, size_t size) {
        for (size_t done = 0; done < size;) {
            const size_t part = std::min(size - done, kCapacity);
            commit(std::copy_n(data + done, part, reserve(part)));
            done += part;
        }
    }
    void append(const std::string& text) { append(text.data(), text.size()); }
    /// Takes back the last byte committed; it is still in the buffer, as flushing only happens in `reserve`.
    void takeBackLast() { --cursor; }
    /// Writes what is buffered; false once any write has failed.
    bool flush() {
        const size_t size = static_cast<size_t>(cursor - begin.get());
        if (size > 0 && succeeded) succeeded = write(begin.get(), size);
        cursor = begin.get();
        return succeeded;
    }

  private:
    Write write;
    std::unique_ptr<char[]> begin;
    char* cursor;
    bool succeeded = true;
};

}  // namespace detail
}  // namespace vela
