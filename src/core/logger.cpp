#include <spdlog/async_logger.h>
#include <spdlog/details/thread_pool.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "core/logging.hpp"

namespace vela {
namespace detail {

spdlog::level::level_enum toBackendLevel(LOG_LEVEL level) {
    switch (level) {
        case LOG_LEVEL::TRACE:
            return spdlog::level::trace;
        case LOG_LEVEL::DEBUG:
            return spdlog::level::debug;
        case LOG_LEVEL::INFO:
            return spdlog::level::info;
        case LOG_LEVEL::WARNING:
            return spdlog::level::warn;
        case LOG_LEVEL::ERROR:
            return spdlog::level::err;
        case LOG_LEVEL::CRITICAL:
            return spdlog::level::critical;
        case LOG_LEVEL::NONE:
            return spdlog::level::off;
    }
    return spdlog::level::off;
}

namespace {

LOG_LEVEL fromBackendLevel(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::trace:
            return LOG_LEVEL::TRACE;
        case spdlog::level::debug:
            return LOG_LEVEL::DEBUG;
        case spdlog::level::info:
            return LOG_LEVEL::INFO;
        case spdlog::level::warn:
            return LOG_LEVEL::WARNING;
        case spdlog::level::err:
            return LOG_LEVEL::ERROR;
        case spdlog::level::critical:
            return LOG_LEVEL::CRITICAL;
        default:
            return LOG_LEVEL::NONE;
    }
}

// A sink that writes nothing and counts the flushes it has seen. The back end runs one thread over one
// queue, so when a flush posted after a message reaches this sink, that message has reached every sink.
class FlushBarrierSink final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    void waitFor(uint64_t count) {
        std::unique_lock<std::mutex> lock(countMutex);
        flushed.wait(lock, [&] { return flushCount >= count; });
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& /*msg*/) override {}
    // Notified under the lock: a waiter that wakes may go on to destroy the sink.
    void flush_() override {
        std::lock_guard<std::mutex> lock(countMutex);
        ++flushCount;
        flushed.notify_all();
    }

  private:
    std::mutex countMutex;
    std::condition_variable flushed;
    uint64_t flushCount = 0;
};

// Hands each message to a user callback, on the back-end thread.
class CallbackSink final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit CallbackSink(TarnLogger::Callback callback_) : callback(std::move(callback_)) {}

    // Messages already queued may still reach this sink after it is detached; they find no callback.
    void disable() {
        std::lock_guard<std::mutex> lock(mutex_);
        callback = nullptr;
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        if (callback)
            callback(fromBackendLevel(msg.level), std::string(msg.payload.data(), msg.payload.size()));
    }
    void flush_() override {}

  private:
    TarnLogger::Callback callback;
};

constexpr LOGGER_NAME kAllNames[] = {LOGGER_NAME::VELA,     LOGGER_NAME::CAPTURE, LOGGER_NAME::DEPTH,
                                     LOGGER_NAME::TRACKING, LOGGER_NAME::MAPPING, LOGGER_NAME::DETECTION,
                                     LOGGER_NAME::STREAMING};

constexpr size_t kQueueSize = 8192;
constexpr const char* kPattern = "[%Y-%m-%d %H:%M:%S.%e] [%l] %v";

}  // namespace
}  // namespace detail

struct TarnLogger::Impl {
    struct Backend {
        std::vector<spdlog::sink_ptr> sinks;  // the barrier first
        std::unordered_map<SinkId, spdlog::sink_ptr> added;
        std::shared_ptr<detail::FlushBarrierSink> barrier;
        std::shared_ptr<spdlog::async_logger> logger;
        uint64_t flushesPosted = 0;
    };

    // Every name has an entry from the start, so look-ups never change the map and need no lock.
    std::unordered_map<LOGGER_NAME, std::unique_ptr<detail::LoggerEntry>> entries;
    std::shared_ptr<spdlog::details::thread_pool> pool;
    std::mutex configMutex;  // serialises registration, sinks and flushes
    std::unordered_map<LOGGER_NAME, Backend> backends;
    SinkId nextSinkId = 1;

    // The back end reads a logger's sinks without locking, so a change of sinks builds a new logger and
    // publishes it; messages already queued finish on the old one.
    void publish(LOGGER_NAME name, Backend& backend) {
        backend.logger = std::make_shared<spdlog::async_logger>(
            "vela-" + std::to_string(static_cast<int>(name)), backend.sinks.begin(), backend.sinks.end(),
            pool, spdlog::async_overflow_policy::block);
        backend.logger->set_level(spdlog::level::trace);  // filtering happens in front, on the entry's level
        std::atomic_store(&entries.at(name)->logger, std::shared_ptr<spdlog::logger>(backend.logger));
    }

