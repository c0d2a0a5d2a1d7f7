#pragma once
// Logging: named loggers, one global threshold, sinks for files and for the host.
//
// Priorities run from 0 (trace) to 4 (error). A record is written when its priority is at or
// above its logger's threshold; a logger without a threshold of its own follows the global one
// (LogFactory::getPriority). Files are opened lazily in the log directory, so a run that logs
// nothing leaves no file behind.

#include <functional>
#include <locale>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>

#include "qis/String.h"
#include "qis/Value.h"

namespace qis {

namespace LogPriority {
constexpr int Trace = 0;
constexpr int Debug = 1;
constexpr int Info = 2;
constexpr int Warning = 3;
constexpr int Error = 4;
} // namespace LogPriority

struct LogRecord {
    String category;
    int priority = LogPriority::Info;
    String text;
};

// A file named "<name>.log" in the log directory, appended to from any thread.
class LogFile {
public:
    explicit LogFile(String name) : name_(std::move(name)) {}
    const String& name() const { return name_; }
    void write(const LogRecord& record);
    String path() const;

private:
    String name_;
    std::mutex mutex_;
    std::unique_ptr<std::ostream> stream_;
    bool openFailed_ = false;
};

class LoggerStream;

class Logger {
public:
    explicit Logger(String category) : category_(std::move(category)) {}
    const String& category() const { return category_; }

    int getPriority() const;
    void setPriority(int priority) { ownPriority_ = priority; }
    bool isEnabled(int priority) const { return priority >= getPriority(); }

    void log(int priority, const String& text);
    void log(int priority, const LoggerStream& line);

    // Records of this logger go to this file instead of the default one.
    void setFile(std::shared_ptr<LogFile> file) { file_ = std::move(file); }

private:
    String category_;
    std::optional<int> ownPriority_;
    std::shared_ptr<LogFile> file_;
};

class LogFactory {
public:
    using Sink = std::function<void(const LogRecord&)>;

    // The same logger for the same category, for the life of the process.
    static void createLogger(const String& category, Logger** handle);

    static int getPriority();
    static void setPriority(int priority);

    static void setLogDirectory(const String& directory);
    static String logDirectory();
    // The file for loggers without one of their own; none until this is called.
    static void setDefaultLogFile(const String& name);

    // Sinks see every record that passes its logger's threshold (the host output, tests).
    static int addSink(Sink sink);
    static void removeSink(int id);

    // Told of each log file as it is first opened (or fails to open), with its path; empty for none.
    using FileWatcher = std::function<void(const String& path, bool opened)>;
    static FileWatcher setFileWatcher(FileWatcher watcher);

    static void dispatch(const Logger& logger, const std::shared_ptr<LogFile>& file, const LogRecord& record);
};

// Builds one log line that starts with the source line number and a blank.
class LoggerStream {
public:
    // The classic locale keeps numbers plain ("3125", not "3.125") whatever the host installed.
    explicit LoggerStream(int sourceLine) {
        text_.imbue(std::locale::classic());
        text_ << sourceLine << ' ';
    }
    LoggerStream& operator<<(const String& text) { text_ << text.utf8(); return *this; }
    LoggerStream& operator<<(const char* text) { text_ << (text ? text : ""); return *this; }
    LoggerStream& operator<<(const QISValue& value) { text_ << value.toString().utf8(); return *this; }
    String str() const { return String(text_.str()); }

private:
    std::ostringstream text_;
};

// Logs entry on construction and exit on destruction, so every return path is traced.
// A null logger makes it do nothing.
class TraceLogger {
public:
    TraceLogger(Logger* logger, const char* function, const char* sourceFile, int line);
    ~TraceLogger();
    TraceLogger(const TraceLogger&) = delete;
    TraceLogger& operator=(const TraceLogger&) = delete;

private:
    Logger* logger_;
    const char* function_;
};

} // namespace qis
