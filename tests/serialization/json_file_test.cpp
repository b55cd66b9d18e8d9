#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "serialization/json_file.hpp"

namespace {

namespace fs = std::filesystem;
using vela::json;
using vela::JSON_FILE_STATUS;

std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeFile(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

class JsonFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string pattern = ::testing::TempDir() + "vela_json_XXXXXX";
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        dir = pattern;
    }
    void TearDown() override { fs::remove_all(dir); }
    size_t entries() const { return static_cast<size_t>(std::distance(fs::directory_iterator(dir), {})); }

    fs::path dir;
};

TEST(JsonMembers, getString_strips_the_quotes_of_strings_only) {
    const json object = json::parse(R"({"a":"a","empty":"","digit":5,"real":2.5,"quoted":"say \"hi\"",
                                        "nested":{"k":[1,2]},"one":"\"","flag":true})");
    std::string out = "unchanged";
    const auto text = [&](const char* key) {
        EXPECT_TRUE(vela::getString(object, key, out, false)) << key;
        return out;
    };
    EXPECT_EQ(text("a"), "a");
    EXPECT_EQ(text("empty"), "");
    EXPECT_EQ(text("digit"), "5");
    EXPECT_EQ(text("real"), "2.5");
    EXPECT_EQ(text("quoted"), R"(say \"hi\")");  // escapes stay as written in JSON
    EXPECT_EQ(text("nested"), R"({"k":[1,2]})");
    EXPECT_EQ(text("one"), R"(\")");
    EXPECT_EQ(text("flag"), "true");

    out = "unchanged";
    EXPECT_FALSE(vela::getString(object, "missing", out, true));
    EXPECT_FALSE(vela::getString(object, "A", out, true));  // keys compare exactly
    EXPECT_FALSE(vela::getString(json::array({1}), "a", out, true));
    EXPECT_EQ(out, "unchanged");
}

TEST(JsonMembers, get_refuses_non_objects_and_reports_type_errors_only_when_verbose) {
    json out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(vela::get(json::array({1, 2}), "0", out, true));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    const json object = json::parse(R"({"port":"80","inner":{"x":1}})");
    ASSERT_TRUE(vela::get(object, "inner", out, false));
    EXPECT_EQ(out, json::parse(R"({"x":1})"));

    int port = 7;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(vela::get(object, "port", port, false));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    testing::internal::CaptureStdout();
    EXPECT_FALSE(vela::get(object, "port", port, true));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "[json.exception.type_error.302] type must be number, but is string\n");
    EXPECT_EQ(port, 7);
}

TEST_F(JsonFiles, reading_tells_missing_unreadable_and_invalid_apart) {
    json document = json::object();
    EXPECT_EQ(vela::loadJSONFile((dir / "missing.json").string(), document), JSON_FILE_STATUS::NOT_FOUND);
    EXPECT_TRUE(document.is_null());
    EXPECT_EQ(vela::loadJSONFile((dir / "missing" / "deeper.json").string(), document),
              JSON_FILE_STATUS::NOT_FOUND);
    EXPECT_EQ(vela::loadJSONFile(dir.string(), document), JSON_FILE_STATUS::UNREADABLE);

    writeFile(dir / "garbage.json", "{\"a\": 1,,}\x01\xff");
    EXPECT_EQ(vela::loadJSONFile((dir / "garbage.json").string(), document), JSON_FILE_STATUS::INVALID_JSON);
    EXPECT_TRUE(document.is_null());

    writeFile(dir / "good.json", "{ \"b\" : [1, \"\xC2\xB0\"] }\n");
    EXPECT_EQ(vela::loadJSONFile((dir / "good.json").string(), document), JSON_FILE_STATUS::SUCCESS);
    EXPECT_EQ(document, json::parse("{\"b\":[1,\"\xC2\xB0\"]}"));
}

