#include "vela/serialization/communication_parameters.hpp"

#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<CommunicationParameters::COMM_TYPE> kCommTypeNames{
    {"LOCAL NETWORK", CommunicationParameters::COMM_TYPE::LOCAL_NETWORK},
    {"INTRA PROCESS", CommunicationParameters::COMM_TYPE::INTRA_PROCESS},
};

}  // namespace

String toString(const CommunicationParameters::COMM_TYPE& type) {
    return kCommTypeNames.toString(type);
}

ERROR_CODE fromString(const String& text, CommunicationParameters::COMM_TYPE& out) {
    return kCommTypeNames.fromString(text, out);
}

}  // namespace vela
