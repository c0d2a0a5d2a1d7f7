#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qis/Log.h"
#include "tunekit/TunerLogger.h"

namespace tunekit {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class TunerLog : public ::testing::Test {
protected:
    void SetUp() override {
        directory_ = std::filesystem::temp_directory_path() / (std::string("tunerlog-") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(directory_);
        std::filesystem::create_directories(directory_);
        qis::LogFactory::setLogDirectory(directory_.string());
        previousPriority_ = qis::LogFactory::getPriority();
        sink_ = qis::LogFactory::addSink([this](const qis::LogRecord& r) { records_.push_back(r); });
    }
    void TearDown() override {
        qis::LogFactory::removeSink(sink_);
        qis::LogFactory::setPriority(previousPriority_);
        qis::LogFactory::setLogDirectory(".");
    }
    std::filesystem::path directory_;
    std::vector<qis::LogRecord> records_;
    int previousPriority_ = 0;
    int sink_ = 0;
};

TEST_F(TunerLog, MessagesGoToTheNamedFileWithTheirPrioritiesAndDebugOnlyBelowTheDefaultLevel) {
    qis::LogFactory::setPriority(qis::LogPriority::Info);
    TunerLogger::logToFile("quietTest");
    TunerLogger::logDebugMessage("not wanted");
    EXPECT_TRUE(records_.empty());
    EXPECT_FALSE(std::filesystem::exists(directory_ / "quietTest.log")) << "no file is created for dropped lines";

    qis::LogFactory::setPriority(qis::LogPriority::Trace);
    TunerLogger::logToFile("tunerTest");
    TunerLogger::logDebugMessage("Adding filter");
    TunerLogger::logInfoMessage("Graph built");
    TunerLogger::logErrorMessage("Run failed");
    ASSERT_EQ(records_.size(), 3u);
    EXPECT_EQ(records_[0].category, "tunerTest");
    EXPECT_EQ(records_[0].priority, qis::LogPriority::Debug);
    EXPECT_EQ(records_[1].priority, qis::LogPriority::Info);
    EXPECT_EQ(records_[2].priority, qis::LogPriority::Error);
    const std::string text{std::istreambuf_iterator<char>(std::ifstream(directory_ / "tunerTest.log").rdbuf()), std::istreambuf_iterator<char>()};
    EXPECT_THAT(text, AllOf(HasSubstr("Adding filter"), HasSubstr("Run failed")));
}

} // namespace
} // namespace tunekit
