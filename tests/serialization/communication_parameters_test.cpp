#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "core/logging.hpp"
#include "support/log_capture.hpp"
#include "support/temp_dir.hpp"
#include "vela/serialization/communication_parameters.hpp"

namespace {

namespace fs = std::filesystem;
using vela::CommunicationParameters;
using vela::LOG_LEVEL;
using vela::LOGGER_NAME;
using vela::SERIALIZATION_FORMAT;
using vela::String;
using vela::TarnLogger;
using COMM_TYPE = CommunicationParameters::COMM_TYPE;

constexpr SERIALIZATION_FORMAT kJson = SERIALIZATION_FORMAT::JSON;

CommunicationParameters network(const std::string& address, int port) {
    CommunicationParameters record;
    record.setForLocalNetwork(address, port);
    return record;
}

std::string readFile(const fs::path& path) {
    return vela::test::readFile(path.string());
}

TEST(CommunicationParameters, records_encode_all_three_members) {
    const std::pair<CommunicationParameters, std::string> cases[] = {
        {CommunicationParameters(), R"("INTRA PROCESS",
    "ip_add": "",
    "ip_port": 0)"},
        {network("192.168.1.20", 30000), R"("LOCAL NETWORK",
    "ip_add": "192.168.1.20",
    "ip_port": 30000)"},
    };
    for (const auto& [record, members] : cases) {
        String text;
        ASSERT_TRUE(record.encode(text, kJson));
        EXPECT_EQ(text,
                  "{\n  \"CommunicationParameters\": {\n    \"communication_type\": " + members + "\n  }\n}");
    }
}

TEST(CommunicationParameters, setters_change_only_their_fields_and_equality_sees_every_field) {
    CommunicationParameters record = network("10.0.0.2", 1);
    record.setForLocalNetwork(30000);
    EXPECT_EQ(record, network("10.0.0.2", 30000));
    record.setForSharedMemory();
    EXPECT_EQ(record.communication_type, COMM_TYPE::INTRA_PROCESS);
    EXPECT_EQ(record.ip_port, 30000);
    EXPECT_EQ(record.ip_add, "10.0.0.2");
    EXPECT_NE(record, network("10.0.0.2", 30000));
    EXPECT_NE(network("10.0.0.2", 2), network("10.0.0.2", 1));
    EXPECT_NE(network("10.0.0.3", 1), network("10.0.0.2", 1));
    EXPECT_FALSE(network("10.0.0.2", 1) != network("10.0.0.2", 1));
}

TEST(CommunicationParameters, format_none_and_unencodable_addresses_encode_nothing) {
    String text("left over");
    EXPECT_FALSE(CommunicationParameters().encode(text, SERIALIZATION_FORMAT::NONE));
    EXPECT_EQ(text, "");
    text = "left over";
    EXPECT_FALSE(network("\xff\xfe", 1).encode(text, kJson));
    EXPECT_EQ(text, "");
}

TEST(CommunicationParameters, decode_reads_present_members_and_keeps_the_others) {
    const CommunicationParameters start = network("10.0.0.2", 1);
    for (int present = 0; present < 8; ++present) {
        std::vector<std::string> members;
        CommunicationParameters expected = start;
        if (present & 1) {
            members.push_back(R"("communication_type":"INTRA PROCESS")");
            expected.communication_type = COMM_TYPE::INTRA_PROCESS;
        }
        if (present & 2) {
            members.push_back(R"("ip_add":"1.2.3.4")");
            expected.ip_add = "1.2.3.4";
        }
        if (present & 4) {
            members.push_back(R"("ip_port":42)");
            expected.ip_port = 42;
        }
        std::string text = R"({"CommunicationParameters":{)";
        for (size_t i = 0; i < members.size(); ++i)
            text += (i == 0 ? "" : ",") + members[i];
        text += "}}";
        CommunicationParameters record = start;
        EXPECT_TRUE(record.decode(String(text), kJson)) << text;
        EXPECT_EQ(record, expected) << text;
    }
}

TEST(CommunicationParameters, decode_reads_the_type_name_in_any_case_and_separator_style) {
    for (const char* name : {"local network", "Local_Network", "LOCAL-NETWORK", "lOcAl nEtWoRk", "0"}) {
        CommunicationParameters record;
        const std::string text =
            std::string(R"({"CommunicationParameters":{"communication_type":")") + name + "\"}}";
        EXPECT_TRUE(record.decode(String(text), SERIALIZATION_FORMAT::LAST)) << name;
        EXPECT_EQ(record.communication_type, COMM_TYPE::LOCAL_NETWORK) << name;
    }
    CommunicationParameters record;
    testing::internal::CaptureStderr();
    EXPECT_TRUE(
        record.decode(R"({"CommunicationParameters":{"communication_type":"carrier pigeon"}})", kJson));
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(record, CommunicationParameters());
}

TEST(CommunicationParameters, decode_results_follow_the_text_not_the_members) {
    const CommunicationParameters start = network("10.0.0.2", 1);
    CommunicationParameters record = start;
    EXPECT_TRUE(record.decode("", SERIALIZATION_FORMAT::NONE));
    EXPECT_FALSE(record.decode(R"({"CommunicationParameters":{"ip_port":5}})", SERIALIZATION_FORMAT::NONE));
    EXPECT_FALSE(record.decode(R"({"CommunicationParameters":{"ip_port":5})", kJson));
    EXPECT_TRUE(record.decode(R"({"Other":{"ip_port":5}})", kJson));
    EXPECT_TRUE(record.decode(R"({"CommunicationParameters":[1,2]})", kJson));
    EXPECT_TRUE(record.decode("[]", kJson));
    // A number beyond int is no port; a fraction is truncated as by an integer conversion.
    EXPECT_TRUE(record.decode(R"({"CommunicationParameters":{"ip_port":2147483648}})", kJson));
    EXPECT_EQ(record, start);
    EXPECT_TRUE(record.decode(R"({"CommunicationParameters":{"ip_port":80.9}})", kJson));
    EXPECT_EQ(record.ip_port, 80);
    EXPECT_TRUE(record.decode(R"({"CommunicationParameters":{"ip_port":-2147483648.5}})", kJson));
    EXPECT_EQ(record.ip_port, -2147483648LL);
}

TEST(CommunicationParameters, decode_throws_the_json_type_error_for_a_port_that_is_no_number) {
    const CommunicationParameters start = network("10.0.0.2", 1);
    for (const auto& [port, type] :
         {std::pair<std::string, std::string>{R"("80")", "string"}, {"true", "boolean"}}) {
        CommunicationParameters record = start;
        try {
            record.decode(R"({"CommunicationParameters":{"ip_add":"9.9.9.9","ip_port":)" + port +
                              R"(,"communication_type":"INTRA PROCESS"}})",
                          kJson);
            ADD_FAILURE() << "no exception";
        } catch (const std::exception& error) {
            EXPECT_EQ(error.what(), "[json.exception.type_error.302] type must be number, but is " + type);
        }
        EXPECT_EQ(record, start);  // nothing of the text was taken
    }
}

// Records files in a fresh directory and what reaches the library's logger.
class CommunicationParametersFiles : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(log.attached()); }
    std::vector<vela::test::LogCapture::Message> drain() { return log.take(); }
    String path(const char* name) const { return String((dir / name).string()); }

    vela::test::TempDir temp;
    const fs::path dir{temp.path("")};
    vela::test::LogCapture log;
};

