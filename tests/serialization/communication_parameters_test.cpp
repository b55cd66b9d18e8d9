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

TEST(CommunicationParameters, default_record_is_intra_process_and_encodes_all_three_members) {
    const CommunicationParameters record;
    EXPECT_EQ(record.communication_type, COMM_TYPE::INTRA_PROCESS);
    EXPECT_EQ(record.ip_port, 0);
    EXPECT_EQ(record.ip_add, "");
    String text;
    ASSERT_TRUE(record.encode(text, kJson));
    EXPECT_EQ(text,
              "{\n"
              "  \"CommunicationParameters\": {\n"
              "    \"communication_type\": \"INTRA PROCESS\",\n"
              "    \"ip_add\": \"\",\n"
              "    \"ip_port\": 0\n"
              "  }\n"
              "}");
}

TEST(CommunicationParameters, local_network_record_encodes_its_address_and_port) {
    String text;
    ASSERT_TRUE(network("192.168.1.20", 30000).encode(text, kJson));
    EXPECT_EQ(text,
              "{\n"
              "  \"CommunicationParameters\": {\n"
              "    \"communication_type\": \"LOCAL NETWORK\",\n"
              "    \"ip_add\": \"192.168.1.20\",\n"
              "    \"ip_port\": 30000\n"
              "  }\n"
              "}");
}

TEST(CommunicationParameters, setters_change_only_their_fields_and_equality_sees_every_field) {
    CommunicationParameters record = network("10.0.0.2", 1);
    record.setForLocalNetwork(30000);
    EXPECT_EQ(record, network("10.0.0.2", 30000));
    record.setForSharedMemory();
    EXPECT_EQ(record.ip_port, 30000);
    EXPECT_EQ(record.ip_add, "10.0.0.2");

    const CommunicationParameters base = network("10.0.0.2", 1);
    CommunicationParameters other = base;
    other.communication_type = COMM_TYPE::INTRA_PROCESS;
    EXPECT_NE(other, base);
    EXPECT_NE(network("10.0.0.2", 2), base);
    EXPECT_NE(network("10.0.0.3", 1), base);
    EXPECT_FALSE(network("10.0.0.2", 1) != base);
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
    CommunicationParameters record = start;
    const String text(R"({"CommunicationParameters":{"ip_add":"9.9.9.9","ip_port":"80",
                                                     "communication_type":"INTRA PROCESS"}})");
    try {
        record.decode(text, kJson);
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "[json.exception.type_error.302] type must be number, but is string");
    }
    EXPECT_EQ(record, start);  // nothing of the text was taken
    try {
        record.decode(R"({"CommunicationParameters":{"ip_port":true}})", kJson);
        ADD_FAILURE() << "no exception";
    } catch (const std::exception& error) {
        EXPECT_STREQ(error.what(), "[json.exception.type_error.302] type must be number, but is boolean");
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

TEST_F(CommunicationParametersFiles, save_and_load_round_trip_through_an_indented_file) {
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
    ASSERT_TRUE(CommunicationParameters().save(path("comm.json"), kJson));  // replaces the file
    CommunicationParameters loaded = saved;
    EXPECT_TRUE(loaded.load(path("comm.json"), kJson));
    EXPECT_EQ(loaded, CommunicationParameters());
    EXPECT_TRUE(drain().empty());
}

TEST_F(CommunicationParametersFiles, unsupported_formats_are_logged_as_errors) {
    const CommunicationParameters saved = network("172.16.0.9", 30000);
    EXPECT_FALSE(saved.save(path("none.json"), SERIALIZATION_FORMAT::NONE));
    EXPECT_FALSE(fs::exists(dir / "none.json"));
    ASSERT_TRUE(saved.save(path("comm.json"), kJson));
    CommunicationParameters loaded;
    EXPECT_FALSE(loaded.load(path("comm.json"), SERIALIZATION_FORMAT::NONE));
    EXPECT_FALSE(loaded.load(path("comm.json"), static_cast<SERIALIZATION_FORMAT>(3)));
    EXPECT_EQ(loaded, CommunicationParameters());
    const std::pair<LOG_LEVEL, std::string> refused{LOG_LEVEL::ERROR, "Format NOT SUPPORTED"};
    EXPECT_EQ(drain(), (std::vector<std::pair<LOG_LEVEL, std::string>>{refused, refused, refused}));
}

TEST_F(CommunicationParametersFiles, failed_reads_and_writes_return_false_and_keep_the_record) {
    std::ofstream(dir / "garbage.json") << "\x01not json{";
    const CommunicationParameters start = network("10.0.0.2", 1);
    CommunicationParameters record = start;
    EXPECT_FALSE(record.load(path("missing.json"), kJson));
    EXPECT_FALSE(record.load(path("garbage.json"), kJson));
    EXPECT_EQ(record, start);
    const auto messages = drain();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].first, LOG_LEVEL::WARNING);
    EXPECT_EQ(messages[0].second,
              "Error loading JSON CommunicationParameters file " + path("missing.json").str());
    EXPECT_EQ(messages[1].second,
              "Error loading JSON CommunicationParameters file " + path("garbage.json").str());

    EXPECT_FALSE(start.save(String((dir / "no" / "dir.json").string()), kJson));
    EXPECT_FALSE(network("\xff", 1).save(path("bad.json"), kJson));
    EXPECT_FALSE(fs::exists(dir / "bad.json"));
    EXPECT_TRUE(drain().empty());  // a failed write is reported by the result alone
}

