#pragma once

// A file that replaces another only once it is complete: written under a temporary name in the target's
// folder (so that the rename stays on one file system), then renamed over the target.

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace vela {
namespace detail {

/// Writes all `size` bytes at `data` to `fd`, resuming after interrupted or partial writes.
bool writeAll(int fd, const void* data, size_t size);

class ReplacingFile {
  public:
    /// Creates a new temporary file beside `path`. A link at `path` is followed: the file it names is
    /// replaced and the link stays. Check isOpen(); error() then says why not.
    explicit ReplacingFile(const std::string& path);
    /// Removes the temporary unless it was committed.
    ~ReplacingFile();
    ReplacingFile(const ReplacingFile&) = delete;
    ReplacingFile& operator=(const ReplacingFile&) = delete;

    /// True while the temporary is open for writing.
    bool isOpen() const { return fd >= 0; }
    /// Appends `size` bytes; false, and so is every later write, once one has failed.
    bool write(const void* data, size_t size);
    /// Closes the temporary and renames it over the target, giving it the target's permissions (a new file
    /// gets the usual ones). `durable` syncs the data first, so that a crash leaves the old file or the new
    /// one; otherwise an old file is unlinked before the rename, because ext4 flushes a file renamed over
    /// another one at once, which costs as much as writing it. False, the temporary removed, on any failure.
    bool commit(bool durable);
    /// The errno of the first failure; 0 when none.
    int error() const { return failure; }

  private:
    bool fail();

    std::string target;
    std::string temporary;
    int fd = -1;
    int failure = 0;
    bool exists = false;
    mode_t mode = 0;
};

}  // namespace detail
}  // namespace vela
