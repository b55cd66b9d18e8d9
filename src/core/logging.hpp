#pragma once

// The library's own logging: "{}" placeholders, level tested before any argument is touched.

#include <spdlog/logger.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>

#include "vela/core/logger.hpp"

namespace vela {
namespace detail {

struct LoggerEntry {
    /// Numeric LOG_LEVEL; read on every message, so kept apart from the logger itself.
    std::atomic<int32_t> level{static_cast<int32_t>(LOG_LEVEL::NONE)};
    /// Null until registered; read and replaced with the atomic shared_ptr functions.
    std::shared_ptr<spdlog::logger> logger;
};

spdlog::level::level_enum toBackendLevel(LOG_LEVEL level);

/// True on the back-end thread while a sink callback runs.
bool insideSinkCallback() noexcept;
/// Hands a message logged by a sink callback to `logger`'s sinks at once, on the calling (back-end) thread,
/// ahead of messages still queued; nested deliveries past a small depth are dropped.
void deliverFromCallback(spdlog::logger& logger, LOG_LEVEL level, const std::string& text) noexcept;

/// Sends a message to the logger `name`. A message below the logger's level costs one look-up and one
/// comparison: nothing is copied or formatted.
template <typename... Args>
void log(LOGGER_NAME name, LOG_LEVEL level, fmt::format_string<Args...> format, Args&&... args) {
    LoggerEntry* entry = TarnLogger::get_instance().find(name);
    if (entry == nullptr || entry->level.load(std::memory_order_relaxed) > static_cast<int32_t>(level))
        return;
    if (auto logger = std::atomic_load(&entry->logger)) {
        // A callback runs on the back-end thread, which must never wait for room in its own queue.
        if (insideSinkCallback()) {
            deliverFromCallback(*logger, level, fmt::format(format, std::forward<Args>(args)...));
            return;
        }
        logger->log(toBackendLevel(level), format, std::forward<Args>(args)...);
    }
}

/// An error-level message on the library's own logger.
template <typename... Args>
void logError(fmt::format_string<Args...> format, Args&&... args) {
    log(LOGGER_NAME::VELA, LOG_LEVEL::ERROR, format, std::forward<Args>(args)...);
}

}  // namespace detail
}  // namespace vela
