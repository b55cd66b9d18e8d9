#include "vela/types/camera.hpp"

#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<InputType::INPUT_TYPE> kInputTypeNames{
    {"USB ID", InputType::INPUT_TYPE::USB_ID},     {"USB SERIAL", InputType::INPUT_TYPE::USB_SERIAL},
    {"KVR FILE", InputType::INPUT_TYPE::KVR_FILE}, {"STREAM", InputType::INPUT_TYPE::STREAM},
    {"GMSL ID", InputType::INPUT_TYPE::GMSL_ID},   {"GMSL SERIAL", InputType::INPUT_TYPE::GMSL_SERIAL},
    {"LAST", InputType::INPUT_TYPE::LAST},
};

const detail::NameTable<STREAMING_CODEC> kCodecNames{
    {"H264", STREAMING_CODEC::H264},
    {"H265", STREAMING_CODEC::H265},
};

}  // namespace

String toString(const MODEL& model) {
    switch (model) {
        case MODEL::TARN:
            return "TARN";
        case MODEL::TARN_Q:
            return "TARN-Q";
        case MODEL::TARN_R:
            return "TARN R";
        case MODEL::TARN_RS:
            return "TARN Rs";
        case MODEL::TARN_V:
            return "TARN V";
        case MODEL::TARN_V_LITE:
            return "TARN V Lite";
        case MODEL::VIRTUAL_TARN_V:
            return "Virtual TARN-V";
        case MODEL::TARN_W_GS:
            return "TARN W GS";
        case MODEL::TARN_W_UHD:
            return "TARN W UHD";
    }
    return detail::kUnknownName;
}

String model2str(MODEL model) {
    return toString(model);
}

String toString(const INPUT_TYPE& type) {
    switch (type) {
        case INPUT_TYPE::USB:
            return "USB";
        case INPUT_TYPE::KVR:
            return "KVR";
        case INPUT_TYPE::STREAM:
            return "STREAM";
        case INPUT_TYPE::GMSL:
            return "GMSL";
    }
    return detail::kUnknownName;
}

String toString(const BUS_TYPE& bus) {
    switch (bus) {
        case BUS_TYPE::USB:
            return "USB";
        case BUS_TYPE::GMSL:
            return "GMSL";
        case BUS_TYPE::AUTO:
            return "AUTO";
    }
    return detail::kUnknownName;
}

String toString(const CAMERA_TYPE& type) {
    switch (type) {
        case CAMERA_TYPE::MONO:
            return "MONO";
        case CAMERA_TYPE::STEREO:
            return "STEREO";
        case CAMERA_TYPE::LAST:
            return "LAST";
    }
    return detail::kUnknownName;
}

String toString(const CAMERA_STATE& state) {
    switch (state) {
        case CAMERA_STATE::AVAILABLE:
            return "AVAILABLE";
        case CAMERA_STATE::NOT_AVAILABLE:
            return "NOT AVAILABLE";
    }
    return detail::kUnknownName;
}

String toString(const MODULE& module) {
    switch (module) {
        case MODULE::ALL:
            return "All";
        case MODULE::DEPTH:
            return "Depth";
        case MODULE::POSITIONAL_TRACKING:
            return "Positional Tracking";
        case MODULE::OBJECT_DETECTION:
            return "Object detection";
        case MODULE::BODY_TRACKING:
            return "Body tracking";
        case MODULE::SPATIAL_MAPPING:
            return "Spatial mapping";
    }
    return detail::kUnknownName;
}

VELA_NAME_TABLE_FUNCTIONS(InputType::INPUT_TYPE, kInputTypeNames)
VELA_NAME_TABLE_FUNCTIONS(STREAMING_CODEC, kCodecNames)

}  // namespace vela
