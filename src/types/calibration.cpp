#include "vela/types/calibration.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "core/logging.hpp"
#include "serialization/json_file.hpp"

namespace vela {
namespace {

constexpr const char* kCameraKey = "CameraParameters";
constexpr const char* kCalibrationKey = "CalibrationParameters";
constexpr size_t kCoefficients = 12;

// A member of the wrong kind refuses the whole record, so a failed decode changes nothing.
struct Refused {
    std::string why;
};

json cameraMembers(const CameraParameters& camera) {
    json disto = json::array();
    for (double coefficient : camera.disto)
        disto.push_back(coefficient);
    return json{{"fx", camera.fx},
                {"fy", camera.fy},
                {"cx", camera.cx},
                {"cy", camera.cy},
                {"disto", disto},
                {"image_size", {{"width", camera.image_size.width}, {"height", camera.image_size.height}}}};
}

json transformMembers(const Transform& transform) {
    json elements = json::array();
    for (float element : transform.elements)
        elements.push_back(element);
    return elements;
}

// A JSON number as a float; anything else refuses the record. Large values become infinities, as the
// float they name would.
float readFloat(const json& value, const char* what) {
    if (!value.is_number()) throw Refused{std::string(what) + " is not a number"};
    return static_cast<float>(value.get<double>());
}

// A non-negative whole number that fits size_t; anything else refuses the record.
size_t readSize(const json& value, const char* what) {
    if (value.is_number_unsigned()) return value.get<uint64_t>();
    if (value.is_number_integer() && value.get<int64_t>() >= 0)
        return static_cast<size_t>(value.get<int64_t>());
    throw Refused{std::string(what) + " is not a non-negative whole number"};
}

void readCamera(const json& section, CameraParameters& camera) {
    if (!section.is_object()) throw Refused{"a camera is not an object"};
    for (const auto& [key, target] :
         {std::pair<const char*, float*>{"fx", &camera.fx}, std::pair<const char*, float*>{"fy", &camera.fy},
          std::pair<const char*, float*>{"cx", &camera.cx},
          std::pair<const char*, float*>{"cy", &camera.cy}}) {
        const auto member = section.find(key);
        if (member != section.end()) *target = readFloat(*member, key);
    }
    const auto disto = section.find("disto");
    if (disto != section.end()) {
        if (!disto->is_array() || disto->size() > kCoefficients)
            throw Refused{"disto is not an array of at most 12 numbers"};
        for (size_t i = 0; i < kCoefficients; ++i) {
            if (i >= disto->size()) {
                camera.disto[i] = 0;
            } else if ((*disto)[i].is_number()) {
                camera.disto[i] = (*disto)[i].get<double>();
            } else {
                throw Refused{"a distortion coefficient is not a number"};
            }
        }
    }
    const auto size = section.find("image_size");
    if (size != section.end()) {
        if (!size->is_object()) throw Refused{"image_size is not an object"};
        const auto width = size->find("width");
        if (width != size->end()) camera.image_size.width = readSize(*width, "width");
        const auto height = size->find("height");
        if (height != size->end()) camera.image_size.height = readSize(*height, "height");
    }
    camera.updateFieldsOfView();
}

void readCalibration(const json& section, CalibrationParameters& calibration) {
    if (!section.is_object()) throw Refused{"the record is not an object"};
    const auto left = section.find("left_cam");
    if (left != section.end()) readCamera(*left, calibration.left_cam);
    const auto right = section.find("right_cam");
    if (right != section.end()) readCamera(*right, calibration.right_cam);
    const auto transform = section.find("stereo_transform");
    if (transform != section.end()) {
        if (!transform->is_array() || transform->size() != 16)
            throw Refused{"stereo_transform is not 16 numbers"};
        for (size_t i = 0; i < 16; ++i)
            calibration.stereo_transform.elements[i] = readFloat((*transform)[i], "stereo_transform");
    }
}

// The record's section of `document` read into a copy of `record`, which replaces it only when every
// member was accepted. A document without the section is accepted and changes nothing.
template <typename Record, typename Reader>
bool readRecord(const json& document, const char* key, Record& record, Reader reader) {
    if (!document.is_object()) {
        detail::logError("[{}] the document is not a JSON object", key);
        return false;
    }
    const auto section = document.find(key);
    if (section == document.end()) return true;
    Record read = record;
    try {
        reader(*section, read);
    } catch (const Refused& refused) {
        detail::logError("[{}] refused: {}", key, refused.why);
        return false;
    }
    record = read;
    return true;
}

bool encodeRecord(const json& document, String& out, SERIALIZATION_FORMAT format) {
    out.clear();
    if (format == SERIALIZATION_FORMAT::NONE) return false;
    out = document.dump(2);
    return true;
}

template <typename Record, typename Reader>
bool decodeRecord(const String& text, SERIALIZATION_FORMAT format, const char* key, Record& record,
                  Reader reader) {
    if (format == SERIALIZATION_FORMAT::NONE) return false;
    json document;
    if (!parseJSONFile(text, document)) return false;
    return readRecord(document, key, record, reader);
}

bool saveRecord(const json& document, const String& path, SERIALIZATION_FORMAT format) {
    if (format == SERIALIZATION_FORMAT::NONE) {
        detail::logError("Format NOT SUPPORTED");
        return false;
    }
    return saveJSONFile(path.str(), document, true) == JSON_FILE_STATUS::SUCCESS;
}

template <typename Record, typename Reader>
bool loadRecord(const String& path, SERIALIZATION_FORMAT format, const char* key, Record& record,
                Reader reader) {
    if (format == SERIALIZATION_FORMAT::NONE) {
        detail::logError("Format NOT SUPPORTED");
        return false;
    }
    json document;
    if (loadJSONFile(path.str(), document) != JSON_FILE_STATUS::SUCCESS) {
        detail::log(LOGGER_NAME::VELA, LOG_LEVEL::WARNING, "Error loading JSON {} file {}", key, path.str());
        return false;
    }
    return readRecord(document, key, record, reader);
}

float fieldOfView(double extent, double focal) {
    if (!(focal > 0)) return 0.0f;
    return static_cast<float>(2.0 * std::atan(extent / (2.0 * focal)) * 180.0 / M_PI);
}

}  // namespace

void CameraParameters::updateFieldsOfView() {
    const double width = static_cast<double>(image_size.width);
    const double height = static_cast<double>(image_size.height);
    h_fov = fieldOfView(width, fx);
    v_fov = fieldOfView(height, fy);
    // The diagonal seen through the mean focal length.
    d_fov = fieldOfView(std::sqrt(width * width + height * height), 0.5 * (double(fx) + double(fy)));
}

CameraParameters CameraParameters::scale(const Resolution& resolution) const {
    CameraParameters scaled = *this;
    scaled.image_size = resolution;
    if (image_size.width == 0 || image_size.height == 0) return scaled;
    const double sx = static_cast<double>(resolution.width) / static_cast<double>(image_size.width);
    const double sy = static_cast<double>(resolution.height) / static_cast<double>(image_size.height);
    scaled.fx = static_cast<float>(fx * sx);
    scaled.cx = static_cast<float>(cx * sx);
    scaled.fy = static_cast<float>(fy * sy);
    scaled.cy = static_cast<float>(cy * sy);
    scaled.updateFieldsOfView();
    return scaled;
}

bool CameraParameters::operator==(const CameraParameters& other) const {
    for (size_t i = 0; i < kCoefficients; ++i)
        if (disto[i] != other.disto[i]) return false;
    return fx == other.fx && fy == other.fy && cx == other.cx && cy == other.cy && h_fov == other.h_fov &&
           v_fov == other.v_fov && d_fov == other.d_fov && image_size == other.image_size;
}

String CameraParameters::getInfos() const {
    std::string text(512, '\0');
    const int written = std::snprintf(
        text.data(), text.size(),
        "fx %g fy %g cx %g cy %g image %zux%zu fov %.1fx%.1f deg distortion [%g %g %g %g %g]", fx, fy, cx, cy,
        image_size.width, image_size.height, h_fov, v_fov, disto[0], disto[1], disto[2], disto[3], disto[4]);
    text.resize(written > 0 ? static_cast<size_t>(written) : 0);
    return String(text);
}

bool CameraParameters::encode(String& out, SERIALIZATION_FORMAT format) const {
    return encodeRecord(json{{kCameraKey, cameraMembers(*this)}}, out, format);
}

bool CameraParameters::decode(const String& text, SERIALIZATION_FORMAT format) {
    return decodeRecord(text, format, kCameraKey, *this, readCamera);
}

bool CameraParameters::save(String path, SERIALIZATION_FORMAT format) const {
    return saveRecord(json{{kCameraKey, cameraMembers(*this)}}, path, format);
}

bool CameraParameters::load(String path, SERIALIZATION_FORMAT format) {
    return loadRecord(path, format, kCameraKey, *this, readCamera);
}

float CalibrationParameters::getCameraBaseline() const {
    return stereo_transform(0, 3);
}

CalibrationParameters CalibrationParameters::scale(const Resolution& resolution) const {
    CalibrationParameters scaled = *this;
    scaled.left_cam = left_cam.scale(resolution);
    scaled.right_cam = right_cam.scale(resolution);
    return scaled;
}

bool CalibrationParameters::operator==(const CalibrationParameters& other) const {
    for (int i = 0; i < 16; ++i)
        if (stereo_transform.elements[i] != other.stereo_transform.elements[i]) return false;
    return left_cam == other.left_cam && right_cam == other.right_cam;
}

String CalibrationParameters::getInfos() const {
    const Translation t = stereo_transform.getTranslation();
    std::string text = std::string("left: ") + left_cam.getInfos().c_str() +
                       "\nright: " + right_cam.getInfos().c_str() + "\n";
    char line[128];
    const int written = std::snprintf(line, sizeof line, "baseline %g translation [%g %g %g]",
                                      getCameraBaseline(), t.x, t.y, t.z);
    text.append(line, written > 0 ? static_cast<size_t>(written) : 0);
    return String(text);
}

namespace {
json calibrationDocument(const CalibrationParameters& calibration) {
    return json{{kCalibrationKey,
                 {{"left_cam", cameraMembers(calibration.left_cam)},
                  {"right_cam", cameraMembers(calibration.right_cam)},
                  {"stereo_transform", transformMembers(calibration.stereo_transform)}}}};
}
}  // namespace

bool CalibrationParameters::encode(String& out, SERIALIZATION_FORMAT format) const {
    return encodeRecord(calibrationDocument(*this), out, format);
}

bool CalibrationParameters::decode(const String& text, SERIALIZATION_FORMAT format) {
    return decodeRecord(text, format, kCalibrationKey, *this, readCalibration);
}

bool CalibrationParameters::save(String path, SERIALIZATION_FORMAT format) const {
    return saveRecord(calibrationDocument(*this), path, format);
}

bool CalibrationParameters::load(String path, SERIALIZATION_FORMAT format) {
    return loadRecord(path, format, kCalibrationKey, *this, readCalibration);
}

}  // namespace vela
