#include "qis/Log.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <atomic>

#include "qis/FileSystem.h"

namespace qis {
namespace {

struct LogState {
    std::mutex mutex;
    std::map<String, std::unique_ptr<Logger>> loggers;
    std::map<int, LogFactory::Sink> sinks;
    int nextSinkId = 1;
    String directory = ".";
    std::shared_ptr<LogFile> defaultFile;
    LogFactory::FileWatcher fileWatcher;
};

LogState& state() {
    static LogState* instance = new LogState; // never destroyed: loggers outlive static destructors
    return *instance;
}

std::atomic<int> g_priority{LogPriority::Info};

String timestamp() {
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm parts{};
#ifdef _WIN32
    localtime_s(&parts, &seconds);
#else
    localtime_r(&seconds, &parts);
#endif
    std::ostringstream out;
    out << std::put_time(&parts, "%Y-%m-%d %H:%M:%S");
    return String(out.str());
}

} // namespace

String LogFile::path() const { return LogFactory::logDirectory() + "/" + name_ + ".log"; }

void LogFile::write(const LogRecord& record) {
    std::lock_guard lock(mutex_);
    if (!stream_ && !openFailed_) {
        auto file = std::make_unique<std::ofstream>(FileSystem::toPath(path()), std::ios::app);
        if (*file) stream_ = std::move(file);
        else openFailed_ = true; // a log that cannot be written must not stop a test
        LogFactory::FileWatcher watcher;
        {
            std::lock_guard stateLock(state().mutex);
            watcher = state().fileWatcher;
        }
        if (watcher) watcher(path(), stream_ != nullptr);
    }
    if (!stream_) return;
    *stream_ << timestamp() << ' ' << record.priority << ' ' << record.category << ": " << record.text << '\n';
    stream_->flush();
}

int Logger::getPriority() const { return ownPriority_ ? *ownPriority_ : LogFactory::getPriority(); }

void Logger::log(int priority, const String& text) {
    if (!isEnabled(priority)) return;
    LogFactory::dispatch(*this, file_, LogRecord{category_, priority, text});
}

void Logger::log(int priority, const LoggerStream& line) { log(priority, line.str()); }

LogFactory::FileWatcher LogFactory::setFileWatcher(FileWatcher watcher) {
    LogState& s = state();
    std::lock_guard lock(s.mutex);
    std::swap(s.fileWatcher, watcher);
    return watcher;
}

void LogFactory::createLogger(const String& category, Logger** handle) {
    LogState& s = state();
    std::lock_guard lock(s.mutex);
    auto& slot = s.loggers[category];
    if (!slot) slot = std::make_unique<Logger>(category);
    *handle = slot.get();
}

int LogFactory::getPriority() { return g_priority.load(); }
void LogFactory::setPriority(int priority) { g_priority = priority; }

void LogFactory::setLogDirectory(const String& directory) {
    std::lock_guard lock(state().mutex);
    state().directory = directory.isEmpty() ? String(".") : directory;
}

String LogFactory::logDirectory() {
    std::lock_guard lock(state().mutex);
    return state().directory;
}

void LogFactory::setDefaultLogFile(const String& name) {
    std::lock_guard lock(state().mutex);
    state().defaultFile = std::make_shared<LogFile>(name);
}

int LogFactory::addSink(Sink sink) {
    std::lock_guard lock(state().mutex);
    const int id = state().nextSinkId++;
    state().sinks[id] = std::move(sink);
    return id;
}

void LogFactory::removeSink(int id) {
    std::lock_guard lock(state().mutex);
    state().sinks.erase(id);
}

void LogFactory::dispatch(const Logger&, const std::shared_ptr<LogFile>& file, const LogRecord& record) {
    std::shared_ptr<LogFile> target;
    std::vector<Sink> sinks;
    {
        std::lock_guard lock(state().mutex);
        target = file ? file : state().defaultFile;
        for (auto& [id, sink] : state().sinks) sinks.push_back(sink);
    }
    if (target) target->write(record);
    for (auto& sink : sinks) sink(record);
}

TraceLogger::TraceLogger(Logger* logger, const char* function, const char* sourceFile, int line)
    : logger_(logger), function_(function) {
    if (logger_)
        logger_->log(LogPriority::Trace, String("Entering ") + function_ + " (" + sourceFile + ":" + String::number(line) + ")");
}

TraceLogger::~TraceLogger() {
    if (logger_) logger_->log(LogPriority::Trace, String("Leaving ") + function_);
}

} // namespace qis
