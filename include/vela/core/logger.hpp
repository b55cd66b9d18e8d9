#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vela/core/export.hpp"

namespace vela {

/// The kit's named loggers. The library itself logs under VELA (value 0).
enum class LOGGER_NAME : int32_t {
    VELA = 0,
    CAPTURE = 1,
    DEPTH = 2,
    TRACKING = 3,
    MAPPING = 4,
    DETECTION = 5,
    STREAMING = 6,
};

/// Message levels, numbered as the logging back end counts them; a logger emits a message when its own
/// level is at or below the message's level.
enum class LOG_LEVEL : int32_t {
    TRACE = 2,
    DEBUG = 3,
    INFO = 4,
    WARNING = 5,
    ERROR = 6,
    CRITICAL = 7,
    NONE = 9,  ///< as a logger level: emit nothing
};

namespace detail {
struct LoggerEntry;
}

/// Process-wide registry of named loggers with asynchronous delivery: a message that passes its logger's
/// level is formatted on the calling thread and written by one back-end thread, in order.
/// The VELA logger is registered at first use, writing to standard error at WARNING.
///
/// The queue holds 8192 messages; a thread that logs while it is full waits for room, so no message is
/// dropped. A sink callback may call any member of the registry: a message it logs is handed to that
/// logger's sinks at once on the back-end thread, ahead of messages still queued, so it never waits for the
/// queue (nested past four levels, as when two callbacks answer each other, it is dropped); flush() from a
/// callback returns at once; removeSink() from a callback takes effect at once.
class VELA_API TarnLogger {
  public:
    /// Receives each emitted message's level and text, on the back-end thread.
    using Callback = std::function<void(LOG_LEVEL, const std::string&)>;

    /// The one registry, created on first use (thread-safe) and destroyed at process exit.
    static TarnLogger& get_instance();

    TarnLogger(const TarnLogger&) = delete;
    TarnLogger& operator=(const TarnLogger&) = delete;

    /// Creates or replaces the logger `name` at `level`, writing to standard error when asked.
    void registerLogger(LOGGER_NAME name, LOG_LEVEL level, bool toStandardError = true);
    /// True when `name` has a logger.
    bool isRegistered(LOGGER_NAME name) const;
    /// Sets the level of a registered logger; does nothing for an unregistered one.
    void setLevel(LOGGER_NAME name, LOG_LEVEL level);
    /// Level of the logger `name`; NONE when it is not registered.
    LOG_LEVEL getLevel(LOGGER_NAME name) const;
    /// Identifies a sink added to a logger; 0 means none was added.
    using SinkId = uint64_t;

    /// Appends the logger's messages to the file at `path`; 0 when the file cannot be opened or the
    /// logger is not registered.
    SinkId addFileSink(LOGGER_NAME name, const std::string& path);
    /// Hands the logger's messages to `callback`; 0 when the logger is not registered.
    SinkId addCallbackSink(LOGGER_NAME name, Callback callback);
    /// Detaches a sink; once this returns, a callback sink is never called again and no call of it is under
    /// way (unless this is called from that very call). False when `sink` is not attached to `name`.
    bool removeSink(LOGGER_NAME name, SinkId sink);
    /// Queues an already formatted message when it passes the logger's level.
    void log(LOGGER_NAME name, LOG_LEVEL level, const std::string& message);
    /// Blocks until every message queued so far has reached all sinks; from a sink callback, returns at once.
    void flush();

    /// The logger entry for `name`, or null when there is none; the entry lives as long as the registry.
    detail::LoggerEntry* find(LOGGER_NAME name) const noexcept;

  private:
    TarnLogger();
    ~TarnLogger();

    struct Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace vela
