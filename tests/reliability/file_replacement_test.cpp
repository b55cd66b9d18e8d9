// Every writer of the library replaces a file only once the new one is complete: a full disk, a missing
// folder, a planted link, a second writer, a reader at the wrong moment or a target that is not a file
// never cost the old file, and a failure is never reported as success.

#include <gtest/gtest.h>

#include <vela/vela.hpp>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_dir.hpp"

namespace vela {
namespace {

using test::readFile;
using test::TempDir;

// Inputs large enough that every writer's file is some kilobytes.
struct Inputs {
    Mat image{64, 64, MAT_TYPE::U8_C3, MEM::CPU};
    Mat depth{64, 64, MAT_TYPE::F32_C1, MEM::CPU};
    Mat cloud{64, 16, MAT_TYPE::F32_C4, MEM::CPU};
    Inputs() {
        for (size_t y = 0; y < 64; ++y) {
            for (size_t x = 0; x < 64; ++x) {
                EXPECT_EQ(
                    image.setValue(x, y, Vector3<unsigned char>(x * 7 % 251, y * 13 % 241, (x ^ y) & 0xFF)),
                    ERROR_CODE::SUCCESS);
                EXPECT_EQ(depth.setValue(x, y, 0.25f * static_cast<float>(x + 64 * y)), ERROR_CODE::SUCCESS);
                if (y < 16) {
                    EXPECT_EQ(cloud.setValue(x, y, Vector4<float>(x * 0.5f, y * 0.25f, 1.0f + x, 0.0f)),
                              ERROR_CODE::SUCCESS);
                }
            }
        }
    }
};

struct Writer {
    const char* name;
    const char* file;  ///< the target's name, with the extension its writer would add
    std::function<bool(const Inputs&, const std::string&)> write;
};

std::vector<Writer> writers() {
    const auto image = [](const Inputs& in, const std::string& path) {
        return const_cast<Mat&>(in.image).write(path.c_str()) == ERROR_CODE::SUCCESS;
    };
    const auto depthAs = [](DEPTH_FORMAT format) {
        return [format](const Inputs& in, const std::string& path) {
            return saveDepthAs(in.depth, format, path.c_str(), 1.0f);
        };
    };
    const auto writeDepthAs = [](DEPTH_FORMAT format) {
        return [format](const Inputs& in, const std::string& path) {
            return writeDepth(in.depth, path.c_str(), format) == ERROR_CODE::SUCCESS;
        };
    };
    return {
        {"Mat::write png", "image.png", image},
        {"Mat::write jpg", "image.jpg", image},
        {"Mat::write bmp", "image.bmp", image},
        {"saveDepthAs png", "depth.png", depthAs(DEPTH_FORMAT::PNG)},
        {"saveDepthAs pgm", "depth.pgm", depthAs(DEPTH_FORMAT::PGM)},
        {"saveDepthAs pfm", "depth.pfm", depthAs(DEPTH_FORMAT::PFM)},
        {"writeDepth pfm", "depth.pfm", writeDepthAs(DEPTH_FORMAT::PFM)},
        {"writeDepth png", "depth.png", writeDepthAs(DEPTH_FORMAT::PNG)},
        {"savePointCloudAs ply", "cloud.ply",
         [](const Inputs& in, const std::string& path) {
             return savePointCloudAs(in.cloud, POINT_CLOUD_FORMAT::PLY, path.c_str(), true);
         }},
        {"writePointCloud pcd", "cloud.pcd",
         [](const Inputs& in, const std::string& path) {
             return writePointCloud(in.cloud, path.c_str(), POINT_CLOUD_FORMAT::PCD) == ERROR_CODE::SUCCESS;
         }},
        {"CommunicationParameters::save", "link.json",
         [](const Inputs&, const std::string& path) {
             CommunicationParameters parameters;
             parameters.setForLocalNetwork(std::string(400, '1'), 30000);
             return parameters.save(path.c_str(), SERIALIZATION_FORMAT::JSON);
         }},
    };
}

// Regular files may grow to at most `bytes` while it lives, as on a disk with that much room left: a write
// past that fails with EFBIG (its signal ignored).
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved);
        previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limited = saved;
        limited.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previousHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

  private:
    rlimit saved{};
    void (*previousHandler)(int) = nullptr;
};

void writeBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

mode_t modeOf(const std::string& path) {
    struct stat info {};
    ::stat(path.c_str(), &info);
    return info.st_mode & 07777;
}

TEST(FileReplacement, a_failed_write_leaves_the_old_file_and_a_replaced_one_keeps_its_mode) {
    const Inputs inputs;
    for (const Writer& writer : writers()) {
        SCOPED_TRACE(writer.name);
        TempDir dir;
        const std::string path = dir.path(writer.file);
        writeBytes(path, "old");
        bool written = true;
        {
            const FileSizeLimit fullDisk(256);
            written = writer.write(inputs, path);
        }
        EXPECT_FALSE(written);
        EXPECT_EQ(readFile(path), "old");
        // A folder that does not exist: nothing is written anywhere, and that is a failure too.
        EXPECT_FALSE(writer.write(inputs, dir.path("missing/") + writer.file));
        EXPECT_EQ(dir.names(), std::vector<std::string>{writer.file});

        ASSERT_TRUE(writer.write(inputs, dir.path(std::string("fresh_") + writer.file)));
        ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
        ASSERT_TRUE(writer.write(inputs, path));
        EXPECT_EQ(modeOf(path), 0640u);
        EXPECT_EQ(readFile(path), readFile(dir.path(std::string("fresh_") + writer.file)));
        EXPECT_EQ(dir.names().size(), 2u) << "no temporary remains";
    }
}

