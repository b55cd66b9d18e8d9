// Display names of the enumerations, the parsing of the configurable ones, and the cleanup of names read
// from text. Exact texts are written out here for a few rows (misspellings included); loops check that
// every value has a distinct name that parses back and that the values around the range are unknown.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <atomic>
#include <cctype>
#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using vela::ERROR_CODE;
using vela::String;
using vela::toValue;

template <typename E>
std::string nameOf(int32_t value) {
    return vela::toString(static_cast<E>(value)).str();
}

// Values first..last have distinct names other than `fallback`; first-1 and last+1 print `fallback`.
template <typename E>
void expectNamed(int32_t first, int32_t last, const std::string& fallback = "Unknown") {
    std::set<std::string> names;
    for (int32_t value = first; value <= last; ++value) {
        EXPECT_NE(nameOf<E>(value), fallback) << "value " << value;
        names.insert(nameOf<E>(value));
    }
    EXPECT_EQ(names.size(), static_cast<size_t>(last - first + 1));
    EXPECT_EQ(nameOf<E>(first - 1), fallback);
    EXPECT_EQ(nameOf<E>(last + 1), fallback);
}

std::string lowerCaseWithUnderscores(std::string name) {
    for (char& c : name)
        c = c == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

// Names of 0..last also parse back, as printed and in lower case with underscores.
template <typename E>
void expectRoundTrip(int32_t last) {
    expectNamed<E>(0, last);
    for (int32_t value = 0; value <= last; ++value) {
        for (const std::string& text : {nameOf<E>(value), lowerCaseWithUnderscores(nameOf<E>(value))}) {
            E parsed = static_cast<E>(-100);
            EXPECT_EQ(vela::fromString(String(text), parsed), ERROR_CODE::SUCCESS) << text;
            EXPECT_EQ(toValue(parsed), value) << text;
        }
    }
}

TEST(EnumNames, table_names_print_and_parse_back_in_both_directions) {
    expectRoundTrip<vela::UNIT>(4);
    expectRoundTrip<vela::COORDINATE_SYSTEM>(5);
    expectRoundTrip<vela::InputType::INPUT_TYPE>(6);
    expectRoundTrip<vela::STREAMING_CODEC>(1);
    expectRoundTrip<vela::OBJECT_CLASS>(6);
    expectRoundTrip<vela::OBJECT_FILTERING_MODE>(2);
    expectRoundTrip<vela::BODY_FORMAT>(2);
    expectRoundTrip<vela::BODY_KEYPOINTS_SELECTION>(1);
    expectRoundTrip<vela::OBJECT_DETECTION_MODEL>(6);
    expectRoundTrip<vela::BODY_TRACKING_MODEL>(2);
    expectRoundTrip<vela::CommunicationParameters::COMM_TYPE>(1);
}

TEST(EnumNames, switch_texts_cover_every_value_with_their_fallbacks) {
    using vela::SensorsData;
    expectNamed<SensorsData::MagnetometerData::HEADING_STATE>(0, 4);
    expectNamed<SensorsData::CAMERA_MOTION_STATE>(0, 2);
    expectNamed<vela::INPUT_TYPE>(0, 3);
    expectNamed<vela::BUS_TYPE>(0, 2);
    expectNamed<vela::CAMERA_TYPE>(0, 2);
    expectNamed<vela::CAMERA_STATE>(0, 1);
    expectNamed<vela::SENSOR_TYPE>(0, 3, "");
    expectNamed<vela::SENSORS_UNIT>(0, 5, "");
    expectNamed<vela::MEM>(1, 2);  // the combinations of CPU and GPU (3 and above) have no name of their own
    expectNamed<vela::COPY_TYPE>(0, 3);
    expectNamed<vela::MAT_TYPE>(0, 9);
    expectNamed<vela::MODULE>(0, 5);
    expectNamed<vela::OBJECT_TRACKING_STATE>(0, 3);
    expectNamed<vela::OBJECT_ACTION_STATE>(0, 1);
    expectNamed<vela::INFERENCE_PRECISION>(0, 2);
    // The two onboard sensors share one name.
    using Location = SensorsData::TemperatureData::SENSOR_LOCATION;
    EXPECT_EQ(
        std::vector<std::string>({nameOf<Location>(-1), nameOf<Location>(0), nameOf<Location>(1),
                                  nameOf<Location>(2), nameOf<Location>(3), nameOf<Location>(4)}),
        std::vector<std::string>({"Unknown", "IMU", "BAROMETER", "ONBOARD LEFT", "ONBOARD LEFT", "Unknown"}));
    // Models leave gaps between their values.
    for (int32_t value = -1; value <= 32; ++value) {
        const bool named = value <= 5 || value == 11 || value == 30 || value == 31;
        EXPECT_EQ(nameOf<vela::MODEL>(value) != "Unknown", named && value >= 0) << value;
    }
    const std::pair<String, std::string> pinned[] = {
        {vela::toString(vela::MODEL::VIRTUAL_TARN_V), "Virtual TARN-V"},
        {vela::model2str(static_cast<vela::MODEL>(31)), "TARN W UHD"},
        {vela::unit2str(vela::UNIT::FOOT), "FOOT"},
        {vela::toString(vela::COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD), "RIGHT HANDED Z UP X FWD"},
        {vela::toString(vela::OBJECT_DETECTION_MODEL::CUSTOM_YOLOLIKE_BOX_OBJECTS),
         "CUSTOM YOLOLIKE BOX OBJECTS"},
        {vela::toString(vela::InputType::INPUT_TYPE::KVR_FILE), "KVR FILE"},
        {vela::toString(vela::OBJECT_FILTERING_MODE::NMS3D_PER_CLASS), "NMS3D PER CLASS"},
        {vela::toString(vela::MAT_TYPE::U16_C1), "US16 C1"},
        {vela::toString(vela::MAT_TYPE::S8_C4), "8S C4"},
        {vela::toString(vela::MAT_TYPE::F32_C1), "32F C1"},
        {vela::toString(vela::MEM_UNIFIED), "Unknown"},
        {vela::toString(vela::COPY_TYPE::GPU_CPU), "GPU CPU"},
        {vela::toString(vela::MODULE::POSITIONAL_TRACKING), "Positional Tracking"},
        {vela::toString(SensorsData::MagnetometerData::HEADING_STATE::NOT_CALIBRATED),
         "Magnetometer not calibrated"},
        // The unit symbols as UTF-8 bytes: ² is C2 B2, ° is C2 B0 (and C, after a hex escape, 43).
        {vela::toString(vela::SENSORS_UNIT::M_SEC_2), "m/s\xC2\xB2"},
        {vela::toString(vela::SENSORS_UNIT::CELSIUS), "\xC2\xB0\x43"},
    };
    for (const auto& [text, expected] : pinned)
        EXPECT_EQ(text.str(), expected);
}

TEST(EnumNames, cleanup_keeps_letters_digits_and_the_chosen_separators) {
    struct Case {
        std::string input;
        bool separatorsAsSpace;
        std::string expected;
    };
    const Case cases[] = {
        {"right-handed_y_up", false, "RIGHTHANDEDYUP"},
        {"  a--b__c ", true, "  A  B  C "},  // blanks kept one for one, each separator its own blank
        {"x.y/z,1+2=3!", true, "XYZ123"},
        {"\tTab\nNew\r", true, "TABNEW"},  // other white space is not a separator
        {"m/s\xC2\xB2", true, "MS"},       // bytes of UTF-8 sequences are dropped
    };
    for (const Case& c : cases) {
        EXPECT_EQ(vela::cleanupAndUpperCaseString(c.input, c.separatorsAsSpace), c.expected) << c.input;
    }
}

// Parses `text` into a COORDINATE_SYSTEM that starts at a sentinel; returns the status and the value.
std::pair<ERROR_CODE, int32_t> parseCoordinateSystem(const std::string& text) {
    auto system = static_cast<vela::COORDINATE_SYSTEM>(-100);
    const ERROR_CODE status = vela::fromString(String(text), system);
    return {status, toValue(system)};
}

TEST(EnumNames, fromString_reads_numbers_before_names) {
    const std::pair<std::string, int32_t> cases[] = {
        {"right handed-y_up", 2},  // mixed separators pass the second cleanup
        {"RIGHT HANDED Y UP!", 2},
        {"-1", 1},          // the sign is dropped by the cleanup before the number is read
        {"7", 7},           // no check that a number names a value
        {"  4 meters", 4},  // leading blanks skipped, trailing text ignored
        {"1.5", 15},        // the point is dropped by the cleanup
        {"2147483647", 2147483647},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(parseCoordinateSystem(text), std::make_pair(ERROR_CODE::SUCCESS, value)) << text;
    }
    // Dropping the hyphen finds the name; reading it as a blank would not.
    auto mode = vela::OBJECT_FILTERING_MODE::NONE;
    EXPECT_EQ(vela::fromString("nms-3d", mode), ERROR_CODE::SUCCESS);
    EXPECT_EQ(mode, vela::OBJECT_FILTERING_MODE::NMS3D);
}

TEST(EnumNames, fromString_failure_warns_on_standard_error_and_leaves_the_value) {
    // Past the 32-bit range (the minus sign goes first), blanks not collapsed, a name only str2unit knows.
    for (const std::string text : {"xyz", "", "2147483648", "-2147483648", "RIGHT  HANDED Y UP", "Feet"}) {
        vela::TarnLogger::get_instance().flush();  // messages of earlier tests reach standard error late
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        const auto [status, parsed] = parseCoordinateSystem(text);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Warning ! No conversion known for field '" + text + "'\n");
        EXPECT_EQ(status, ERROR_CODE::FAILURE) << text;
        EXPECT_EQ(parsed, -100) << text;
    }
}

TEST(EnumNames, str2unit_compares_exactly_and_falls_back_to_millimeter) {
    const std::pair<std::string, int32_t> cases[] = {
        {"Centimeter", 1}, {"Meter", 2}, {"Inch", 3}, {"Feet", 4}, {"METER", 0}, {"Foot", 0}, {"Feet ", 0},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(toValue(vela::str2unit(String(text))), value) << "'" << text << "'";
    }
}

TEST(EnumNames, lookups_from_several_threads_agree) {
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                for (int32_t value = 0; value <= 5; ++value) {
                    const std::string name = nameOf<vela::COORDINATE_SYSTEM>(value);
                    if (parseCoordinateSystem(lowerCaseWithUnderscores(name)).second != value) ++mismatches;
                    if (nameOf<vela::OBJECT_DETECTION_MODEL>(value) == "Unknown") ++mismatches;
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