TEST_F(JsonFiles, string_form_loads_compact_text_and_null_on_failure) {
    writeFile(dir / "good.json", "{ \"b\" : [1, \"\xC2\xB0\"],\n \"a\": {} }");
    vela::String text;
    EXPECT_EQ(vela::loadJSONFile(vela::String((dir / "good.json").string()), text),
              JSON_FILE_STATUS::SUCCESS);
    EXPECT_EQ(text, "{\"a\":{},\"b\":[1,\"\xC2\xB0\"]}");  // keys sorted, no ASCII escaping
    EXPECT_EQ(vela::loadJSONFile(vela::String((dir / "none.json").string()), text),
              JSON_FILE_STATUS::NOT_FOUND);
    EXPECT_EQ(text, "null");
}

TEST_F(JsonFiles, writes_indented_or_compact_text_and_replaces_the_old_file) {
    const json document = json::parse(R"({"z":1,"a":{"k":"v"}})");
    const fs::path path = dir / "out.json";
    writeFile(path, "old");
    ASSERT_EQ(vela::saveJSONFile(path.string(), document, true), JSON_FILE_STATUS::SUCCESS);
    EXPECT_EQ(readFile(path), "{\n  \"a\": {\n    \"k\": \"v\"\n  },\n  \"z\": 1\n}\n");
    ASSERT_EQ(vela::saveJSONFile(path.string(), document, false), JSON_FILE_STATUS::SUCCESS);
    EXPECT_EQ(readFile(path), "{\"a\":{\"k\":\"v\"},\"z\":1}\n");
    EXPECT_EQ(entries(), 1u);  // no temporary left behind
}

TEST_F(JsonFiles, writing_where_no_file_can_be_created_fails_cleanly) {
    writeFile(dir / "plain", "x");
    EXPECT_EQ(vela::saveJSONFile((dir / "plain" / "a.json").string(), json::object(), true),
              JSON_FILE_STATUS::UNWRITABLE);
    EXPECT_EQ(vela::saveJSONFile((dir / "no" / "such" / "dir.json").string(), json::object(), true),
              JSON_FILE_STATUS::UNWRITABLE);
    EXPECT_EQ(vela::saveJSONFile((dir / "bad.json").string(), json("\xff"), true),
              JSON_FILE_STATUS::UNWRITABLE);
    EXPECT_EQ(entries(), 1u);
}

TEST_F(JsonFiles, string_form_writes_only_text_that_does_not_parse) {
    const fs::path path = dir / "a.json";
    EXPECT_TRUE(vela::saveJSONFile(vela::String(path.string()), vela::String("{\"a\":1}"), true));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(vela::saveJSONFile(vela::String(path.string()), vela::String("{oops"), true));
    EXPECT_EQ(readFile(path), "null\n");
    EXPECT_FALSE(
        vela::saveJSONFile(vela::String((dir / "x" / "y.json").string()), vela::String("{oops"), false));
}

// A save cut short by a full disk, or by the process dying mid-write, leaves the previous file whole.
TEST_F(JsonFiles, interrupted_save_leaves_the_old_file_intact) {
    const fs::path path = dir / "config.json";
    writeFile(path, "{\"kept\":true}\n");
    const json large = json{{"data", std::string(1 << 16, 'x')}};
    for (const bool dies : {false, true}) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            // A file-size limit makes the write fail part-way: with EFBIG, or by SIGXFSZ killing the process.
            std::signal(SIGXFSZ, dies ? SIG_DFL : SIG_IGN);
            const rlimit limit{4096, 4096};
            ::setrlimit(RLIMIT_FSIZE, &limit);
            const JSON_FILE_STATUS status = vela::saveJSONFile(path.string(), large, false);
            std::_Exit(status == JSON_FILE_STATUS::UNWRITABLE ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        if (dies) {
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);
        } else {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the failed write must be reported";
            EXPECT_EQ(entries(), 1u) << "the temporary file is removed after a failed write";
        }
        EXPECT_EQ(readFile(path), "{\"kept\":true}\n");
    }
}

}  // namespace
