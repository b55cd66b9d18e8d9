#include "vela/serialization/communication_parameters.hpp"

#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<CommunicationParameters::COMM_TYPE> kCommTypeNames{
    {"LOCAL NETWORK", CommunicationParameters::COMM_TYPE::LOCAL_NETWORK},
    {"INTRA PROCESS", CommunicationParameters::COMM_TYPE::INTRA_PROCESS},
};

}  // namespace

VELA_NAME_TABLE_FUNCTIONS(CommunicationParameters::COMM_TYPE, kCommTypeNames)

}  // namespace vela
