#include "vela/serialization/communication_parameters.hpp"

#include <climits>
#include <cmath>
#include <regex>
#include <utility>

#include "core/logging.hpp"
#include "serialization/json_file.hpp"
#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<CommunicationParameters::COMM_TYPE> kCommTypeNames{
    {"LOCAL NETWORK", CommunicationParameters::COMM_TYPE::LOCAL_NETWORK},
    {"INTRA PROCESS", CommunicationParameters::COMM_TYPE::INTRA_PROCESS},
};

constexpr const char* kRecordKey = "CommunicationParameters";
constexpr const char* kFormatNotSupported = "Format NOT SUPPORTED";

json toDocument(const CommunicationParameters& record) {
    return json{{kRecordKey,
                 {{"communication_type", toString(record.communication_type).str()},
                  {"ip_add", record.ip_add},
                  {"ip_port", record.ip_port}}}};
}

// A port is read as a number: a fraction is truncated as an integer conversion does, a number beyond int
// is not a port and is ignored. Any other JSON type, booleans included, is refused with the library's own
// type error.
void readPort(const json& member, int& port) {
    if (!member.is_number()) {
        throw json::type_error::create(302, std::string("type must be number, but is ") + member.type_name(),
                                       &member);
    }
    const double value = member.get<double>();  // exact for every int
    if (value > INT_MIN - 1.0 && value < INT_MAX + 1.0) port = static_cast<int>(value);
}

// Reads the members present in `document` into `record`. All are read into a copy first, so a type error
// leaves the record as it was.
void readDocument(const json& document, CommunicationParameters& record) {
    json section;
    if (!get(document, kRecordKey, section, false)) return;
    CommunicationParameters read = record;
    getString(section, "ip_add", read.ip_add, false);
    json port;
    if (get(section, "ip_port", port, false)) readPort(port, read.ip_port);
    std::string type;
    if (getString(section, "communication_type", type, false))
        static_cast<void>(
            fromString(String(type), read.communication_type));  // unknown text: the default stays
    record = std::move(read);
}

}  // namespace

VELA_NAME_TABLE_FUNCTIONS(CommunicationParameters::COMM_TYPE, kCommTypeNames)

void CommunicationParameters::setForSharedMemory() {
    communication_type = COMM_TYPE::INTRA_PROCESS;
}

void CommunicationParameters::setForLocalNetwork(int port) {
    communication_type = COMM_TYPE::LOCAL_NETWORK;
    ip_port = port;
}

void CommunicationParameters::setForLocalNetwork(std::string ip_address, int port) {
    setForLocalNetwork(port);
    ip_add = std::move(ip_address);
}

bool CommunicationParameters::operator==(const CommunicationParameters& other) const {
    return communication_type == other.communication_type && ip_port == other.ip_port &&
           ip_add == other.ip_add;
}

bool CommunicationParameters::encode(String& out, SERIALIZATION_FORMAT format) const {
    out.clear();
    if (format == SERIALIZATION_FORMAT::NONE) return false;
    try {
        out = toDocument(*this).dump(2, ' ', false, json::error_handler_t::strict);
    } catch (const json::exception&) {
        return false;  // an address that is not valid UTF-8 has no JSON text
    }
    return true;
}

bool CommunicationParameters::decode(const String& text, SERIALIZATION_FORMAT format) {
    // An empty text is a successful decode of nothing, whatever the format.
    if (text.empty()) return true;
    if (format == SERIALIZATION_FORMAT::NONE) return false;
    json document;
    const bool parsed = parseJSONFile(text, document);
    readDocument(document, *this);
    return parsed;
}

bool CommunicationParameters::save(String path, SERIALIZATION_FORMAT format) const {
    if (format == SERIALIZATION_FORMAT::NONE) {
        detail::logError(kFormatNotSupported);
        return false;
    }
    return saveJSONFile(path.str(), toDocument(*this), true) == JSON_FILE_STATUS::SUCCESS;
}

bool CommunicationParameters::load(String path, SERIALIZATION_FORMAT format) {
    if (format != SERIALIZATION_FORMAT::JSON && format != SERIALIZATION_FORMAT::LAST) {
        detail::logError(kFormatNotSupported);
        return false;
    }
    json document;
    if (loadJSONFile(path.str(), document) != JSON_FILE_STATUS::SUCCESS) {
        detail::log(LOGGER_NAME::VELA, LOG_LEVEL::WARNING,
                    "Error loading JSON CommunicationParameters file {}", path.str());
        return false;
    }
    readDocument(document, *this);
    return true;
}

bool extractIpPort(std::string& ip, int& port) {
    // Built once, at first use; matching only reads it.
    static const std::regex kAddress(
        R"(^((25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\.){3}(25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)(:(\d{1,5}))?$)",
        std::regex::ECMAScript);
    const std::string address = ip == "localhost" ? std::string("127.0.0.1") : ip;
    std::smatch match;
    if (!std::regex_match(address, match, kAddress)) return false;
    if (match[4].matched) {
        port = std::stoi(match[5].str());
        ip = address.substr(0, static_cast<size_t>(match.position(4)));
    } else {
        ip = address;
    }
    return true;
}

}  // namespace vela
