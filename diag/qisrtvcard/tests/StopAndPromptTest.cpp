// A stop request at every point where a test reports something, and every prompt answered every
// way: each must give the result the design states, promptly.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
#include "frame/TestEntries.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using mirt5::TestResult;

using testing::RunCase;

// What one run showed: its result, how many progress lines, percents and prompts it reported,
// how many progress lines came after the stop (-1: no stop), and how many tunings it made.
struct Seen {
    TestResult result = TestResult::TESTNOTSTARTED();
    int progressLines = 0, percents = 0, prompts = 0, progressAfterStop = -1;
    std::size_t tuneRequests = 0;
};

// Runs `c` with `cableAnswer` and raises a stop at the given progress line, percent or prompt (-1: none).
Seen runCase(const RunCase& c, const qis::String& cableAnswer, int stopAtProgress, int stopAtPercent, int stopAtPrompt = -1) {
    testing::Probe probe;
    probe.answers = {cableAnswer};
    Seen seen;
    const auto stopAt = [&](int at, int count) {
        if (at != count || seen.progressAfterStop >= 0) return;
        seen.progressAfterStop = 0;
        mirt5::DiagModule::requestStop();
    };
    probe.onProgress = [&](const qis::String&) {
        if (seen.progressAfterStop >= 0) ++seen.progressAfterStop;
        stopAt(stopAtProgress, seen.progressLines++);
    };
    probe.onPercent = [&](int) { stopAt(stopAtPercent, seen.percents++); };
    probe.onPrompt = [&] { stopAt(stopAtPrompt, seen.prompts++); };
    testing::runCase(c, probe, [&] { seen.result = probe.run(c.entry); }, [&](const testing::SimulatedSystem&) {
        seen.tuneRequests = testing::journalArguments("*", "put_TuneRequest").size() + testing::journalArguments("*", "put_Channel").size();
    });
    return seen;
}

// Scans without a signal on these ranges, so that they run to their end and ask about the cable.
const RunCase kScans[] = {
    {"TVSignalTest", "hybrid", AnalogTVSignalTest, {{"TVStartChannel", "30"}, {"TVEndChannel", "32"}}, {}},
    {"FMRadioTest", "hybrid", FMRadioSignalTest, {{"FMRadioStartChannel", "100.0"}, {"FMRadioEndChannel", "100.8"}}, {}},
    {"DigitalTVSignalTest", "atsc", DigitalTVSignalTest, {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "22"}}, {}},
    {"DigitalTVSignalTest", "ocur", DigitalTVSignalTest, {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "22"}}, {"ok"}},
    {"DigitalTVSignalTest", "dvbt", DigitalTVSignalTest, {}, {"31"}},
    {"ClearQAMTest", "atsc", ClearQAMTest, {}, {}}, // it finds its picture on 80-3
};

class StopEverywhere : public ::testing::TestWithParam<RunCase> {
protected:
    void SetUp() override { QIS_REQUIRE(testing::haveDisplay(), "a display (run under xvfb-run)"); }
};
// The cable prompt of each scan that has one, answered each way.
using PromptMatrix = StopEverywhere;

TEST_P(StopEverywhere, AStopAtAnyReportEndsTheRunAbortedBeforeTheNextChannel) {
    const RunCase& c = GetParam();
    const Seen baseline = runCase(c, "retry", -1, -1);
    // A scan looks for a stop before or within a channel, never after its last one: a stop at the
    // final report of the last pass may let the scan end as it would have.
    const auto expectAborted = [&](const Seen& seen, bool last) {
        if (last && seen.result == baseline.result) return;
        EXPECT_EQ(seen.result, TestResult::USERABORTED());
    };
    for (int at = 0; at < baseline.progressLines; ++at) {
        SCOPED_TRACE("stop at progress line " + std::to_string(at));
        const Seen seen = runCase(c, "retry", at, -1);
        expectAborted(seen, at == baseline.progressLines - 1);
        EXPECT_LE(seen.progressAfterStop, 0) << "no further channel is started";
    }
    // The closing percent comes after the scan: a stop there is too late to matter.
    for (int at = 0; at + 1 < baseline.percents; ++at) {
        SCOPED_TRACE("stop at percent " + std::to_string(at));
        const Seen seen = runCase(c, "retry", -1, at);
        expectAborted(seen, at == baseline.percents - 2);
        EXPECT_LE(seen.progressAfterStop, 1) << "seen within one channel";
    }
    // A stop while a prompt is up: the scan after a retry sees it at once.
    for (int at = 0; at < baseline.prompts; ++at) {
        SCOPED_TRACE("stop at prompt " + std::to_string(at));
        const Seen seen = runCase(c, "retry", -1, -1, at);
        EXPECT_EQ(seen.result, TestResult::USERABORTED());
        EXPECT_LE(seen.progressAfterStop, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Scans, StopEverywhere, ::testing::ValuesIn(kScans), testing::caseName);

TEST_P(PromptMatrix, RetryAndTimeOutScanAgainSkipGivesUpCancelAborts) {
    const RunCase& c = GetParam();
    const Seen skipped = runCase(c, "skip", -1, -1);
    EXPECT_EQ(skipped.result, TestResult::NOSIGNAL());
    const Seen retried = runCase(c, "retry", -1, -1);
    EXPECT_EQ(retried.result, TestResult::NOSIGNAL());
    EXPECT_EQ(retried.tuneRequests, 2 * skipped.tuneRequests) << "one more pass, and no third";
    const Seen timedOut = runCase(c, "timeout", -1, -1);
    EXPECT_EQ(timedOut.result, TestResult::NOSIGNAL());
    EXPECT_EQ(timedOut.tuneRequests, retried.tuneRequests) << "a time-out counts as a retry";
    EXPECT_EQ(runCase(c, "cancel", -1, -1).result, TestResult::USERABORTED());
}

const RunCase kPrompted[] = {kScans[0], kScans[2], kScans[3], kScans[4]}; // the Clear QAM scan has no prompt

INSTANTIATE_TEST_SUITE_P(CablePrompts, PromptMatrix, ::testing::ValuesIn(kPrompted), testing::caseName);

} // namespace
} // namespace qisrtvcard
