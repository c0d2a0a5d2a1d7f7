// One test run as the host sees it: refused inputs, what the running test reports, and prompts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

#include "mirt5/DiagModule.h"
#include "mirt5/Localization.h"
#include "mirt5/RecordingReporter.h"
#include "qis/Exception.h"
#include "qis/Log.h"
#include "qis/System.h"

using namespace mirt5;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace mirt5 {
static void PrintTo(const TestResult& result, std::ostream* out) { *out << result.name(); }
} // namespace mirt5

namespace {

// Every registered test runs this entry; each case scripts what the test does.
std::atomic<int> g_entered{0};
std::function<TestResult()> g_script;

TestResult scripted(const DiagDevice&) {
    ++g_entered;
    return g_script ? g_script() : TestResult::PASS();
}

// Registered once: the catalogue lives for the whole process.
Parameter* const g_channel = DiagModule::createParameter("RunChannel", DataType::UINT32(), "5", false, true);
Parameter* const g_verbose = DiagModule::createParameter("RunVerbose", DataType::BOOLEAN(), "", true, false);
Event* const g_noSignal = DiagModule::createEvent("RunNoSignal");
LocalizedString* const g_tuning = DiagModule::createLocalizedString("RunTuning");
const bool g_registered = [] {
    DiagModule::createTest("RunTune", DeviceCapability::VideoCapture() | DeviceCapability::AnalogTVTuner(), scripted)
        ->addParameter(g_channel);
    DiagModule::createTest("RunScan", DeviceCapability::VideoCapture(), scripted)
        ->addParameter(DiagModule::createParameter("RunGain", DataType::DOUBLE(), "1.0", false, true));
    DiagModule::createTest("RunRadio", DeviceCapability::AnalogFMRadioTuner(), scripted);
    return true;
}();

class Runs : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(g_registered);
        g_entered = 0;
        g_script = nullptr;
        Localization::set({{"RunNoSignal", "No signal on channel {channel}"}},
                          {{"RunTuning", "Tuning to {frequency} MHz"}});
    }
    void TearDown() override { g_script = nullptr; }

    static RunRequest tune(const char* channel = "7") {
        RunRequest request{"RunTune", tunerCard(), {}, {}};
        request.parameters.emplace_back("RunChannel", channel);
        return request;
    }
    static DiagDevice tunerCard() {
        return DiagDevice("Card A", "", DeviceCapability::AnalogTVTuner() | DeviceCapability::VideoCapture());
    }
    TestResult run(const RunRequest& request, LineSource* input = nullptr) {
        return DiagModule::run(request, recorded, input);
    }

    RecordingReporter recorded;
};

using RunChecks = Runs;

TEST_F(RunChecks, EachRefusedInputIsNamedAndTheTestNeverStarts) {
    using Spoil = std::function<void(RunRequest&)>;
    const std::vector<std::pair<Spoil, std::vector<std::string>>> cases = {
        {[](RunRequest& r) { r.test = "RunTunne"; }, {"RunTunne"}},
        {[](RunRequest& r) { r.parameters.emplace_back("RunChanel", "3"); }, {"RunChanel"}},
        {[](RunRequest& r) { r.parameters.emplace_back("RunGain", "2"); }, {"RunGain"}},
        {[](RunRequest& r) { r.parameters.clear(); }, {"RunChannel"}},
        {[](RunRequest& r) { r.parameters.emplace_back("RunChannel", "8"); }, {"RunChannel"}},
        {[](RunRequest& r) { r = tune("abc"); }, {"RunChannel", "abc"}},
        {[](RunRequest& r) { r = tune("4294967296"); }, {"RunChannel", "4294967296"}},
        {[](RunRequest& r) { r = tune(""); }, {"RunChannel"}},
        {[](RunRequest& r) { r.test = "RunRadio"; }, {"RunRadio", "AnalogFMRadioTuner"}},
        {[](RunRequest& r) { r.answers = {"retry", "maybe"}; }, {"maybe"}},
    };
    for (const auto& [spoil, culprits] : cases) {
        RunRequest request = tune();
        spoil(request);
        std::string why = "(accepted)";
        try {
            run(request);
        } catch (const UsageError& e) {
            why = e.what();
        }
        for (const auto& culprit : culprits) EXPECT_THAT(why, HasSubstr(culprit));
    }
    EXPECT_EQ(g_entered, 0);
}