TEST_F(CommunicationParametersFiles, save_and_load_round_trip_and_other_formats_are_logged_errors) {
    const CommunicationParameters saved = network("172.16.0.9", 30000);
    ASSERT_TRUE(saved.save(path("comm.json"), SERIALIZATION_FORMAT::LAST));  // any format but NONE is JSON
    String encoded;
    ASSERT_TRUE(saved.encode(encoded, kJson));
    EXPECT_EQ(readFile(dir / "comm.json"), encoded.str() + "\n");
    for (const SERIALIZATION_FORMAT format : {kJson, SERIALIZATION_FORMAT::LAST}) {
        CommunicationParameters loaded;
        EXPECT_TRUE(loaded.load(path("comm.json"), format));
        EXPECT_EQ(loaded, saved);
    }
    EXPECT_TRUE(drain().empty());

    EXPECT_FALSE(saved.save(path("none.json"), SERIALIZATION_FORMAT::NONE));
    EXPECT_FALSE(fs::exists(dir / "none.json"));
    CommunicationParameters loaded;
    EXPECT_FALSE(loaded.load(path("comm.json"), SERIALIZATION_FORMAT::NONE));
    EXPECT_FALSE(loaded.load(path("comm.json"), static_cast<SERIALIZATION_FORMAT>(3)));
    EXPECT_EQ(loaded, CommunicationParameters());
    const std::pair<LOG_LEVEL, std::string> refused{LOG_LEVEL::ERROR, "Format NOT SUPPORTED"};
    EXPECT_EQ(drain(), (std::vector<std::pair<LOG_LEVEL, std::string>>{refused, refused, refused}));
}

