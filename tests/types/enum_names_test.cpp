// Display names of every enumeration, the parsing of the configurable ones, and the cleanup of names
// read from text. Expected texts are written out here, independently of the library's tables.

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
using Names = std::vector<std::pair<int32_t, std::string>>;

// Every listed value prints its text; every unlisted value from -1 to one past the largest prints
// `fallback`, gaps between listed values included.
template <typename E>
void expectTexts(const Names& names, const std::string& fallback) {
    std::set<int32_t> listed;
    for (const auto& [value, text] : names) {
        listed.insert(value);
        EXPECT_EQ(vela::toString(static_cast<E>(value)).str(), text) << "value " << value;
    }
    for (int32_t value = -1; value <= *listed.rbegin() + 1; ++value) {
        if (listed.count(value) == 0) {
            EXPECT_EQ(vela::toString(static_cast<E>(value)).str(), fallback) << "value " << value;
        }
    }
}

std::string lowerCaseWithUnderscores(std::string name) {
    for (char& c : name)
        c = c == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return name;
}

// Names print and parse back, as written and in lower case with underscores; unlisted values print
// "Unknown".
template <typename E>
void expectNames(const Names& names) {
    expectTexts<E>(names, "Unknown");
    for (const auto& [value, name] : names) {
        for (const std::string& text : {name, lowerCaseWithUnderscores(name)}) {
            E parsed = static_cast<E>(-100);
            EXPECT_EQ(vela::fromString(String(text), parsed), ERROR_CODE::SUCCESS) << text;
            EXPECT_EQ(toValue(parsed), value) << text;
        }
    }
}

const Names kUnitNames = {{0, "MILLIMETER"}, {1, "CENTIMETER"}, {2, "METER"}, {3, "INCH"}, {4, "FOOT"}};
const Names kCoordinateSystemNames = {{0, "IMAGE"},
                                      {1, "LEFT HANDED Y UP"},
                                      {2, "RIGHT HANDED Y UP"},
                                      {3, "RIGHT HANDED Z UP"},
                                      {4, "LEFT HANDED Z UP"},
                                      {5, "RIGHT HANDED Z UP X FWD"}};
const Names kDetectionModelNames = {{0, "MULTI CLASS BOX FAST"},       {1, "MULTI CLASS BOX MEDIUM"},
                                    {2, "MULTI CLASS BOX ACCURATE"},   {3, "PERSON HEAD BOX FAST"},
                                    {4, "PERSON HEAD BOX ACCURATE"},   {5, "CUSTOM BOX OBJECTS"},
                                    {6, "CUSTOM YOLOLIKE BOX OBJECTS"}};

// The configurable enumerations, each in full: every name prints, parses back, and values around them
// print "Unknown".
TEST(EnumNames, table_names_print_and_parse_back_in_both_directions) {
    expectNames<vela::UNIT>(kUnitNames);
    expectNames<vela::COORDINATE_SYSTEM>(kCoordinateSystemNames);
    expectNames<vela::OBJECT_DETECTION_MODEL>(kDetectionModelNames);
    expectNames<vela::InputType::INPUT_TYPE>({{0, "USB ID"},
                                              {1, "USB SERIAL"},
                                              {2, "KVR FILE"},
                                              {3, "STREAM"},
                                              {4, "GMSL ID"},
                                              {5, "GMSL SERIAL"},
                                              {6, "LAST"}});
    expectNames<vela::STREAMING_CODEC>({{0, "H264"}, {1, "H265"}});
    expectNames<vela::OBJECT_CLASS>({{0, "PERSON"},
                                     {1, "VEHICLE"},
                                     {2, "BAG"},
                                     {3, "ANIMAL"},
                                     {4, "ELECTRONICS"},
                                     {5, "FRUIT VEGETABLE"},
                                     {6, "SPORT"}});
    expectNames<vela::OBJECT_FILTERING_MODE>({{0, "NONE"}, {1, "NMS3D"}, {2, "NMS3D PER CLASS"}});
    expectNames<vela::BODY_FORMAT>({{0, "BODY 18"}, {1, "BODY 34"}, {2, "BODY 38"}});
    expectNames<vela::BODY_KEYPOINTS_SELECTION>({{0, "FULL"}, {1, "UPPER BODY"}});
    expectNames<vela::BODY_TRACKING_MODEL>(
        {{0, "HUMAN BODY FAST"}, {1, "HUMAN BODY MEDIUM"}, {2, "HUMAN BODY ACCURATE"}});
    expectNames<vela::CommunicationParameters::COMM_TYPE>({{0, "LOCAL NETWORK"}, {1, "INTRA PROCESS"}});
}

