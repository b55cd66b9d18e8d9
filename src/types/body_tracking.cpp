#include "vela/types/body_tracking.hpp"

#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<BODY_FORMAT> kFormatNames{
    {"BODY 18", BODY_FORMAT::BODY_18},
    {"BODY 34", BODY_FORMAT::BODY_34},
    {"BODY 38", BODY_FORMAT::BODY_38},
};

const detail::NameTable<BODY_KEYPOINTS_SELECTION> kSelectionNames{
    {"FULL", BODY_KEYPOINTS_SELECTION::FULL},
    {"UPPER BODY", BODY_KEYPOINTS_SELECTION::UPPER_BODY},
};

const detail::NameTable<BODY_TRACKING_MODEL> kModelNames{
    {"HUMAN BODY FAST", BODY_TRACKING_MODEL::HUMAN_BODY_FAST},
    {"HUMAN BODY MEDIUM", BODY_TRACKING_MODEL::HUMAN_BODY_MEDIUM},
    {"HUMAN BODY ACCURATE", BODY_TRACKING_MODEL::HUMAN_BODY_ACCURATE},
};

}  // namespace

VELA_NAME_TABLE_FUNCTIONS(BODY_FORMAT, kFormatNames)
VELA_NAME_TABLE_FUNCTIONS(BODY_KEYPOINTS_SELECTION, kSelectionNames)
VELA_NAME_TABLE_FUNCTIONS(BODY_TRACKING_MODEL, kModelNames)

}  // namespace vela
