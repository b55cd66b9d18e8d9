#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/logging.hpp"
#include "support/log_capture.hpp"
#include "support/temp_dir.hpp"

namespace {

using vela::LOG_LEVEL;
using vela::LOGGER_NAME;
using vela::TarnLogger;

// An argument that counts how often it is copied and formatted.
struct Witness {
    static inline std::atomic<int> copies{0};
    static inline std::atomic<int> formats{0};
    Witness() = default;
    Witness(const Witness& /*other*/) { ++copies; }
    Witness& operator=(const Witness&) = delete;
};

}  // namespace

template <>
struct fmt::formatter<Witness> : fmt::formatter<std::string_view> {
    auto format(const Witness& /*witness*/, fmt::format_context& ctx) const {
        ++Witness::formats;
        return fmt::formatter<std::string_view>::format("witness", ctx);
    }
};

namespace {

// Collects what reaches a logger that writes nowhere else.
class CapturedLogger : public ::testing::Test {
  protected:
    static constexpr LOGGER_NAME kName = LOGGER_NAME::DEPTH;

    static void SetUpTestSuite() {
        TarnLogger::get_instance().registerLogger(kName, LOG_LEVEL::WARNING, false);
    }
    void SetUp() override {
        ASSERT_TRUE(capture.attached());
        Witness::copies = 0;
        Witness::formats = 0;
    }
    std::vector<vela::test::LogCapture::Message> drain() { return capture.take(); }

    vela::test::LogCapture capture{kName, LOG_LEVEL::WARNING};
};

TEST_F(CapturedLogger, filtered_message_is_neither_copied_nor_formatted) {
    const Witness witness;
    vela::detail::log(kName, LOG_LEVEL::DEBUG, "{} {}", "[Mat] ", witness);
    EXPECT_EQ(Witness::formats, 0);
    EXPECT_EQ(Witness::copies, 0);
    EXPECT_TRUE(drain().empty());

    vela::detail::log(kName, LOG_LEVEL::ERROR, "{} {} for {}", "[Mat] ", witness, 3);
    EXPECT_EQ(Witness::formats, 1);
    EXPECT_EQ(Witness::copies, 0);
    EXPECT_EQ(drain(),
              (std::vector<vela::test::LogCapture::Message>{{LOG_LEVEL::ERROR, "[Mat]  witness for 3"}}));
}

TEST_F(CapturedLogger, a_logger_emits_its_own_level_and_above) {
    TarnLogger& logger = TarnLogger::get_instance();
    logger.setLevel(kName, LOG_LEVEL::WARNING);
    EXPECT_EQ(logger.getLevel(kName), LOG_LEVEL::WARNING);
    for (LOG_LEVEL level : {LOG_LEVEL::DEBUG, LOG_LEVEL::INFO, LOG_LEVEL::WARNING, LOG_LEVEL::ERROR}) {
        logger.log(kName, level, "message");
    }
    const auto messages = drain();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0].first, LOG_LEVEL::WARNING);
    EXPECT_EQ(messages[1].first, LOG_LEVEL::ERROR);

    logger.setLevel(kName, LOG_LEVEL::NONE);
    logger.log(kName, LOG_LEVEL::CRITICAL, "message");
    EXPECT_TRUE(drain().empty());
}

TEST_F(CapturedLogger, messages_from_many_threads_all_arrive) {
    constexpr int kThreads = 4;
    constexpr int kPerThread = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kPerThread; ++i)
                vela::detail::log(kName, LOG_LEVEL::ERROR, "{} {}", t, i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(drain().size(), static_cast<size_t>(kThreads * kPerThread));
}

TEST_F(CapturedLogger, file_sink_receives_the_formatted_line) {
    const vela::test::TempDir dir;
    ASSERT_TRUE(TarnLogger::get_instance().addFileSink(kName, dir.path("log")));
    vela::detail::log(kName, LOG_LEVEL::ERROR, "{} in {} : {}", "[Mat] ", "write", "boom");
    drain();
    const std::string content = vela::test::readFile(dir.path("log"));
    EXPECT_NE(content.find("[error] [Mat]  in write : boom\n"), std::string::npos) << content;
}

TEST_F(CapturedLogger, removed_sinks_are_never_called_again) {
    TarnLogger& logger = TarnLogger::get_instance();
    std::atomic<int> calls{0};
    const TarnLogger::SinkId sink =
        logger.addCallbackSink(kName, [&calls](LOG_LEVEL, const std::string&) { ++calls; });
    ASSERT_NE(sink, 0u);
    logger.log(kName, LOG_LEVEL::ERROR, "before");
    logger.flush();
    EXPECT_EQ(calls, 1);
    for (int i = 0; i < 100; ++i)
        logger.log(kName, LOG_LEVEL::ERROR, "queued");
    EXPECT_TRUE(logger.removeSink(kName, sink));  // messages still queued do not reach it
    const int seen = calls;
    logger.log(kName, LOG_LEVEL::ERROR, "after");
    logger.flush();
    EXPECT_EQ(calls, seen);
    EXPECT_FALSE(logger.removeSink(kName, sink));
    EXPECT_EQ(drain().size(), 102u);  // the other sinks saw everything
}