TEST_F(Runs, AModuleWideParameterMayBeGivenToAnyTestAndIsOptional) {
    std::optional<bool> verbose;
    g_script = [&] {
        verbose = g_verbose->value().valueBool();
        return TestResult::PASS();
    };
    run(RunRequest{"RunScan", tunerCard(), {{"RunGain", "2"}, {"RunVerbose", "on"}}, {}});
    EXPECT_EQ(verbose, true);
    run(RunRequest{"RunScan", tunerCard(), {{"RunGain", "2"}}, {}});
    EXPECT_EQ(verbose, false) << "a value from the last run must not leak into this one";
}

TEST_F(Runs, WhatTheEntryRaisesOnAThreadOfItsOwnReachesTheReporter) {
    std::thread::id entryThread;
    g_script = [&] {
        entryThread = std::this_thread::get_id();
        g_noSignal->setVariable("channel", Value(g_channel->value().valueUint32()));
        DiagModule::warning(g_noSignal, "Tune.cpp", 42);
        DiagModule::error(g_noSignal, "Tune.cpp", 43);
        DiagModule::percentDone(100);
        DiagModule::resetPercentDone();
        DiagModule::percentDone(30);
        g_tuning->setVariable("frequency", Value(88.5));
        DiagModule::progress(g_tuning);
        return TestResult::NOSIGNAL();
    };
    EXPECT_EQ(run(tune("21")), TestResult::NOSIGNAL());
    EXPECT_EQ(recorded.result, TestResult::NOSIGNAL());
    EXPECT_NE(entryThread, std::this_thread::get_id());
    ASSERT_EQ(recorded.events.size(), 2u);
    const RecordedEvent& warning = recorded.events[0];
    EXPECT_EQ(warning.severity, Severity::Warning);
    EXPECT_EQ(warning.key, "RunNoSignal");
    EXPECT_EQ(warning.text, "No signal on channel 21");
    EXPECT_EQ(warning.variables, (Variables{{"channel", "21"}}));
    EXPECT_EQ(warning.file, "Tune.cpp");
    EXPECT_EQ(warning.line, 42);
    EXPECT_EQ(recorded.events[1].severity, Severity::Error);
    EXPECT_THAT(recorded.percents, ElementsAre(100, -1, 30));
    ASSERT_EQ(recorded.progressLines.size(), 1u);
    EXPECT_EQ(recorded.progressLines[0].text, "Tuning to 88.5 MHz");
    EXPECT_EQ(recorded.progressLines[0].variables, (Variables{{"frequency", "88.5"}}));
}

TEST_F(Runs, AFoundationExceptionEndsTheRunAbnormallyAndIsThrownOnAnyOtherIsAnInternalError) {
    g_script = []() -> TestResult { throw qis::Exception("tuner lost lock"); };
    EXPECT_THROW(run(tune()), qis::Exception);
    EXPECT_EQ(recorded.result, TestResult::EXITEDABNORMALLY());
    EXPECT_EQ(recorded.finishDetail, "tuner lost lock");
    g_script = []() -> TestResult { throw std::runtime_error("filter graph broke"); };
    EXPECT_EQ(run(tune()), TestResult::INTERNALERROR());
    EXPECT_EQ(recorded.result, TestResult::INTERNALERROR());
    EXPECT_THAT(recorded.finishDetail.utf8(), HasSubstr("filter graph broke"));
}

