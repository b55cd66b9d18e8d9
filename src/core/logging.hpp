#pragma once

// The library's own logging: "{}" placeholders, level tested before any argument is touched.

#include <spdlog/logger.h>

#include <atomic>
#include <memory>
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

/// Sends a message to the logger `name`. A message below the logger's level costs one look-up and one
/// comparison: nothing is copied or formatted.
template <typename... Args>
void log(LOGGER_NAME name, LOG_LEVEL level, fmt::format_string<Args...> format, Args&&... args) {
    LoggerEntry* entry = TarnLogger::get_instance().find(name);
    if (entry == nullptr || entry->level.load(std::memory_order_relaxed) > static_cast<int32_t>(level))
        return;
    if (auto logger = std::atomic_load(&entry->logger)) {
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