// Runs `body` on its own thread and fails the test if it has not finished within a generous time: the logger
// has deadlocked, and the process is ended rather than left hanging.
void finishesInTime(const std::function<void()>& body) {
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> finished = done->get_future();
    std::thread([body, done] {
        body();
        done->set_value();
    }).detach();
    if (finished.wait_for(std::chrono::seconds(60)) != std::future_status::ready) {
        ADD_FAILURE() << "deadlocked";
        std::fflush(nullptr);
        std::_Exit(1);
    }
}

TEST_F(CapturedLogger, a_callback_may_flush_log_and_remove_its_own_sink) {
    TarnLogger& logger = TarnLogger::get_instance();
    finishesInTime([&] {
        std::atomic<int> calls{0};
        std::atomic<TarnLogger::SinkId> self{0};
        const TarnLogger::SinkId sink =
            logger.addCallbackSink(kName, [&](LOG_LEVEL, const std::string& text) {
                ++calls;
                logger.flush();  // returns at once: the back end cannot wait for itself
                if (text == "ping") logger.log(kName, LOG_LEVEL::ERROR, "pong");
                if (text == "remove") {
                    EXPECT_TRUE(logger.removeSink(kName, self));
                }
            });
        self = sink;
        logger.log(kName, LOG_LEVEL::ERROR, "ping");
        logger.log(kName, LOG_LEVEL::ERROR, "remove");
        logger.log(kName, LOG_LEVEL::ERROR, "after");
        logger.flush();
        EXPECT_EQ(calls, 3) << "ping, then pong delivered at once, then remove";
        EXPECT_FALSE(logger.removeSink(kName, sink));
    });
    std::vector<std::string> texts;
    for (const auto& message : drain())
        texts.push_back(message.second);
    EXPECT_EQ(texts, (std::vector<std::string>{"ping", "pong", "remove", "after"}));
}

TEST_F(CapturedLogger, a_burst_larger_than_the_queue_through_a_forwarding_callback_arrives_whole_thread) {
    TarnLogger& logger = TarnLogger::get_instance();
    logger.registerLogger(LOGGER_NAME::MAPPING, LOG_LEVEL::WARNING, false);
    vela::test::LogCapture forwarded(LOGGER_NAME::MAPPING, LOG_LEVEL::WARNING);
    constexpr int kMessages = 30000;  // several times the queue
    finishesInTime([&] {
        const TarnLogger::SinkId sink =
            logger.addCallbackSink(kName, [&](LOG_LEVEL level, const std::string& text) {
                logger.log(LOGGER_NAME::MAPPING, level, "forwarded " + text);
            });
        std::thread other([&] {
            for (int i = 0; i < kMessages / 2; ++i)
                logger.log(kName, LOG_LEVEL::ERROR, "burst");
        });
        for (int i = 0; i < kMessages / 2; ++i)
            logger.log(kName, LOG_LEVEL::ERROR, "burst");
        other.join();
        logger.flush();
        logger.removeSink(kName, sink);
    });
    EXPECT_EQ(drain().size(), static_cast<size_t>(kMessages));
    EXPECT_EQ(forwarded.take().size(), static_cast<size_t>(kMessages));
}

TEST(TarnLogger, library_logger_is_registered_at_warning_and_unknown_names_log_nothing) {
    TarnLogger& logger = TarnLogger::get_instance();
    EXPECT_EQ(&logger, &TarnLogger::get_instance());
    EXPECT_TRUE(logger.isRegistered(LOGGER_NAME::VELA));
    EXPECT_EQ(logger.getLevel(LOGGER_NAME::VELA), LOG_LEVEL::WARNING);
    EXPECT_EQ(static_cast<int>(LOG_LEVEL::WARNING), 5);  // the back end's numbering

    EXPECT_FALSE(logger.isRegistered(LOGGER_NAME::STREAMING));
    logger.setLevel(LOGGER_NAME::STREAMING, LOG_LEVEL::DEBUG);
    EXPECT_EQ(logger.getLevel(LOGGER_NAME::STREAMING), LOG_LEVEL::NONE);
    EXPECT_FALSE(logger.addCallbackSink(LOGGER_NAME::STREAMING, [](LOG_LEVEL, const std::string&) {}));
    logger.log(LOGGER_NAME::STREAMING, LOG_LEVEL::CRITICAL, "dropped");

    const auto unknown = static_cast<LOGGER_NAME>(99);
    EXPECT_EQ(logger.find(unknown), nullptr);
    vela::detail::log(unknown, LOG_LEVEL::CRITICAL, "{}", "dropped");
    EXPECT_FALSE(logger.isRegistered(unknown));
}

}  // namespace