TEST_F(CommunicationParametersFiles, file_system_faults_return_false_and_keep_the_record_and_the_file) {
    const CommunicationParameters start = network("10.0.0.2", 1);
    ASSERT_TRUE(start.save(path("comm.json"), kJson));
    const std::string saved = readFile(dir / "comm.json");
    fs::create_directory(dir / "folder.json");
    EXPECT_FALSE(network("10.0.0.3", 2).save(path("folder.json"), kJson));
    EXPECT_EQ(readFile(dir / "comm.json"), saved);

    CommunicationParameters record = start;
    EXPECT_FALSE(record.load(path("folder.json"), kJson));
    fs::remove(dir / "comm.json");
    EXPECT_FALSE(record.load(path("comm.json"), kJson)) << "removed since it was saved";
    EXPECT_EQ(record, start);
    const auto messages = drain();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[1].second,
              "Error loading JSON CommunicationParameters file " + path("comm.json").str());
    EXPECT_TRUE(fs::is_directory(dir / "folder.json") && fs::is_empty(dir / "folder.json"));
}

TEST(ExtractIpPort, normalises_and_splits_matching_addresses) {
    struct Case {
        const char* text;
        const char* ip;
        int port;  // 7 when the text gives none
    };
    for (const Case& c :
         {Case{"localhost", "127.0.0.1", 7}, Case{"192.168.0.1", "192.168.0.1", 7},
          Case{"192.168.0.1:8080", "192.168.0.1", 8080}, Case{"255.250.09.0:99999", "255.250.09.0", 99999}}) {
        std::string ip = c.text;
        int port = 7;
        EXPECT_TRUE(vela::extractIpPort(ip, port)) << c.text;
        EXPECT_EQ(ip, c.ip);
        EXPECT_EQ(port, c.port) << c.text;
    }
}

TEST(ExtractIpPort, leaves_text_that_does_not_match_untouched) {
    for (const char* text : {"256.1.1.1", "1.2.3.4:123456", "", "localhost:80", " localhost", "1.2.3",
                             "1.2.3.4:", "1.2.3.4 ", "1.2.3.4:80x", "a.b.c.d", "1.2.3.4.5"}) {
        std::string ip = text;
        int port = 7;
        EXPECT_FALSE(vela::extractIpPort(ip, port)) << text;
        EXPECT_EQ(ip, text);
        EXPECT_EQ(port, 7) << text;
    }
}

}  // namespace
