#pragma once

// Every file the library writes goes through ReplacingFile: the bytes go to a temporary file beside the
// target (so that the rename stays on one file system), which is renamed over the target only once complete.
// An old file is never deleted first, so a reader, a crash or a full disk finds the old file or the new one.

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace vela {
namespace detail {

/// Writes all `size` bytes at `data` to `fd`, resuming after interrupted or partial writes.
bool writeAll(int fd, const void* data, size_t size);

class ReplacingFile {
  public:
    /// Prepares the write of `path`. A link is followed: the file it names is replaced and the link stays.
    /// A regular file or a new name gets a temporary `<target><suffix>.XXXXXX`, created exclusively (an
    /// existing name, a planted link included, is never opened). A FIFO or a character device is written in
    /// place, never replaced (a FIFO only while a reader has it open); a directory, a block device or a
    /// socket is refused. Check isOpen(); error() then says why not.
    explicit ReplacingFile(const std::string& path, const std::string& suffix = ".tmp");
    /// Removes the temporary unless it was committed.
    ~ReplacingFile();
    ReplacingFile(const ReplacingFile&) = delete;
    ReplacingFile& operator=(const ReplacingFile&) = delete;

    /// True while the file is open for writing.
    bool isOpen() const { return fd >= 0; }
    /// Appends `size` bytes; false, and so is every later write, once one has failed.
    bool write(const void* data, size_t size);
    /// Closes the temporary and renames it over the target, giving it the permissions of the file it
    /// replaces (a new file gets 0666 less the umask). `durable` syncs the data, and after the rename the
    /// directory, so that a crash leaves the old file or the new one. False, the temporary removed and the
    /// old file untouched, on any failure.
    bool commit(bool durable);
    /// The errno of the first failure; 0 when none.
    int error() const { return failure; }

  private:
    bool fail();

    std::string target;
    std::string temporary;  ///< empty when writing in place
    int fd = -1;
    int failure = 0;
    mode_t mode = 0;
};

/// Writes `size` bytes to `path` through a ReplacingFile; 0, or the errno of the failure.
int replaceFile(const std::string& path, const void* data, size_t size, bool durable,
                const std::string& suffix = ".tmp");

/// Reads the whole regular file at `path` into `content`. Anything else (a FIFO, a device, a directory) is
/// refused before it is read: it is opened without waiting and checked first, so a FIFO never blocks.
/// 0, or the errno of the failure (EINVAL for a file that is not regular, ENOMEM when it does not fit).
int readRegularFile(const std::string& path, std::string& content);

}  // namespace detail
}  // namespace vela