// A failed read is logged as a warning; a failed write is reported by the result alone.
TEST_F(CommunicationParametersFiles, file_faults_return_false_and_keep_the_record_and_the_file) {
    const CommunicationParameters start = network("10.0.0.2", 1);
    ASSERT_TRUE(start.save(path("comm.json"), kJson));
    const std::string saved = readFile(dir / "comm.json");
    std::ofstream(dir / "garbage.json") << "\x01not json{";
    fs::create_directory(dir / "folder.json");
    EXPECT_FALSE(network("10.0.0.3", 2).save(path("folder.json"), kJson));
    EXPECT_FALSE(start.save(String((dir / "no" / "dir.json").string()), kJson));
    EXPECT_FALSE(network("\xff", 1).save(path("bad.json"), kJson));
    EXPECT_FALSE(fs::exists(dir / "bad.json"));
    EXPECT_EQ(readFile(dir / "comm.json"), saved);
    EXPECT_TRUE(fs::is_directory(dir / "folder.json") && fs::is_empty(dir / "folder.json"));
    EXPECT_TRUE(drain().empty());

    CommunicationParameters record = start;
    fs::remove(dir / "comm.json");
    std::vector<std::pair<LOG_LEVEL, std::string>> expected;
    for (const char* name : {"missing.json", "garbage.json", "folder.json", "comm.json"}) {
        EXPECT_FALSE(record.load(path(name), kJson)) << name;
        expected.emplace_back(LOG_LEVEL::WARNING,
                              "Error loading JSON CommunicationParameters file " + path(name).str());
    }
    EXPECT_EQ(record, start);
    EXPECT_EQ(drain(), expected);
}

TEST(ExtractIpPort, normalises_and_splits_matching_addresses_and_leaves_others_untouched) {
    struct Case {
        const char* text;
        const char* ip;  // null when the text does not match
        int port;        // 7 when the text gives none
    };
    for (const Case& c :
         {Case{"localhost", "127.0.0.1", 7}, Case{"192.168.0.1", "192.168.0.1", 7},
          Case{"192.168.0.1:8080", "192.168.0.1", 8080}, Case{"255.250.09.0:99999", "255.250.09.0", 99999},
          Case{"256.1.1.1", nullptr, 7}, Case{"1.2.3.4:123456", nullptr, 7}, Case{"", nullptr, 7},
          Case{"localhost:80", nullptr, 7}, Case{" localhost", nullptr, 7}, Case{"1.2.3", nullptr, 7},
          Case{"1.2.3.4:", nullptr, 7}, Case{"1.2.3.4 ", nullptr, 7}, Case{"1.2.3.4:80x", nullptr, 7},
          Case{"a.b.c.d", nullptr, 7}, Case{"1.2.3.4.5", nullptr, 7}}) {
        std::string ip = c.text;
        int port = 7;
        EXPECT_EQ(vela::extractIpPort(ip, port), c.ip != nullptr) << c.text;
        EXPECT_EQ(ip, c.ip != nullptr ? c.ip : c.text);
        EXPECT_EQ(port, c.port) << c.text;
    }
}

}  // namespace
