#pragma once

#include <cstdint>

#include "vela/core/error_code.hpp"
#include "vela/core/export.hpp"
#include "vela/core/string.hpp"

namespace vela {

/// How two processes of the kit exchange data.
class VELA_API CommunicationParameters {
  public:
    /// Kind of link; read from configuration text by name.
    enum class COMM_TYPE : int32_t {
        LOCAL_NETWORK = 0,  ///< "LOCAL NETWORK": over the network, to an address and port
        INTRA_PROCESS = 1,  ///< "INTRA PROCESS": through shared memory
    };
};

/// "LOCAL NETWORK" or "INTRA PROCESS"; "Unknown" for any other value.
VELA_API String toString(const CommunicationParameters::COMM_TYPE& type);
/// Reads a number or a name in any case, '-' and '_' standing for blanks ("intra_process", "1"); FAILURE
/// leaves `out` unchanged and prints a warning on standard error.
VELA_API ERROR_CODE fromString(const String& text, CommunicationParameters::COMM_TYPE& out);

}  // namespace vela