// The printed-only enumerations: the texts with a quirk (gaps, a repeated name, bytes of UTF-8, an empty
// fallback, names shared by combinations of values), the rest falling back to "Unknown" around them.
TEST(EnumNames, switch_texts_cover_every_value_with_their_fallbacks) {
    expectTexts<vela::SensorsData::TemperatureData::SENSOR_LOCATION>(
        {{0, "IMU"}, {1, "BAROMETER"}, {2, "ONBOARD LEFT"}, {3, "ONBOARD LEFT"}}, "Unknown");
    expectTexts<vela::MODEL>({{0, "TARN"},
                              {1, "TARN-Q"},
                              {2, "TARN R"},
                              {3, "TARN Rs"},
                              {4, "TARN V"},
                              {5, "TARN V Lite"},
                              {11, "Virtual TARN-V"},
                              {30, "TARN W GS"},
                              {31, "TARN W UHD"}},
                             "Unknown");
    expectTexts<vela::SENSOR_TYPE>(
        {{0, "Accelerometer"}, {1, "Gyroscope"}, {2, "Magnetometer"}, {3, "Barometer"}}, "");
    // The unit symbols as UTF-8 bytes: ² is C2 B2, ° is C2 B0 (and C, after a hex escape, 43).
    expectTexts<vela::SENSORS_UNIT>(
        {{0, "m/s\xC2\xB2"}, {1, "\xC2\xB0/s"}, {2, "uT"}, {3, "hPa"}, {4, "\xC2\xB0\x43"}, {5, "Hz"}}, "");
    // The combinations of CPU and GPU (3 and above) have no name of their own.
    expectTexts<vela::MEM>({{1, "CPU"}, {2, "GPU"}}, "Unknown");
    EXPECT_EQ(vela::toString(vela::MEM_UNIFIED).str(), "Unknown");
    expectTexts<vela::MAT_TYPE>({{0, "32F C1"},
                                 {1, "32F C2"},
                                 {2, "32F C3"},
                                 {3, "32F C4"},
                                 {4, "8U C1"},
                                 {5, "8U C2"},
                                 {6, "8U C3"},
                                 {7, "8U C4"},
                                 {8, "US16 C1"},
                                 {9, "8S C4"}},
                                "Unknown");
    EXPECT_EQ(vela::toString(vela::SensorsData::MagnetometerData::HEADING_STATE(3)).str(),
              "Magnetometer not calibrated");
    EXPECT_EQ(vela::toString(vela::COPY_TYPE::GPU_CPU).str(), "GPU CPU");
    EXPECT_EQ(vela::toString(vela::MODULE::OBJECT_DETECTION).str(), "Object detection");
    EXPECT_EQ(vela::toString(vela::CAMERA_STATE::NOT_AVAILABLE).str(), "NOT AVAILABLE");
    EXPECT_EQ(vela::toString(vela::INFERENCE_PRECISION(2)).str(), "INT8");
}

TEST(EnumNames, model2str_and_unit2str_match_toString) {
    EXPECT_EQ(vela::model2str(vela::MODEL::VIRTUAL_TARN_V).str(), "Virtual TARN-V");
    EXPECT_EQ(vela::model2str(static_cast<vela::MODEL>(6)).str(), "Unknown");
    EXPECT_EQ(vela::unit2str(vela::UNIT::FOOT).str(), "FOOT");
    EXPECT_EQ(vela::unit2str(static_cast<vela::UNIT>(9)).str(), "Unknown");
}

TEST(EnumNames, cleanup_keeps_letters_digits_and_the_chosen_separators) {
    struct Case {
        std::string input;
        bool separatorsAsSpace;
        std::string expected;
    };
    const Case cases[] = {
        {"right-handed_y_up", false, "RIGHTHANDEDYUP"},
        {"right-handed_y_up", true, "RIGHT HANDED Y UP"},
        {"Body 18", false, "BODY 18"},
        {"  a  b ", false, "  A  B "},  // blanks kept one for one, never collapsed
        {"a--b__c", true, "A  B  C"},   // each separator becomes its own blank
        {"a--b__c", false, "ABC"},
        {"x.y/z,1+2=3!", true, "XYZ123"},
        {"-1", false, "1"},
        {"\tTab\nNew\r", true, "TABNEW"},  // other white space is not a separator
        {"m/s\xC2\xB2", true, "MS"},       // bytes of UTF-8 sequences are dropped
        {"", true, ""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(vela::cleanupAndUpperCaseString(c.input, c.separatorsAsSpace), c.expected)
            << "'" << c.input << "', separatorsAsSpace " << c.separatorsAsSpace;
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
        {"2", 2},
        {"Right Handed Y Up", 2},
        {"right-handed_y_up", 2},
        {"right handed-y_up", 2},  // mixed separators pass the second cleanup
        {"RIGHT HANDED Y UP!", 2},
        {"-1", 1},        // the sign is dropped by the cleanup before the number is read
        {"7", 7},         // no check that a number names a value
        {"  4 ", 4},      // leading blanks skipped
        {"3 meters", 3},  // trailing text ignored
        {"1.5", 15},      // the point is dropped by the cleanup
        {"007", 7},
        {"2147483647", 2147483647},
    };
    for (const auto& [text, value] : cases) {
        const auto [status, parsed] = parseCoordinateSystem(text);
        EXPECT_EQ(status, ERROR_CODE::SUCCESS) << text;
        EXPECT_EQ(parsed, value) << text;
    }
}

TEST(EnumNames, fromString_failure_warns_on_standard_error_and_leaves_the_value) {
    const std::string cases[] = {
        "xyz",
        "",
        "2147483648",   // past the 32-bit range
        "-2147483648",  // the minus sign goes first, so this too is out of range
        "99999999999",
        "RIGHT  HANDED Y UP",  // blanks are not collapsed
        "LEFT HANDED",
    };
    for (const std::string& text : cases) {
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        const auto [status, parsed] = parseCoordinateSystem(text);
        const std::string printedOut = testing::internal::GetCapturedStdout();
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "Warning ! No conversion known for field '" + text + "'\n");
        EXPECT_EQ(printedOut, "");
        EXPECT_EQ(status, ERROR_CODE::FAILURE) << text;
        EXPECT_EQ(parsed, -100) << text;
    }
}

