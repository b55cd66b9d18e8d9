#include "serialization/json_file.hpp"

#include "core/replacing_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace vela {
namespace {

// Writes `content` over the device or pipe at `path`, which has no contents of its own to keep safe. A pipe
// without a reader is refused rather than waited on.
bool writeInPlace(const std::string& path, const std::string& content) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    const bool written = ::fcntl(fd, F_SETFL, 0) == 0 && detail::writeAll(fd, content.data(), content.size());
    return ::close(fd) == 0 && written;
}

}  // namespace

bool parseJSONFile(const String& text, json& document) {
    document = json::parse(text.c_str(), text.c_str() + text.size(), nullptr, false);
    if (!document.is_discarded()) return true;
    document = nullptr;
    return false;
}

std::string dumpCompact(const json& document) {
    return document.dump(-1, ' ', false, json::error_handler_t::strict);
}

JSON_FILE_STATUS loadJSONFile(const std::string& path, json& document) {
    document = nullptr;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        return errno == ENOENT || errno == ENOTDIR ? JSON_FILE_STATUS::NOT_FOUND
                                                   : JSON_FILE_STATUS::UNREADABLE;
    }
    // Only files are read: a device may never end (/dev/zero), a pipe may never be written.
    if (!S_ISREG(info.st_mode)) return JSON_FILE_STATUS::UNREADABLE;
    std::ifstream file(path, std::ios::binary);
    if (!file) return JSON_FILE_STATUS::UNREADABLE;
    std::ostringstream content;
    content << file.rdbuf();
    if (file.bad()) return JSON_FILE_STATUS::UNREADABLE;
    return parseJSONFile(String(content.str()), document) ? JSON_FILE_STATUS::SUCCESS
                                                          : JSON_FILE_STATUS::INVALID_JSON;
}

JSON_FILE_STATUS saveJSONFile(const std::string& path, const json& document, bool indented) {
    std::string content;
    try {
        content =
            indented ? document.dump(2, ' ', false, json::error_handler_t::strict) : dumpCompact(document);
    } catch (const json::exception&) {
        return JSON_FILE_STATUS::UNWRITABLE;  // text that is not valid UTF-8 cannot be written as JSON
    }
    content += '\n';

    // A link is followed: the file it names is replaced, and the link stays.
    std::string target = path;
    if (char* resolved = ::realpath(path.c_str(), nullptr)) {
        target = resolved;
        std::free(resolved);
    }
    struct stat existing {};
    const bool exists = ::stat(target.c_str(), &existing) == 0;
    if (exists && S_ISDIR(existing.st_mode)) return JSON_FILE_STATUS::UNWRITABLE;
    if (exists && !S_ISREG(existing.st_mode)) {
        // Renaming over a device or a pipe would put a plain file in its place.
        return writeInPlace(target, content) ? JSON_FILE_STATUS::SUCCESS : JSON_FILE_STATUS::UNWRITABLE;
    }

    detail::ReplacingFile file(target);
    if (!file.write(content.data(), content.size()) || !file.commit(true))
        return JSON_FILE_STATUS::UNWRITABLE;
    return JSON_FILE_STATUS::SUCCESS;
}

bool getString(const json& object, const std::string& key, std::string& out, bool verbose) {
    if (!object.is_object()) return false;
    const auto member = object.find(key);
    if (member == object.end()) return false;
    std::string text;
    try {
        text = dumpCompact(*member);
    } catch (const std::exception& e) {
        if (verbose) std::printf("%s\n", e.what());
        return false;
    }
    if (text.size() > 1 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
    out = std::move(text);
    return true;
}

bool saveJSONFile(String path, const String& text, bool indented) {
    json document;
    // Text that parses is not written: callers save records through the document form instead.
    if (parseJSONFile(text, document)) return true;
    return saveJSONFile(path.str(), document, indented) == JSON_FILE_STATUS::SUCCESS;
}

JSON_FILE_STATUS loadJSONFile(String path, String& text) {
    json document;
    const JSON_FILE_STATUS status = loadJSONFile(path.str(), document);
    text = dumpCompact(document);
    return status;
}

}  // namespace vela
