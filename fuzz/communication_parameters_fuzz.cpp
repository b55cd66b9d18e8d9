// Decoding CommunicationParameters from arbitrary text, and address validation. The JSON library's type
// error for a port that is no number is the one exception decode lets through; any other escapes and
// fails the run.

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

#include "vela/vela.hpp"

namespace {

bool needsEscaping(const std::string& text) {
    for (const char c : text) {
        if (c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return true;
    }
    return false;
}

// A number names a type without being checked, and an undefined type encodes as "Unknown"; addresses are
// read back as JSON wrote them, escapes included. Other records encode and decode back to themselves.
bool roundTrips(const vela::CommunicationParameters& record) {
    using Type = vela::CommunicationParameters::COMM_TYPE;
    const bool definedType =
        record.communication_type == Type::LOCAL_NETWORK || record.communication_type == Type::INTRA_PROCESS;
    return definedType && !needsEscaping(record.ip_add);
}

bool isAddressCharacter(char c) {
    return (c >= '0' && c <= '9') || c == '.';
}

void checkAddress(const std::string& text) {
    std::string ip = text;
    int port = -7;
    if (!vela::extractIpPort(ip, port)) {
        if (ip != text || port != -7) __builtin_trap();  // a refused text changes nothing
        return;
    }
    // An accepted address is dotted digits only, and a port has at most five digits.
    if (ip.empty() || ip.size() > 15) __builtin_trap();
    for (const char c : ip) {
        if (!isAddressCharacter(c)) __builtin_trap();
    }
    if (port != -7 && (port < 0 || port > 99999)) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    vela::CommunicationParameters record;
    record.setForLocalNetwork("10.0.0.2", 4000);
    const vela::CommunicationParameters before = record;
    try {
        const bool parsed = record.decode(vela::String(text), vela::SERIALIZATION_FORMAT::JSON);
        if (!parsed && record != before) __builtin_trap();
        vela::String encoded;
        if (record.encode(encoded, vela::SERIALIZATION_FORMAT::JSON) && roundTrips(record)) {
            // What a record encodes, it decodes back to itself.
            vela::CommunicationParameters again;
            if (!again.decode(encoded, vela::SERIALIZATION_FORMAT::JSON) || again != record) __builtin_trap();
        }
    } catch (const nlohmann::json::type_error&) {
        if (record != before) __builtin_trap();
    }
    checkAddress(text);
    return 0;
}
