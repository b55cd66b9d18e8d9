#include "core/replacing_file.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace vela {
namespace detail {

bool writeAll(int fd, const void* data, size_t size) {
    const char* next = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(fd, next, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        next += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

ReplacingFile::ReplacingFile(const std::string& path) : target(path) {
    if (char* resolved = ::realpath(path.c_str(), nullptr)) {
        target = resolved;
        std::free(resolved);
    }
    struct stat existing {};
    exists = ::stat(target.c_str(), &existing) == 0;
    // The file keeps the permissions of the one it replaces; a new one gets the usual permissions rather
    // than mkstemp's private ones.
    if (exists) {
        mode = existing.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }
    temporary = target + ".tmpXXXXXX";
    fd = ::mkstemp(temporary.data());
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
    // A file system without permissions refuses fchmod; the content still counts.
    ::fchmod(fd, mode);
    const bool done = !durable || ::fsync(fd) == 0;
    if (!done) fail();
    const int closed = ::close(fd);
    fd = -1;
    if (!done || closed != 0) return fail();
    if (!durable && exists) ::unlink(target.c_str());
    if (::rename(temporary.c_str(), target.c_str()) != 0) return fail();
    temporary.clear();
    return true;
}

}  // namespace detail
}  // namespace vela
