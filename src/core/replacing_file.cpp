#include "core/replacing_file.hpp"

#include <fcntl.h>
#include <libgen.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <vector>

namespace vela {
namespace detail {

bool writeAll(int fd, const void* data, size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(fd, next, size);
        if (written < 0 && errno == EINTR) continue;
        if (written == 0) errno = EIO;
        if (written <= 0) return false;
        next += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

namespace {

// The directory part of `path`, for syncing the directory entry of a renamed file.
std::string directoryOf(const std::string& path) {
    std::vector<char> copy(path.begin(), path.end());
    copy.push_back('\0');
    return ::dirname(copy.data());
}

}  // namespace

ReplacingFile::ReplacingFile(const std::string& path, const std::string& suffix) : target(path) {
    if (char* resolved = ::realpath(path.c_str(), nullptr)) {
        target = resolved;
        std::free(resolved);
    }
    struct stat existing {};
    const bool exists = ::stat(target.c_str(), &existing) == 0;
    if (exists && (S_ISFIFO(existing.st_mode) || S_ISCHR(existing.st_mode))) {
        // Renaming over a pipe or a device would put a plain file in its place. A pipe without a reader is
        // refused (ENXIO) rather than waited on.
        fd = ::open(target.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (fd < 0 || ::fcntl(fd, F_SETFL, 0) != 0) {
            failure = errno;
            if (fd >= 0) ::close(fd);
            fd = -1;
        }
        return;
    }
    if (exists && !S_ISREG(existing.st_mode)) {
        failure = S_ISDIR(existing.st_mode) ? EISDIR : EINVAL;
        return;
    }
    // The file keeps the permissions of the one it replaces; a new one gets the usual permissions rather
    // than mkstemp's private ones.
    if (exists) {
        mode = existing.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    // mkostemp creates with O_CREAT | O_EXCL, which fails on any existing name, a link included: a link
    // planted at a guessable name is never followed, and two writers never share a temporary.
    temporary = target + suffix + ".XXXXXX";
    fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        failure = errno;
        temporary.clear();
    }
}

ReplacingFile::~ReplacingFile() {
    if (fd >= 0) ::close(fd);
    if (!temporary.empty()) ::unlink(temporary.c_str());
}

bool ReplacingFile::fail() {
    if (failure == 0) failure = errno != 0 ? errno : EIO;
    return false;
}

bool ReplacingFile::write(const void* data, size_t size) {
    if (fd < 0 || failure != 0) return false;
    return writeAll(fd, data, size) || fail();
}

bool ReplacingFile::commit(bool durable) {
    if (fd < 0 || failure != 0) return false;
    if (temporary.empty()) {  // written in place
        const int closed = ::close(fd);
        fd = -1;
        return closed == 0 || fail();
    }
    // A file system without permissions refuses fchmod; the content still counts.
    ::fchmod(fd, mode);
    const bool synced = !durable || ::fsync(fd) == 0;
    if (!synced) fail();
    const int closed = ::close(fd);
    fd = -1;
    if (!synced || closed != 0) return fail();
    // Renamed over the old file, never after deleting it: a reader always finds one complete file.
    if (::rename(temporary.c_str(), target.c_str()) != 0) return fail();
    temporary.clear();
    if (durable) {
        const int directory = ::open(directoryOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (directory >= 0) {
            ::fsync(directory);
            ::close(directory);
        }
    }
    return true;
}

int replaceFile(const std::string& path, const void* data, size_t size, bool durable,
                const std::string& suffix) {
    ReplacingFile file(path, suffix);
    if (!file.isOpen()) return file.error();
    if (!file.write(data, size) || !file.commit(durable)) return file.error();
    return 0;
}

int readRegularFile(const std::string& path, std::string& content) {
    // Opened without waiting, so that a FIFO without a writer does not block, and checked before any read.
    const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return errno;
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        const int error = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
        ::close(fd);
        return error;
    }
    std::string bytes;
    try {
        bytes.resize(static_cast<size_t>(info.st_size));
    } catch (const std::exception&) {  // bad_alloc, or length_error past what a string can hold
        ::close(fd);
        return ENOMEM;
    }
    size_t done = 0;
    int error = 0;
    while (done < bytes.size()) {
        const ssize_t got = ::read(fd, bytes.data() + done, bytes.size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) error = errno;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    ::close(fd);
    if (error != 0) return error;
    bytes.resize(done);  // a file that shrank meanwhile is read as it now is
    content = std::move(bytes);
    return 0;
}

}  // namespace detail
}  // namespace vela
