#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <stdexcept>
#include <string>
#include <vector>

#include "qis/Log.h"

namespace fs = std::filesystem;
namespace Priority = qis::LogPriority;

namespace {

// Groups thousands the way many user locales do ("3.125").
struct GroupingPunct : std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

void tracedScan(qis::Logger* logger, bool fail) {
    qis::TraceLogger trace(logger, "tracedScan", "Scan.cpp", 17);
    if (fail) throw std::runtime_error("no signal");
}

qis::Logger* logger(const char* category) {
    qis::Logger* handle = nullptr;
    qis::LogFactory::createLogger(category, &handle);
    return handle;
}

} // namespace

// Loggers live as long as the process, so each test uses categories of its own.
class Logging : public ::testing::Test {
protected:
    void TearDown() override {
        qis::LogFactory::removeSink(sinkId_);
        qis::LogFactory::setPriority(savedPriority_);
    }

    std::vector<qis::LogRecord> records_;
    const int savedPriority_ = qis::LogFactory::getPriority();
    const int sinkId_ = qis::LogFactory::addSink([this](const qis::LogRecord& r) { records_.push_back(r); });
};

TEST_F(Logging, StreamLineStartsWithSourceLineAndBlankInAnyLocale) {
    EXPECT_EQ((qis::LoggerStream(3125) << "text").str(), "3125 text");
    logger("Logging.Stream")->log(Priority::Error, qis::LoggerStream(42) << "hr=" << -2147024809);
    ASSERT_EQ(records_.size(), 1u);
    EXPECT_EQ(records_[0].text, "42 hr=-2147024809");

    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new GroupingPunct));
    const qis::String line = (qis::LoggerStream(3125) << "text").str();
    std::locale::global(previous);
    EXPECT_EQ(line, "3125 text");
}

TEST_F(Logging, SameCategoryGivesTheSameLogger) {
    EXPECT_EQ(logger("Logging.Same"), logger("Logging.Same"));
    EXPECT_NE(logger("Logging.Same"), logger("Logging.same"));
}

TEST_F(Logging, RecordsBelowThresholdAreDroppedAndOwnPriorityOverridesGlobal) {
    qis::LogFactory::setPriority(Priority::Warning);
    qis::Logger* verbose = logger("Logging.Threshold.Verbose");
    qis::Logger* quiet = logger("Logging.Threshold.Quiet");
    verbose->setPriority(Priority::Debug);
    quiet->setPriority(Priority::Error);
    for (qis::Logger* log : {logger("Logging.Threshold.Global"), verbose, quiet}) {
        log->log(Priority::Debug, log->category() + " debug");
        log->log(Priority::Warning, log->category() + " warning");
    }
    ASSERT_EQ(records_.size(), 3u);
    EXPECT_EQ(records_[0].text, "Logging.Threshold.Global warning");
    EXPECT_EQ(records_[1].text, "Logging.Threshold.Verbose debug");
    EXPECT_EQ(records_[2].text, "Logging.Threshold.Verbose warning");
}

TEST_F(Logging, SinkReceivesCategoryPriorityAndTextUntilRemoved) {
    std::vector<qis::LogRecord> seen;
    const int id = qis::LogFactory::addSink([&seen](const qis::LogRecord& record) { seen.push_back(record); });
    logger("Logging.Sink")->log(Priority::Error, "tuned 88.0 MHz");
    qis::LogFactory::removeSink(id);
    logger("Logging.Sink")->log(Priority::Error, "after removal");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].category, "Logging.Sink");
    EXPECT_EQ(seen[0].priority, Priority::Error);
    EXPECT_EQ(seen[0].text, "tuned 88.0 MHz");
    EXPECT_EQ(records_.size(), 2u); // the other sink is unaffected
}

TEST_F(Logging, TraceLoggerRecordsEntryAndExitOnEveryPath) {
    qis::Logger* log = logger("Logging.Trace");
    log->setPriority(Priority::Trace);
    tracedScan(log, false);
    EXPECT_THROW(tracedScan(log, true), std::runtime_error);
    ASSERT_EQ(records_.size(), 4u);
    for (std::size_t i = 0; i < records_.size(); ++i) {
        EXPECT_EQ(records_[i].priority, Priority::Trace);
        EXPECT_TRUE(records_[i].text.startsWith(i % 2 == 0 ? "Entering" : "Leaving")) << records_[i].text;
    }
    EXPECT_TRUE(records_[0].text.contains("tracedScan (Scan.cpp:17)")) << records_[0].text;
    records_.clear();
    tracedScan(nullptr, false);
    EXPECT_THROW(tracedScan(nullptr, true), std::runtime_error);
    EXPECT_TRUE(records_.empty());
}

TEST_F(Logging, DefaultFileIsCreatedInLogDirectoryOnlyWhenSomethingIsLogged) {
    const fs::path dir = fs::temp_directory_path() /
                         ("qis-log-" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
    ASSERT_TRUE(fs::create_directories(dir));
    const std::u8string dirText = dir.u8string();
    qis::LogFactory::setLogDirectory(std::string(dirText.begin(), dirText.end()));
    qis::LogFactory::setDefaultLogFile("lazy");
    qis::LogFactory::setPriority(Priority::Info);

    logger("Logging.File")->log(Priority::Debug, "below threshold");
    EXPECT_FALSE(fs::exists(dir / "lazy.log"));
    logger("Logging.File")->log(Priority::Error, "tuner 2 lost lock");
    std::ifstream in(dir / "lazy.log");
    const std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(content.find("Logging.File: tuner 2 lost lock"), std::string::npos) << content;
    EXPECT_EQ(content.find("below threshold"), std::string::npos) << content;

    // The default file cannot be switched off. A fresh one closes ours (Windows keeps open files)
    // and, with its directory gone, sends later tests' records nowhere instead of the working dir.
    in.close();
    qis::LogFactory::setDefaultLogFile("lazy");
    std::error_code ignored;
    fs::remove_all(dir, ignored);
}
