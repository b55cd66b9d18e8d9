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

// True on the back-end thread while it runs a user callback.
thread_local bool insideCallback = false;
// How deep messages logged from callbacks are nested on this thread (see deliverFromCallback).
thread_local int callbackDepth = 0;

// Hands each message to a user callback, on the back-end thread. No lock is held while the callback runs, so
// that it may call back into the logger, its own removal included.
class CallbackSink final : public spdlog::sinks::sink {
  public:
    explicit CallbackSink(TarnLogger::Callback callback_)
        : callback(std::make_shared<TarnLogger::Callback>(std::move(callback_))) {}

    void log(const spdlog::details::log_msg& msg) override {
        std::shared_ptr<TarnLogger::Callback> call;
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (!callback) return;  // detached: messages queued before find no callback
            call = callback;
            ++running;
        }
        const bool outer = insideCallback;
        insideCallback = true;
        try {
            (*call)(fromBackendLevel(msg.level), std::string(msg.payload.data(), msg.payload.size()));
        } catch (...) {  // a callback's exception must not end the back-end thread
        }
        insideCallback = outer;
        call.reset();  // the last holder releases the callback here, outside the lock
        std::lock_guard<std::mutex> lock(mutex);
        --running;
        finished.notify_all();
    }
    void flush() override {}
    void set_pattern(const std::string& /*pattern*/) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

    // Once this returns the callback is never called again and no call of it is under way, except the one
    // this thread is inside, when a callback detaches a sink.
    void disable() {
        std::shared_ptr<TarnLogger::Callback> released;
        std::unique_lock<std::mutex> lock(mutex);
        released = std::move(callback);
        if (!insideCallback) finished.wait(lock, [&] { return running == 0; });
        lock.unlock();
    }

  private:
    std::mutex mutex;
    std::condition_variable finished;
    std::shared_ptr<TarnLogger::Callback> callback;
    int running = 0;
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
    std::unique_lock<std::mutex> lock(impl->configMutex);
    Impl::Backend backend;
    backend.barrier = std::make_shared<detail::FlushBarrierSink>();
    backend.sinks.push_back(backend.barrier);
    if (toStandardError) {
        backend.sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_mt>());
        backend.sinks.back()->set_pattern(detail::kPattern);
    }
    entry->level.store(static_cast<int32_t>(level), std::memory_order_relaxed);
    impl->publish(name, backend);
    std::vector<spdlog::sink_ptr> replaced;
    const auto previous = impl->backends.find(name);
    if (previous != impl->backends.end()) {
        for (const auto& added : previous->second.added)
            replaced.push_back(added.second);
    }
    impl->backends[name] = std::move(backend);
    lock.unlock();
    for (const spdlog::sink_ptr& sink : replaced)
        Impl::detach(sink);
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
    std::unique_lock<std::mutex> lock(impl->configMutex);
    const auto backend = impl->backends.find(name);
    if (backend == impl->backends.end()) return false;
    Impl::Backend& owner = backend->second;
    const auto found = owner.added.find(sink);
    if (found == owner.added.end()) return false;
    const spdlog::sink_ptr removed = found->second;
    owner.sinks.erase(std::find(owner.sinks.begin(), owner.sinks.end(), removed));
    owner.added.erase(found);
    impl->publish(name, owner);
    lock.unlock();
    // Detaching waits for a call under way, which may itself change sinks: not under the lock.
    Impl::detach(removed);
    return true;
}

void TarnLogger::log(LOGGER_NAME name, LOG_LEVEL level, const std::string& message) {
    detail::log(name, level, "{}", message);
}

void TarnLogger::flush() {
    // A callback runs on the back-end thread, which cannot wait for itself: what it has queued is written
    // after it returns.
    if (detail::insideCallback) return;
    struct Pending {
        std::shared_ptr<spdlog::async_logger> logger;
        std::shared_ptr<detail::FlushBarrierSink> barrier;
        uint64_t ticket;
    };
    std::vector<Pending> pending;
    {
        std::lock_guard<std::mutex> lock(impl->configMutex);
        for (auto& named : impl->backends)
            pending.push_back({named.second.logger, named.second.barrier, ++named.second.flushesPosted});
    }
    // Waited for without the lock, so that a callback may change sinks meanwhile.
    for (const Pending& each : pending) {
        each.logger->flush();
        each.barrier->waitFor(each.ticket);
    }
}

namespace detail {

bool insideSinkCallback() noexcept {
    return insideCallback;
}

void deliverFromCallback(spdlog::logger& logger, LOG_LEVEL level, const std::string& text) noexcept {
    // Each delivery may make a callback log again: past a few levels the message is dropped, so that two
    // callbacks that answer each other cannot recurse without end.
    constexpr int kMaxDepth = 4;
    if (callbackDepth >= kMaxDepth) return;
    ++callbackDepth;
    try {
        const spdlog::details::log_msg msg(logger.name(), toBackendLevel(level), text);
        for (const spdlog::sink_ptr& sink : logger.sinks())
            if (sink->should_log(msg.level)) sink->log(msg);
    } catch (...) {  // a sink's failure must not reach the callback that logged
    }
    --callbackDepth;
}

}  // namespace detail
}  // namespace vela
