#include "serialization/json_file.hpp"

#include "core/replacing_file.hpp"

#include <cerrno>

namespace vela {
namespace {

// Builds the document as the library's own parser does, but stops at the first array or object nested
// deeper than kMaxJSONDepth: that ends the parse as a failure, so a hostile document never reaches the
// recursive parts of the library (copy, comparison, dump) with an unbounded depth.
class DepthLimitedBuilder : public nlohmann::detail::json_sax_dom_parser<json> {
  public:
    explicit DepthLimitedBuilder(json& document) : json_sax_dom_parser(document, false) {}

    bool start_object(std::size_t size) { return enter() && json_sax_dom_parser::start_object(size); }
    bool end_object() {
        --depth;
        return json_sax_dom_parser::end_object();
    }
    bool start_array(std::size_t size) { return enter() && json_sax_dom_parser::start_array(size); }
    bool end_array() {
        --depth;
        return json_sax_dom_parser::end_array();
    }

  private:
    bool enter() { return ++depth <= kMaxJSONDepth; }
    size_t depth = 0;
};

}  // namespace

bool parseJSONFile(const String& text, json& document) {
    json parsed;
    DepthLimitedBuilder builder(parsed);
    bool complete = false;
    try {
        complete =
            json::sax_parse(text.c_str(), text.c_str() + text.size(), &builder) && !builder.is_errored();
    } catch (const json::exception&) {  // what the builder itself refuses, such as an excessive size
        complete = false;
    }
    document = complete ? std::move(parsed) : json(nullptr);
    return complete;
}

std::string dumpCompact(const json& document) {
    return document.dump(-1, ' ', false, json::error_handler_t::strict);
}

JSON_FILE_STATUS loadJSONFile(const std::string& path, json& document) {
    document = nullptr;
    // Only files are read: a device may never end (/dev/zero), a pipe may never be written.
    std::string content;
    const int error = detail::readRegularFile(path, content);
    if (error != 0)
        return error == ENOENT || error == ENOTDIR ? JSON_FILE_STATUS::NOT_FOUND
                                                   : JSON_FILE_STATUS::UNREADABLE;
    return parseJSONFile(String(content), document) ? JSON_FILE_STATUS::SUCCESS
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

    // A link is followed: the file it names is replaced, and the link stays; a device or a pipe is written
    // in place.
    return detail::replaceFile(path, content.data(), content.size(), true) == 0
               ? JSON_FILE_STATUS::SUCCESS
               : JSON_FILE_STATUS::UNWRITABLE;
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
