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

String toString(const BODY_FORMAT& format) {
    return kFormatNames.toString(format);
}

ERROR_CODE fromString(const String& text, BODY_FORMAT& out) {
    return kFormatNames.fromString(text, out);
}

String toString(const BODY_KEYPOINTS_SELECTION& selection) {
    return kSelectionNames.toString(selection);
}

ERROR_CODE fromString(const String& text, BODY_KEYPOINTS_SELECTION& out) {
    return kSelectionNames.fromString(text, out);
}

String toString(const BODY_TRACKING_MODEL& model) {
    return kModelNames.toString(model);
}

ERROR_CODE fromString(const String& text, BODY_TRACKING_MODEL& out) {
    return kModelNames.fromString(text, out);
}

}  // namespace vela
