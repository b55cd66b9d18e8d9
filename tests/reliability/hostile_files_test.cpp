// Small crafted files that once crashed or hung the readers: a header whose counts wrap the row size around,
// JSON nested far deeper than any configuration, and named pipes given as file names. Every case goes
// through the public readers only, so it holds whatever way a reader is written inside.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <functional>
#include <future>
#include <string>

#include "support/temp_dir.hpp"

namespace vela {
namespace {

void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

// A cloud that a failed read must leave exactly as it was.
Mat sentinelCloud() {
    Mat cloud(2, 1, MAT_TYPE::F32_C4, MEM::CPU);
    EXPECT_EQ(cloud.setTo(Vector4<float>(7.0f, 8.0f, 9.0f, 0.0f)), ERROR_CODE::SUCCESS);
    return cloud;
}

void expectSentinel(Mat& cloud) {
    ASSERT_TRUE(cloud.isInit());
    EXPECT_EQ(cloud.width, 2u);
    Vector4<float> value;
    EXPECT_EQ(cloud.getValue(1, 0, &value), ERROR_CODE::SUCCESS);
    EXPECT_EQ(value.z, 9.0f);
}

// A binary PCD of one point whose first fields have `counts` 4-byte values, then x, y and z.
std::string pcdWithCounts(const std::string& fields, const std::string& sizes, const std::string& types,
                          const std::string& counts) {
    std::string file = "VERSION 0.7\nFIELDS " + fields + " x y z\nSIZE " + sizes + " 4 4 4\nTYPE " + types +
                       " F F F\nCOUNT " + counts + " 1 1 1\nWIDTH 1\nHEIGHT 1\nPOINTS 1\nDATA binary\n";
    const float xyz[3] = {1.0f, 2.0f, 3.0f};
    file.append(reinterpret_cast<const char*>(xyz), sizeof xyz);
    return file;
}

TEST(HostileClouds, header_counts_that_wrap_the_row_size_are_refused) {
    test::TempDir dir;
    // 2^61 values of 4 bytes twice: 2^64 bytes, which wraps to 0, so the row seemed to be the 12 bytes of
    // x, y and z while x lay 2^63 bytes further on. A single field of 2^62 values wraps the same way and
    // once read x at the wrong place and reported success.
    const std::string cases[] = {
        pcdWithCounts("a b", "4 4", "F F", "2305843009213693952 2305843009213693952"),
        pcdWithCounts("a", "4", "F", "4611686018427387904"),
        pcdWithCounts("a", "8", "F", "2305843009213693953"),
        pcdWithCounts("a", "1", "U", "18446744073709551615"),
    };
    for (const std::string& content : cases) {
        const std::string path = dir.path("wrap.pcd");
        writeBytes(path, content);
        Mat cloud = sentinelCloud();
        EXPECT_EQ(readPointCloud(path.c_str(), cloud), ERROR_CODE::FAILURE) << content;
        expectSentinel(cloud);
    }
    // The same layout with honest counts reads.
    Mat cloud;
    std::string honest = pcdWithCounts("a", "4", "F", "1");
    honest.insert(honest.size() - 12, std::string(4, '\0'));
    writeBytes(dir.path("honest.pcd"), honest);
    ASSERT_EQ(readPointCloud(dir.path("honest.pcd").c_str(), cloud), ERROR_CODE::SUCCESS);
    Vector4<float> point;
    EXPECT_EQ(cloud.getValue(0, 0, &point), ERROR_CODE::SUCCESS);
    EXPECT_EQ(point.x, 1.0f);
    EXPECT_EQ(point.z, 3.0f);
}

// Runs `read` on another thread; if it has not returned within a few seconds it is blocked on the FIFO,
// which is then opened for writing and closed so that the read sees its end and the test can finish.
template <typename Result>
Result readWithoutBlocking(const std::string& fifo, std::function<Result()> read, Result blocked) {
    auto result = std::async(std::launch::async, read);
    if (result.wait_for(std::chrono::seconds(5)) == std::future_status::ready) return result.get();
    for (int i = 0; i < 100 && result.wait_for(std::chrono::milliseconds(10)) != std::future_status::ready;
         ++i) {
        const int fd = ::open(fifo.c_str(), O_WRONLY | O_NONBLOCK);
        if (fd >= 0) ::close(fd);
    }
    static_cast<void>(result.get());
    return blocked;
}

TEST(HostileFiles, readers_refuse_a_fifo_without_waiting_for_a_writer) {
    test::TempDir dir;
    const std::string fifo = dir.path("pipe.ply");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    Mat cloud = sentinelCloud();
    EXPECT_EQ(readWithoutBlocking<ERROR_CODE>(
                  fifo, [&] { return readPointCloud(fifo.c_str(), cloud); }, ERROR_CODE::NO_GPU_COMPATIBLE),
              ERROR_CODE::FAILURE);
    expectSentinel(cloud);
    Mat image = sentinelCloud();
    EXPECT_EQ(readWithoutBlocking<ERROR_CODE>(
                  fifo, [&] { return image.read(fifo.c_str()); }, ERROR_CODE::NO_GPU_COMPATIBLE),
              ERROR_CODE::FAILURE);
    expectSentinel(image);
    String text;
    EXPECT_EQ(readWithoutBlocking<JSON_FILE_STATUS>(
                  fifo, [&] { return loadJSONFile(fifo.c_str(), text); }, JSON_FILE_STATUS::SUCCESS),
              JSON_FILE_STATUS::UNREADABLE);
    CommunicationParameters parameters;
    EXPECT_FALSE(readWithoutBlocking<bool>(
        fifo, [&] { return parameters.load(fifo.c_str(), SERIALIZATION_FORMAT::JSON); }, true));
}

std::string nested(size_t depth, const std::string& inner = "0") {
    return std::string(depth, '[') + inner + std::string(depth, ']');
}

TEST(HostileJson, nesting_deeper_than_the_limit_is_a_parse_failure) {
    test::TempDir dir;
    const std::string deep = nested(100000);
    writeBytes(dir.path("deep.json"), deep);
    String text;
    EXPECT_EQ(loadJSONFile(dir.path("deep.json").c_str(), text), JSON_FILE_STATUS::INVALID_JSON);
    EXPECT_STREQ(text.c_str(), "null");

    // The record copies its member, which recursed once per level.
    CommunicationParameters parameters;
    parameters.setForLocalNetwork("10.0.0.2", 7);
    const std::string record = "{\"CommunicationParameters\": " + nested(100000, "{}") + "}";
    EXPECT_FALSE(parameters.decode(record.c_str(), SERIALIZATION_FORMAT::JSON));
    EXPECT_EQ(parameters.ip_port, 7);
    writeBytes(dir.path("record.json"), record);
    EXPECT_FALSE(parameters.load(dir.path("record.json").c_str(), SERIALIZATION_FORMAT::JSON));

    // The limit itself: objects and arrays count alike.
    writeBytes(dir.path("limit.json"), nested(kMaxJSONDepth - 1, "{\"a\":1}"));
    EXPECT_EQ(loadJSONFile(dir.path("limit.json").c_str(), text), JSON_FILE_STATUS::SUCCESS);
    writeBytes(dir.path("over.json"), nested(kMaxJSONDepth, "{\"a\":1}"));
    EXPECT_EQ(loadJSONFile(dir.path("over.json").c_str(), text), JSON_FILE_STATUS::INVALID_JSON);
}

}  // namespace
}  // namespace vela
