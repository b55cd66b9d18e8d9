#include <gtest/gtest.h>

#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "serialization/json_file.hpp"
#include "support/temp_dir.hpp"

namespace {

namespace fs = std::filesystem;
using vela::json;
using vela::JSON_FILE_STATUS;

std::string readFile(const fs::path& path) {
    return vela::test::readFile(path.string());
}

void writeFile(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

class JsonFiles : public ::testing::Test {
  protected:
    size_t entries() const { return temp.names().size(); }

    vela::test::TempDir temp;
    const fs::path dir{temp.path("")};
};

// getString strips the quotes of strings only (escapes stay as written in JSON); get reports type errors
// only when verbose; both leave the output alone on failure.
TEST(JsonMembers, getString_and_get_read_members_of_objects_only) {
    const json object = json::parse(R"({"a":"a","digit":5,"quoted":"say \"hi\"","nested":{"k":[1,2]},
                                        "one":"\"","port":"80"})");
    std::string out = "unchanged";
    for (const auto& [key, text] : {std::pair<const char*, const char*>{"a", "a"},
                                    {"digit", "5"},
                                    {"quoted", R"(say \"hi\")"},
                                    {"nested", R"({"k":[1,2]})"},
                                    {"one", R"(\")"}}) {
        EXPECT_TRUE(vela::getString(object, key, out, false)) << key;
        EXPECT_EQ(out, text);
    }
    out = "unchanged";
    EXPECT_FALSE(vela::getString(object, "A", out, true));  // keys compare exactly
    EXPECT_FALSE(vela::getString(json::array({1}), "a", out, true));
    EXPECT_EQ(out, "unchanged");

    json member;
    ASSERT_TRUE(vela::get(object, "nested", member, false));
    EXPECT_EQ(member, json::parse(R"({"k":[1,2]})"));
    int port = 7;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(vela::get(json::array({1, 2}), "0", member, true));
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

// The string forms: a load gives compact text with sorted keys and no ASCII escaping ("null" on failure);
// a save writes only text that does not parse.
TEST_F(JsonFiles, string_forms_load_compact_text_and_save_only_text_that_does_not_parse) {
    writeFile(dir / "good.json", "{ \"b\" : [1, \"\xC2\xB0\"],\n \"a\": {} }");
    vela::String text;
    EXPECT_EQ(vela::loadJSONFile(vela::String((dir / "good.json").string()), text),
              JSON_FILE_STATUS::SUCCESS);
    EXPECT_EQ(text, "{\"a\":{},\"b\":[1,\"\xC2\xB0\"]}");
    EXPECT_EQ(vela::loadJSONFile(vela::String((dir / "none.json").string()), text),
              JSON_FILE_STATUS::NOT_FOUND);
    EXPECT_EQ(text, "null");

    const fs::path path = dir / "a.json";
    EXPECT_TRUE(vela::saveJSONFile(vela::String(path.string()), vela::String("{\"a\":1}"), true));
    EXPECT_FALSE(fs::exists(path));
    EXPECT_TRUE(vela::saveJSONFile(vela::String(path.string()), vela::String("{oops"), true));
    EXPECT_EQ(readFile(path), "null\n");
    EXPECT_FALSE(
        vela::saveJSONFile(vela::String((dir / "x" / "y.json").string()), vela::String("{oops"), false));
}

// A save cut short by the process dying mid-write (a file-size limit whose signal kills it) leaves the
// previous file whole.
TEST_F(JsonFiles, interrupted_save_leaves_the_old_file_intact) {
    const fs::path path = dir / "config.json";
    writeFile(path, "{\"kept\":true}\n");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_DFL);
        const rlimit limit{4096, 4096};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        vela::saveJSONFile(path.string(), json{{"data", std::string(1 << 16, 'x')}}, false);
        std::_Exit(1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);
    EXPECT_EQ(readFile(path), "{\"kept\":true}\n");
}

// Runs `attempt` in a child process without root's privileges (as user nobody when the tests run as root,
// whom permissions do not stop) and returns its exit code: 77 when those privileges could not be dropped.
int exitCodeUnprivileged(const std::function<bool()>& attempt) {
    const pid_t child = ::fork();
    if (child == 0) {
        constexpr uid_t kNobody = 65534;
        if (::geteuid() == 0 &&
            (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0))
            std::_Exit(77);
        std::_Exit(attempt() ? 0 : 1);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

TEST_F(JsonFiles, a_folder_without_write_permission_keeps_its_files) {
    const fs::path locked = dir / "locked";
    fs::create_directory(locked);
    writeFile(locked / "config.json", "{\"kept\":true}\n");
    writeFile(locked / "secret.json", "{}");
    fs::permissions(locked / "secret.json", fs::perms::owner_read | fs::perms::owner_write);
    fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                                fs::perms::others_exec);
    fs::permissions(dir, fs::perms::owner_all | fs::perms::others_exec);
    const int result = exitCodeUnprivileged([&] {
        json document;
        return vela::saveJSONFile((locked / "config.json").string(), json{{"new", 1}}, true) ==
                   JSON_FILE_STATUS::UNWRITABLE &&
               vela::loadJSONFile((locked / "secret.json").string(), document) ==
                   JSON_FILE_STATUS::UNREADABLE;
    });
    fs::permissions(locked, fs::perms::owner_all);
    if (result == 77) GTEST_SKIP() << "running as root without the means to drop to user nobody";
    EXPECT_EQ(result, 0) << "the save must fail as UNWRITABLE and the read as UNREADABLE";
    EXPECT_EQ(readFile(locked / "config.json"), "{\"kept\":true}\n");
    EXPECT_EQ(std::distance(fs::directory_iterator(locked), {}), 2) << "no temporary is left";
}

// Writing to /dev/full fails with ENOSPC, as on a full disk. A device has no contents to keep, so it is
// written in place: renaming a temporary over it would put a plain file where the device was.
TEST_F(JsonFiles, a_full_disk_fails_the_save_and_a_device_stays_a_device) {
    struct stat info {};
    for (const char* device : {"/dev/full", "/dev/null", "/dev/zero"}) {
        if (::stat(device, &info) != 0 || !S_ISCHR(info.st_mode)) GTEST_SKIP() << "no " << device << " here";
    }
    const auto temporaries = [] {
        size_t count = 0;
        for (const fs::directory_entry& entry : fs::directory_iterator("/dev"))
            count += entry.path().filename().string().find(".tmp") != std::string::npos;
        return count;
    };
    const size_t before = temporaries();
    const json document{{"data", std::string(1 << 16, 'x')}};
    EXPECT_EQ(vela::saveJSONFile("/dev/full", document, false), JSON_FILE_STATUS::UNWRITABLE);
    EXPECT_EQ(vela::saveJSONFile("/dev/null", document, false), JSON_FILE_STATUS::SUCCESS);
    for (const char* device : {"/dev/full", "/dev/null"}) {
        ASSERT_EQ(::stat(device, &info), 0);
        EXPECT_TRUE(S_ISCHR(info.st_mode)) << device << " was replaced";
    }
    EXPECT_EQ(temporaries(), before);
    json read = json::object();
    EXPECT_EQ(vela::loadJSONFile("/dev/zero", read), JSON_FILE_STATUS::UNREADABLE) << "it never ends";
    EXPECT_TRUE(read.is_null());
}

// Pipes are covered with every writer by the file-replacement tests.
TEST_F(JsonFiles, a_directory_at_the_path_is_neither_replaced_nor_read) {
    fs::create_directory(dir / "folder.json");
    EXPECT_EQ(vela::saveJSONFile((dir / "folder.json").string(), json{{"a", 1}}, false),
              JSON_FILE_STATUS::UNWRITABLE);
    json document = json::object();
    EXPECT_EQ(vela::loadJSONFile((dir / "folder.json").string(), document), JSON_FILE_STATUS::UNREADABLE);
    EXPECT_TRUE(document.is_null());
    EXPECT_TRUE(fs::is_directory(dir / "folder.json") && fs::is_empty(dir / "folder.json"));
    EXPECT_EQ(entries(), 1u);
}

TEST_F(JsonFiles, saving_through_a_link_replaces_the_file_it_names_and_keeps_its_permissions) {
    const fs::perms ownerOnly = fs::perms::owner_read | fs::perms::owner_write;
    writeFile(dir / "real.json", "old");
    fs::permissions(dir / "real.json", ownerOnly);
    fs::create_symlink("real.json", dir / "link.json");
    ASSERT_EQ(vela::saveJSONFile((dir / "link.json").string(), json{{"a", 1}}, false),
              JSON_FILE_STATUS::SUCCESS);
    EXPECT_TRUE(fs::is_symlink(dir / "link.json"));
    EXPECT_EQ(readFile(dir / "real.json"), "{\"a\":1}\n");
    EXPECT_EQ(fs::status(dir / "real.json").permissions(), ownerOnly);
    EXPECT_EQ(entries(), 2u);
}

}  // namespace