    SinkId addSink(LOGGER_NAME name, spdlog::sink_ptr sink) {
        std::lock_guard<std::mutex> lock(configMutex);
        const auto backend = backends.find(name);
        if (backend == backends.end()) return 0;
        const SinkId id = nextSinkId++;
        backend->second.added.emplace(id, sink);
        backend->second.sinks.push_back(std::move(sink));
        publish(name, backend->second);
        return id;
    }

    // A detached callback is never called again, even by messages queued before it was detached.
    static void detach(const spdlog::sink_ptr& sink) {
        if (auto callback = std::dynamic_pointer_cast<detail::CallbackSink>(sink)) callback->disable();
    }
};

TarnLogger::TarnLogger() : impl(std::make_unique<Impl>()) {
    for (LOGGER_NAME name : detail::kAllNames)
        impl->entries.emplace(name, std::make_unique<detail::LoggerEntry>());
    // Blocking on a full queue: no message is ever dropped.
    impl->pool = std::make_shared<spdlog::details::thread_pool>(detail::kQueueSize, 1);
    registerLogger(LOGGER_NAME::VELA, LOG_LEVEL::WARNING);
}

TarnLogger::~TarnLogger() {
    flush();
    impl->pool.reset();  // joins the back-end thread after it has drained the queue
    for (auto& named : impl->entries)
        std::atomic_store(&named.second->logger, {});
    impl->backends.clear();
}

TarnLogger& TarnLogger::get_instance() {
    static TarnLogger instance;
    return instance;
}

detail::LoggerEntry* TarnLogger::find(LOGGER_NAME name) const noexcept {
    const auto found = impl->entries.find(name);
    return found == impl->entries.end() ? nullptr : found->second.get();
}

void TarnLogger::registerLogger(LOGGER_NAME name, LOG_LEVEL level, bool toStandardError) {
    detail::LoggerEntry* entry = find(name);
    if (entry == nullptr) return;
    std::lock_guard<std::mutex> lock(impl->configMutex);
    Impl::Backend backend;
    backend.barrier = std::make_shared<detail::FlushBarrierSink>();
    backend.sinks.push_back(backend.barrier);
    if (toStandardError) {
        backend.sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
        backend.sinks.back()->set_pattern(detail::kPattern);
    }
    entry->level.store(static_cast<int32_t>(level), std::memory_order_relaxed);
    impl->publish(name, backend);
    const auto replaced = impl->backends.find(name);
    if (replaced != impl->backends.end()) {
        for (const auto& added : replaced->second.added)
            Impl::detach(added.second);
    }
    impl->backends[name] = std::move(backend);
}

bool TarnLogger::isRegistered(LOGGER_NAME name) const {
    const detail::LoggerEntry* entry = find(name);
    return entry != nullptr && std::atomic_load(&entry->logger) != nullptr;
}

void TarnLogger::setLevel(LOGGER_NAME name, LOG_LEVEL level) {
    if (!isRegistered(name)) return;
    find(name)->level.store(static_cast<int32_t>(level), std::memory_order_relaxed);
}

LOG_LEVEL TarnLogger::getLevel(LOGGER_NAME name) const {
    if (!isRegistered(name)) return LOG_LEVEL::NONE;
    return static_cast<LOG_LEVEL>(find(name)->level.load(std::memory_order_relaxed));
}

TarnLogger::SinkId TarnLogger::addFileSink(LOGGER_NAME name, const std::string& path) {
    spdlog::sink_ptr sink;
    try {
        sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path);
    } catch (const spdlog::spdlog_ex&) {
        return 0;
    }
    sink->set_pattern(detail::kPattern);
    return impl->addSink(name, std::move(sink));
}

TarnLogger::SinkId TarnLogger::addCallbackSink(LOGGER_NAME name, Callback callback) {
    if (!callback) return 0;
    return impl->addSink(name, std::make_shared<detail::CallbackSink>(std::move(callback)));
}

bool TarnLogger::removeSink(LOGGER_NAME name, SinkId sink) {
    std::lock_guard<std::mutex> lock(impl->configMutex);
    const auto backend = impl->backends.find(name);
    if (backend == impl->backends.end()) return false;
    Impl::Backend& owner = backend->second;
    const auto found = owner.added.find(sink);
    if (found == owner.added.end()) return false;
    Impl::detach(found->second);
    owner.sinks.erase(std::find(owner.sinks.begin(), owner.sinks.end(), found->second));
    owner.added.erase(found);
    impl->publish(name, owner);
    return true;
}

void TarnLogger::log(LOGGER_NAME name, LOG_LEVEL level, const std::string& message) {
    detail::log(name, level, "{}", message);
}

void TarnLogger::flush() {
    std::lock_guard<std::mutex> lock(impl->configMutex);
    for (auto& named : impl->backends) {
        Impl::Backend& backend = named.second;
        backend.logger->flush();
        backend.barrier->waitFor(++backend.flushesPosted);
    }
}

}  // namespace vela
