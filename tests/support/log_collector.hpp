#pragma once

// Error-level messages of the library's logger, for tests that check what an operation logs. Public
// interface only: GPU-path tests use it on the real runtime too.

#include <vela/vela.hpp>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vela {
namespace test {

/// Collects for as long as it lives, in place of the library logger's standard-error output; the default
/// logger comes back when it goes. Re-registering the logger elsewhere drops the collector's sink, so each
/// test makes its own.
class LogCollector {
  public:
    LogCollector() {
        TarnLogger& logger = TarnLogger::get_instance();
        logger.registerLogger(LOGGER_NAME::VELA, LOG_LEVEL::WARNING, false);
        logger.addCallbackSink(LOGGER_NAME::VELA, [this](LOG_LEVEL level, const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex);
            if (level == LOG_LEVEL::ERROR) messages.push_back(text);
        });
    }
    ~LogCollector() {
        TarnLogger::get_instance().flush();
        TarnLogger::get_instance().registerLogger(LOGGER_NAME::VELA, LOG_LEVEL::WARNING);
    }
    LogCollector(const LogCollector&) = delete;
    LogCollector& operator=(const LogCollector&) = delete;

    /// Everything logged at error level since the collector was made or last taken from.
    std::vector<std::string> take() {
        TarnLogger::get_instance().flush();
        std::lock_guard<std::mutex> lock(mutex);
        return std::exchange(messages, {});
    }

  private:
    std::mutex mutex;
    std::vector<std::string> messages;
};

}  // namespace test
}  // namespace vela