// Drains a FIFO on its own thread until finish() is called and no writer holds it open any more.
class FifoReader {
  public:
    explicit FifoReader(const std::string& path) : fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK)) {
        thread = std::thread([this] {
            char buffer[4096];
            for (;;) {
                const bool last = finished.load();
                const ssize_t got = ::read(fd, buffer, sizeof buffer);
                if (got > 0)
                    received.append(buffer, static_cast<size_t>(got));
                else if (last && got == 0)
                    break;
                else
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    }
    /// Everything written before this call.
    std::string finish() {
        finished = true;
        thread.join();
        ::close(fd);
        return received;
    }

  private:
    int fd;
    std::atomic<bool> finished{false};
    std::thread thread;
    std::string received;
};

bool isFifo(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode);
}

TEST(FileReplacement, a_fifo_or_a_link_to_one_is_written_in_place_never_replaced) {
    const Inputs inputs;
    for (const Writer& writer : writers()) {
        SCOPED_TRACE(writer.name);
        TempDir dir;
        ASSERT_TRUE(writer.write(inputs, dir.path(std::string("fresh_") + writer.file)));
        const std::string expected = readFile(dir.path(std::string("fresh_") + writer.file));
        // A FIFO that nobody reads is refused rather than waited on.
        const std::string fifo = dir.path(writer.file);
        ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
        EXPECT_FALSE(writer.write(inputs, fifo));
        EXPECT_TRUE(isFifo(fifo));
        // With a reader, the bytes go through it; a link to it stays a link.
        const std::string link = dir.path(std::string("link_") + writer.file);
        ASSERT_EQ(::symlink(fifo.c_str(), link.c_str()), 0);
        FifoReader reader(fifo);
        EXPECT_TRUE(writer.write(inputs, link));
        EXPECT_EQ(reader.finish(), expected);
        EXPECT_TRUE(isFifo(fifo));
        struct stat info {};
        ASSERT_EQ(::lstat(link.c_str(), &info), 0);
        EXPECT_TRUE(S_ISLNK(info.st_mode));
        EXPECT_EQ(dir.names().size(), 3u);
    }
}

TEST(FileReplacement, a_link_planted_at_the_point_cloud_temporary_name_is_never_followed) {
    const Inputs inputs;
    TempDir dir;
    const std::string victim = dir.path("victim.txt");
    writeBytes(victim, "precious");
    ASSERT_EQ(::symlink(victim.c_str(), dir.path("cloud.ply_tmp0.txt").c_str()), 0);
    ASSERT_TRUE(savePointCloudAs(inputs.cloud, POINT_CLOUD_FORMAT::PLY, dir.path("cloud").c_str(), true));
    EXPECT_TRUE(readFile(victim) == "precious") << "the link was followed";
    EXPECT_EQ(readFile(dir.path("cloud.ply")).substr(0, 4), "ply\n");
    EXPECT_EQ(dir.names(), (std::vector<std::string>{"cloud.ply", "cloud.ply_tmp0.txt", "victim.txt"}));
}

TEST(FileReplacement, two_writers_of_one_target_end_with_one_complete_file_thread) {
    Inputs inputs;
    Mat other;
    EXPECT_EQ(inputs.cloud.copyTo(other), ERROR_CODE::SUCCESS);
    EXPECT_EQ(other.setTo(Vector4<float>(-1.0f, -2.0f, -3.0f, 0.0f)), ERROR_CODE::SUCCESS);
    TempDir dir;
    ASSERT_TRUE(savePointCloudAs(inputs.cloud, POINT_CLOUD_FORMAT::PCD, dir.path("a").c_str(), false));
    ASSERT_TRUE(savePointCloudAs(other, POINT_CLOUD_FORMAT::PCD, dir.path("b").c_str(), false));
    const std::string first = readFile(dir.path("a.pcd"));
    const std::string second = readFile(dir.path("b.pcd"));
    const std::string target = dir.path("both.pcd");
    std::atomic<int> failures{0};
    const auto writeMany = [&](const Mat& cloud) {
        for (int i = 0; i < 40; ++i)
            if (!savePointCloudAs(cloud, POINT_CLOUD_FORMAT::PCD, target.c_str(), false)) ++failures;
    };
    std::thread one(writeMany, std::cref(inputs.cloud));
    std::thread two(writeMany, std::cref(other));
    one.join();
    two.join();
    EXPECT_EQ(failures.load(), 0);
    const std::string result = readFile(target);
    EXPECT_TRUE(result == first || result == second);
    EXPECT_EQ(dir.names(), (std::vector<std::string>{"a.pcd", "b.pcd", "both.pcd"}));
}

// Not run under the thread sanitizer: the image codecs report a lock-order warning inside a third-party
// codec library on first use, and the race checked here is in the file system, not in memory.
TEST(FileReplacement, a_reader_always_finds_a_file_while_it_is_replaced) {
    const Inputs inputs;
    for (const Writer& writer : writers()) {
        SCOPED_TRACE(writer.name);
        TempDir dir;
        const std::string path = dir.path(writer.file);
        ASSERT_TRUE(writer.write(inputs, path));
        std::atomic<bool> done{false};
        std::atomic<int> missing{0};
        std::thread reader([&] {
            while (!done.load()) {
                const int fd = ::open(path.c_str(), O_RDONLY);
                if (fd < 0)
                    ++missing;
                else
                    ::close(fd);
            }
        });
        for (int i = 0; i < 60; ++i)
            writer.write(inputs, path);
        done = true;
        reader.join();
        EXPECT_EQ(missing.load(), 0);
    }
}

}  // namespace
}  // namespace vela