TEST(EnumNames, fromString_spot_checks_across_enumerations) {
    vela::STREAMING_CODEC codec = vela::STREAMING_CODEC::H264;
    EXPECT_EQ(vela::fromString("H265", codec), ERROR_CODE::SUCCESS);
    EXPECT_EQ(codec, vela::STREAMING_CODEC::H265);
    codec = vela::STREAMING_CODEC::H264;
    EXPECT_EQ(vela::fromString("-1", codec), ERROR_CODE::SUCCESS);
    EXPECT_EQ(codec, vela::STREAMING_CODEC::H265);

    vela::OBJECT_CLASS objectClass = vela::OBJECT_CLASS::PERSON;
    EXPECT_EQ(vela::fromString("7", objectClass), ERROR_CODE::SUCCESS);
    EXPECT_EQ(toValue(objectClass), 7);

    // Dropping the hyphen finds the name; reading it as a blank would not.
    auto mode = vela::OBJECT_FILTERING_MODE::NONE;
    EXPECT_EQ(vela::fromString("nms-3d", mode), ERROR_CODE::SUCCESS);
    EXPECT_EQ(mode, vela::OBJECT_FILTERING_MODE::NMS3D);

    auto comm = vela::CommunicationParameters::COMM_TYPE::INTRA_PROCESS;
    EXPECT_EQ(vela::fromString("local network", comm), ERROR_CODE::SUCCESS);
    EXPECT_EQ(comm, vela::CommunicationParameters::COMM_TYPE::LOCAL_NETWORK);

    vela::UNIT unit = vela::UNIT::INCH;
    testing::internal::CaptureStderr();
    EXPECT_EQ(vela::fromString("Feet", unit), ERROR_CODE::FAILURE);  // only str2unit knows "Feet"
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning ! No conversion known for field 'Feet'\n");
    EXPECT_EQ(unit, vela::UNIT::INCH);
}

TEST(EnumNames, str2unit_compares_exactly_and_falls_back_to_millimeter) {
    const std::pair<std::string, int32_t> cases[] = {
        {"Millimeter", 0}, {"Centimeter", 1}, {"Meter", 2}, {"Inch", 3},  {"Feet", 4},
        {"meter", 0},      {"METER", 0},      {"Foot", 0},  {"Feet ", 0}, {"", 0},
    };
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(toValue(vela::str2unit(String(text))), value) << "'" << text << "'";
    }
}

TEST(EnumNames, lookups_from_several_threads_agree) {
    // Every thread prints and parses every name of a few tables many times; any disagreement counts.
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round) {
                for (const auto& [value, name] : kCoordinateSystemNames) {
                    auto system = vela::COORDINATE_SYSTEM::IMAGE;
                    const std::string text = lowerCaseWithUnderscores(name);
                    if (vela::fromString(String(text), system) != ERROR_CODE::SUCCESS ||
                        toValue(system) != value || vela::toString(system).str() != name) {
                        ++mismatches;
                    }
                }
                for (const auto& [value, name] : kUnitNames) {
                    auto unit = vela::UNIT::MILLIMETER;
                    if (vela::fromString(String(name), unit) != ERROR_CODE::SUCCESS ||
                        vela::unit2str(unit).str() != name) {
                        ++mismatches;
                    }
                }
                for (const auto& [value, name] : kDetectionModelNames) {
                    if (vela::toString(static_cast<vela::OBJECT_DETECTION_MODEL>(value)).str() != name)
                        ++mismatches;
                }
                if (vela::toString(vela::MAT_TYPE::U16_C1).str() != "US16 C1") ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
