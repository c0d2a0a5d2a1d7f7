// The FM radio test on the virtual card, as a host sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "analog/GraphHandles.h"
#include "frame/TestEntries.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using mirt5::TestResult;

std::string radio(const std::string& tuner, const std::string& extra = "") {
    return R"({"device": {"name": "Radio", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogFMRadioTuner"],
                          "properties": {"AnalogFriendlyName": "Radio Capture"}},
               "categories": {"VideoInputDevice": [{"friendlyName": "Radio Capture", "filter": "capture"}]},
               "filters": {"capture": {"tuner": {)" + tuner + "}}}" + extra + "}";
}

class FMRadioScan : public ::testing::Test {
protected:
    void SetUp() override { testing::initialiseCatalogue(); } // before a test lowers the log level
    void TearDown() override { qis::LogFactory::setPriority(qis::LogPriority::Info); }

    TestResult run(const std::string& scenario, const char* start, const char* end, const std::function<void()>& faults = [] {}) {
        system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(scenario);
        faults();
        probe_.device = system_->device();
        probe_.parameters = {{"FMRadioStartChannel", start}, {"FMRadioEndChannel", end}};
        return probe_.run([](const mirt5::DiagDevice& d) { return FMRadioSignalTest(d); });
    }
    std::size_t tunings() const { return tvsim::Simulation::current().journal().count("Radio Capture", "put_Channel"); }
    // The test keeps its tuner handle when it returns, and the capture filter's too where the
    // test never hands it to the graph or fails early: the card's capture filter, which is its
    // tuner, stays with one reference per kept handle, and nothing else does.
    void expectOnlyTheCardKept(int references = 2) {
        EXPECT_EQ(system_->liveObjects(), "Radio Capture (" + std::to_string(references) + ")\n");
    }

    std::unique_ptr<testing::SimulatedSystem> system_;
    testing::Probe probe_;
};

TEST_F(FMRadioScan, TheWholeBandIsTriedInTenthMegahertzStepsOfTwo) {
    EXPECT_EQ(run(radio(""), "88.0", "108.0"), TestResult::NOSIGNAL());
    EXPECT_EQ(tunings(), 101u);
    EXPECT_EQ(probe_.reporter.progressLines.front().variables.at("channel"), "88.0");
    EXPECT_EQ(probe_.reporter.progressLines.back().variables.at("channel"), "108.0");
    EXPECT_EQ(probe_.reporter.percents.front(), 0);
    EXPECT_EQ(probe_.reporter.percents.back(), 100);
    EXPECT_THAT(probe_.eventKeys(), ElementsAre("warning:ErrorNoSignal"));
    expectOnlyTheCardKept();
}

TEST_F(FMRadioScan, StopsAtTheFirstStationOnItsStepsAndMissesOnesBetweenThem) {
    // 95.5 MHz lies between two steps from 88.0 and is not received; 95.6 is.
    EXPECT_EQ(run(radio(R"("fmSignal": [95500000, 95600000])"), "88.0", "108.0"), TestResult::PASS());
    EXPECT_EQ(probe_.reporter.progressLines.back().variables.at("channel"), "95.6");
    EXPECT_TRUE(probe_.reporter.events.empty());
}

TEST_F(FMRadioScan, EqualBoundsTryOneFrequencyAndAReversedBandTunesNothing) {
    EXPECT_EQ(run(radio(""), "98.0", "98.0"), TestResult::NOSIGNAL());
    EXPECT_EQ(tunings(), 1u);
    for (int percent : probe_.reporter.percents) EXPECT_TRUE(percent >= 0 && percent <= 100) << percent;
    EXPECT_EQ(run(radio(""), "100.0", "90.0"), TestResult::NOSIGNAL());
    EXPECT_EQ(tunings(), 0u);
}

// Bands at the edges of the types: Hz beyond a long's range, and frequencies so large that a
// 0.2 MHz step no longer changes them.
TEST_F(FMRadioScan, BandsAtTheEdgesOfTheTypesEndAndTuneWithinALong) {
    EXPECT_EQ(run(radio(""), "3000.0", "3000.2"), TestResult::NOSIGNAL());
    EXPECT_THAT(testing::journalArguments("Radio Capture", "put_Channel"),
                ElementsAre(StartsWith("2147483647, -1, -1"), StartsWith("2147483647, -1, -1")));
    EXPECT_EQ(run(radio(""), "-3000.0", "-3000.0"), TestResult::NOSIGNAL());
    EXPECT_THAT(testing::journalArguments("Radio Capture", "put_Channel"), ElementsAre(StartsWith("-2147483648, -1, -1")));
    EXPECT_EQ(run(radio(""), "100000000000000000.0", "200000000000000000.0"), TestResult::NOSIGNAL());
    EXPECT_EQ(tunings(), 1u);
}

TEST_F(FMRadioScan, RefusedFrequenciesAreLoggedAndSkipped) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    EXPECT_EQ(run(radio(R"("fmSignal": [88400000])"), "88.0", "90.0", [] {
                  tvsim::FaultRule rule;
                  rule.object = "Radio Capture";
                  rule.method = "put_Channel";
                  rule.call = 2;
                  tvsim::Simulation::current().faults().add(rule);
              }),
              TestResult::PASS());
    EXPECT_THAT(probe_.logLines("libTunekit"), ::testing::Contains(::testing::StartsWith("put_Channel() failed.  Frequency: 88.2")));
}

TEST_F(FMRadioScan, ModeAndRunFailuresFailTheTest) {
    EXPECT_EQ(run(radio(R"("fmMode": false)"), "88.0", "108.0"), TestResult::FAIL());
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "AMTUNER_MODE_FM_RADIO failed.");
    probe_.reporter.events.clear();
    EXPECT_EQ(run(radio(""), "88.0", "108.0", [] {
                  tvsim::FaultRule rule;
                  rule.object = "FilterGraph";
                  rule.method = "Run";
                  tvsim::Simulation::current().faults().add(rule);
              }),
              TestResult::FAIL());
    ASSERT_THAT(probe_.eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
    EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), "The filter graph could not be started.");
    expectOnlyTheCardKept();
}

TEST_F(FMRadioScan, MediaCenterDoesNotStopTheRadioTest) {
    EXPECT_EQ(run(radio(R"("fmSignal": [88000000])", R"(, "processes": ["ehshell.exe"])"), "88.0", "108.0"), TestResult::PASS());
}

TEST_F(FMRadioScan, AStopRequestIsSeenBeforeTheNextTuning) {
    probe_.onProgress = [](const qis::String& text) {
        if (text.endsWith("88.4")) mirt5::DiagModule::requestStop();
    };
    EXPECT_EQ(run(radio(""), "88.0", "108.0"), TestResult::USERABORTED());
    EXPECT_EQ(tunings(), 3u);
}

} // namespace
} // namespace qisrtvcard