TEST_F(Runs, CheckForStopTurnsTrueOnARequestAndIsClearedForTheNextRun) {
    std::atomic<bool> polling{false};
    g_script = [&] {
        polling = true;
        for (int i = 0; i < 5000; ++i, std::this_thread::sleep_for(1ms)) // bounded: a lost stop fails, not hangs
            if (DiagModule::checkForStop()) return TestResult::USERABORTED();
        return TestResult::FAIL();
    };
    std::thread host([&] {
        while (!polling) std::this_thread::yield();
        DiagModule::requestStop();
    });
    EXPECT_EQ(run(tune()), TestResult::USERABORTED());
    polling = true;
    host.join();

    g_script = [] { return DiagModule::checkForStop() ? TestResult::USERABORTED() : TestResult::PASS(); };
    EXPECT_EQ(run(tune()), TestResult::PASS());
}

TEST_F(Runs, LogRecordsReachTheReporterFromTheThresholdUpAndOnlyDuringTheRun) {
    qis::Logger* logger = nullptr;
    qis::LogFactory::createLogger("mirt5.RunTest", &logger);
    const int previous = qis::LogFactory::getPriority();
    qis::LogFactory::setPriority(qis::LogPriority::Info);
    g_script = [logger] {
        logger->log(qis::LogPriority::Debug, "tuner registers");
        logger->log(qis::LogPriority::Warning, "weak signal");
        return TestResult::PASS();
    };
    run(tune());
    logger->log(qis::LogPriority::Error, "after the run");
    qis::LogFactory::setPriority(previous);
    std::vector<qis::String> texts;
    for (const auto& record : recorded.logs)
        if (record.category == "mirt5.RunTest") texts.push_back(record.text);
    EXPECT_THAT(texts, ElementsAre("weak signal"));
}

// Stands for the console or a host on standard input.
struct Lines final : LineSource {
    Lines(std::function<std::optional<qis::String>()> source, bool typed) : next(std::move(source)), console(typed) {}
    std::optional<qis::String> nextLine(std::chrono::milliseconds) override { return next(); }
    bool isConsole() const override { return console; }
    std::function<std::optional<qis::String>()> next;
    bool console;
};

class Prompts : public Runs {
protected:
    // Runs a test that asks `count` times; gives back the answers and where they came from.
    std::vector<int> ask(const RunRequest& request, int count, unsigned long timeoutMs, bool timeoutEnabled,
                         LineSource* input = nullptr, MessageBox::Callback callback = nullptr) {
        std::vector<int> codes;
        g_script = [&] {
            for (int i = 0; i < count; ++i)
                codes.push_back(DiagModule::createMessageBox(
                    MessageBox::TypeRetrySkipCancel, "Connect the antenna", "Antenna", MessageBox::OptionDefaultFirst,
                    MessageBox::LookWarning, nullptr, callback, nullptr, timeoutMs, 100, timeoutEnabled));
            return TestResult::PASS();
        };
        const std::size_t earlier = recorded.answers.size();
        run(request, input);
        sources.clear();
        for (std::size_t i = earlier; i < recorded.answers.size(); ++i) sources.push_back(recorded.answers[i].source);
        return codes;
    }
    std::vector<qis::String> sources;
};

TEST_F(Prompts, PreAnswersAreUsedInOrderOnePerPrompt) {
    RunRequest request = tune();
    request.answers = {"skip", "timeout", "140"};
    EXPECT_THAT(ask(request, 3, 0, false),
                ElementsAre(MessageBox::AnswerSkip, MessageBox::AnswerTimeout, MessageBox::AnswerRetry));
    EXPECT_THAT(sources, ElementsAre("answer", "answer", "answer"));
    ASSERT_EQ(recorded.prompts.size(), 3u);
    EXPECT_EQ(recorded.prompts[2].id, 3);
    EXPECT_EQ(recorded.prompts[2].title, "Antenna");
    EXPECT_EQ(recorded.prompts[2].text, "Connect the antenna");
}

