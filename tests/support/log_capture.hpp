#pragma once

// Collects what reaches one of the kit's loggers while it is alive; public interface only, so GPU-path tests
// can use it as well.

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "vela/core/logger.hpp"

namespace vela {
namespace test {

class LogCapture {
  public:
    using Message = std::pair<LOG_LEVEL, std::string>;

    /// Attaches to `name`, which must be registered, at `level` for as long as the capture lives.
    explicit LogCapture(LOGGER_NAME name_ = LOGGER_NAME::VELA, LOG_LEVEL level = LOG_LEVEL::WARNING)
        : name(name_), previousLevel(TarnLogger::get_instance().getLevel(name_)) {
        TarnLogger& logger = TarnLogger::get_instance();
        logger.setLevel(name, level);
        sink = logger.addCallbackSink(name, [this](LOG_LEVEL messageLevel, const std::string& text) {
            std::lock_guard<std::mutex> lock(mutex);
            messages.emplace_back(messageLevel, text);
        });
    }
    ~LogCapture() {
        TarnLogger::get_instance().removeSink(name, sink);
        TarnLogger::get_instance().setLevel(name, previousLevel);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// True when the capture is attached.
    bool attached() const { return sink != 0; }
    /// Every message since the last call, with its level, once all queued messages have been written.
    std::vector<Message> take() {
        TarnLogger::get_instance().flush();
        std::lock_guard<std::mutex> lock(mutex);
        return std::exchange(messages, {});
    }
    /// The texts of take().
    std::vector<std::string> texts() {
        std::vector<std::string> result;
        for (Message& message : take())
            result.push_back(std::move(message.second));
        return result;
    }

  private:
    const LOGGER_NAME name;
    const LOG_LEVEL previousLevel;
    TarnLogger::SinkId sink = 0;
    std::mutex mutex;
    std::vector<Message> messages;
};

}  // namespace test
}  // namespace vela
