#pragma once

#include <cstdint>
#include <string>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"
#include "vela/serialization/serialization_format.hpp"

namespace vela {

/// How two processes of the kit exchange data: through shared memory, or over the local network to an
/// address and port. Encoded as
/// {"CommunicationParameters": {"communication_type": "INTRA PROCESS", "ip_add": "", "ip_port": 0}}.
class VELA_API CommunicationParameters {
  public:
    /// Kind of link; read from configuration text by name.
    enum class COMM_TYPE : int32_t {
        LOCAL_NETWORK = 0,  ///< "LOCAL NETWORK": over the network, to an address and port
        INTRA_PROCESS = 1,  ///< "INTRA PROCESS": through shared memory
    };

    /// A shared-memory link with port 0 and no address.
    CommunicationParameters() = default;

    /// Switches to a shared-memory link; the port and address are kept.
    void setForSharedMemory();
    /// Switches to a network link on `port`; the address is kept.
    void setForLocalNetwork(int port);
    /// Switches to a network link to `ip_address` on `port`.
    void setForLocalNetwork(std::string ip_address, int port);

    /// True when all three fields are equal.
    bool operator==(const CommunicationParameters& other) const;
    /// True when any of the three fields differs.
    bool operator!=(const CommunicationParameters& other) const { return !(*this == other); }

    /// Writes the record to `out` as JSON (2-blank indentation, keys sorted, no final line end); false,
    /// with `out` empty, for NONE or an address that is not valid UTF-8.
    bool encode(String& out, SERIALIZATION_FORMAT format) const;
    /// Reads the members present in `text`, keeping the others; the type name goes through fromString.
    /// True for an empty text; otherwise false for NONE, else whether `text` is JSON. A port that is a
    /// number but no whole int is skipped; one of another JSON type throws nlohmann::json::type_error
    /// (a std::exception: "[json.exception.type_error.302] type must be number, but is string"), and
    /// then nothing is changed.
    bool decode(const String& text, SERIALIZATION_FORMAT format);
    /// Writes the record to the file `path` as encode does, replacing it whole or not at all; NONE logs
    /// "Format NOT SUPPORTED" at error level and returns false, any other format writes JSON.
    bool save(String path, SERIALIZATION_FORMAT format) const;
    /// Reads the file `path` as decode does (and may throw as it does) for JSON or LAST; other formats
    /// log "Format NOT SUPPORTED" at error level, and a missing, unreadable or non-JSON file logs
    /// "Error loading JSON CommunicationParameters file <path>" at warning level; both return false.
    bool load(String path, SERIALIZATION_FORMAT format);

    /// Kind of link.
    COMM_TYPE communication_type = COMM_TYPE::INTRA_PROCESS;
    /// Port of the peer.
    int ip_port = 0;
    /// Address of the peer.
    std::string ip_add;
};

/// "LOCAL NETWORK" or "INTRA PROCESS"; "Unknown" for any other value.
VELA_API String toString(const CommunicationParameters::COMM_TYPE& type);
/// Reads a number or a name in any case, '-' and '_' standing for blanks ("intra_process", "1"); FAILURE
/// leaves `out` unchanged and prints a warning on standard error.
VELA_API ERROR_CODE fromString(const String& text, CommunicationParameters::COMM_TYPE& out);

/// Checks that `ip` is a dotted IPv4 address, 0..255 each, optionally followed by ':' and 1 to 5
/// digits, and returns true when it is; the text "localhost" reads as "127.0.0.1". On a match `ip` keeps
/// the address alone ("localhost" replaced) and a port, when given, is stored in `port`. Text that does
/// not match ("localhost:80" included) returns false and leaves both arguments unchanged.
VELA_API bool extractIpPort(std::string& ip, int& port);

}  // namespace vela