TEST_F(Prompts, AnUnansweredBoxTimesOutOnTheFrameworkClockOrIsCancelledWithoutTimeOut) {
    qis::VirtualClock clock;
    const qis::ScopedClock virtualTime(clock);
    const auto wallStart = std::chrono::steady_clock::now();
    EXPECT_THAT(ask(tune(), 1, 30000, true), ElementsAre(MessageBox::AnswerTimeout));
    EXPECT_LT(std::chrono::steady_clock::now() - wallStart, 2s);
    EXPECT_GE(clock.elapsed(), 30s);
    EXPECT_THAT(sources, ElementsAre("timeout"));
    EXPECT_EQ(recorded.prompts.at(0).timeoutMs, 30000u);

    EXPECT_THAT(ask(tune(), 1, 30000, false), ElementsAre(MessageBox::AnswerCancel))
        << "without a time-out and with nobody to answer, the box closes at once";
    EXPECT_EQ(recorded.prompts.at(1).timeoutMs, 0u);
}

TEST_F(Prompts, AStopRequestOrTheCallbackCancelsAnOpenBox) {
    int calls = 0; // the host sends a stop, then "ok" so that a box ignoring the stop cannot hang
    Lines host([&]() -> std::optional<qis::String> {
        if (calls++ > 0) return qis::String("ok");
        DiagModule::requestStop();
        return std::nullopt;
    }, false);
    EXPECT_THAT(ask(tune(), 1, 0, false, &host), ElementsAre(MessageBox::AnswerCancel));
    EXPECT_THAT(sources, ElementsAre("stop"));

    qis::VirtualClock clock;
    const qis::ScopedClock virtualTime(clock);
    const MessageBox::Callback close = [](void*) { return true; };
    EXPECT_THAT(ask(tune(), 1, 30000, true, nullptr, close), ElementsAre(MessageBox::AnswerCancel));
    EXPECT_THAT(sources, ElementsAre("stop"));
}

TEST_F(Prompts, AnAnsweredLineSaysWhetherAPersonOrAProgramAnswered) {
    Lines console([n = 0]() mutable { return std::optional<qis::String>(n++ == 0 ? "what?" : " s "); }, true);
    EXPECT_THAT(ask(tune(), 1, 0, false, &console), ElementsAre(MessageBox::AnswerSkip)) << "a line that is no answer is skipped";
    EXPECT_THAT(sources, ElementsAre("console"));
    Lines host([] { return std::optional<qis::String>("retry"); }, false);
    EXPECT_THAT(ask(tune(), 1, 0, false, &host), ElementsAre(MessageBox::AnswerRetry));
    EXPECT_THAT(sources, ElementsAre("host"));
}

TEST_F(Prompts, AModulesOwnPromptTakesTheNextAnswerInsideARunAndReadsWordsAsOkOrCancel) {
    Prompt dialog;
    dialog.kind = "countryDialog";
    dialog.title = "Country";
    EXPECT_EQ(DiagModule::takeAnswer(dialog, 1, 0), std::nullopt) << "outside a run nobody has answered";

    RunRequest request = tune();
    request.answers = {"retry", "220", "ok", "skip", "150"};
    std::vector<std::optional<int>> codes;
    g_script = [&] {
        codes.push_back(DiagModule::createMessageBox(MessageBox::TypeRetrySkipCancel, "Connect the antenna", "Antenna",
                                                     MessageBox::OptionDefaultFirst, MessageBox::LookWarning, nullptr,
                                                     nullptr, nullptr, 0, 100, false));
        for (int i = 0; i < 5; ++i) codes.push_back(DiagModule::takeAnswer(dialog, 1, 0));
        return TestResult::PASS();
    };
    run(request);
    EXPECT_THAT(codes, ElementsAre(MessageBox::AnswerRetry, 220, 1, 0, 150, std::nullopt))
        << "numbers pass as they are, \"ok\" confirms, other words cancel; with none left the module asks itself";
    ASSERT_EQ(recorded.prompts.size(), 5u);
    EXPECT_EQ(recorded.prompts[1].id, 2) << "one count of prompt ids for boxes and the module's own prompts";
    EXPECT_EQ(recorded.prompts[1].kind, "countryDialog");
    EXPECT_EQ(recorded.prompts[1].title, "Country");
    EXPECT_EQ(recorded.answers[1].code, 220);
    EXPECT_EQ(recorded.answers[1].source, "answer");
}

} // namespace
