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

class FMRadioScan : public testing::ModuleRun {
protected:
    void SetUp() override { testing::initialiseCatalogue(); } // before a test lowers the log level
    TestResult run(const char* start, const char* end) {
        return ModuleRun::run(FMRadioSignalTest, {{"FMRadioStartChannel", start}, {"FMRadioEndChannel", end}});
    }
    TestResult scan(const std::string& scenario, const char* start, const char* end) {
        load(scenario);
        return run(start, end);
    }
    std::size_t tunings() const { return tvsim::Simulation::current().journal().count("Radio Capture", "put_Channel"); }
    void expectOnlyTheCardKept(int references = 2) { ModuleRun::expectOnlyTheCardKept("Radio Capture", references); }
    void expectOneEvent(const char* error) {
        ASSERT_THAT(probe_->eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
        EXPECT_EQ(event(0).variables.at("error"), error);
    }
};

TEST_F(FMRadioScan, TheWholeBandIsTriedInTenthMegahertzStepsOfTwo) {
    EXPECT_EQ(scan(radio(""), "88.0", "108.0"), TestResult::NOSIGNAL());
    EXPECT_EQ(tunings(), 101u);
    EXPECT_EQ(progress().front(), "88.0");
    EXPECT_EQ(progress().back(), "108.0");
    EXPECT_EQ(probe_->reporter.percents.front(), 0);
    EXPECT_EQ(probe_->reporter.percents.back(), 100);
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignal"));
    expectOnlyTheCardKept();
}

TEST_F(FMRadioScan, StopsAtTheFirstStationOnItsStepsAndMissesOnesBetweenThem) {
    // 95.5 MHz lies between two steps from 88.0 and is not received; 95.6 is.
    EXPECT_EQ(scan(radio(R"("fmSignal": [95500000, 95600000])"), "88.0", "108.0"), TestResult::PASS());
    EXPECT_EQ(progress().back(), "95.6");
    EXPECT_TRUE(probe_->reporter.events.empty());
}

// Equal bounds, a reversed band, and bands at the edges of the types: Hz beyond a long's range,
// and frequencies so large that a 0.2 MHz step no longer changes them.
TEST_F(FMRadioScan, BandsTuneWithinALongAndEnd) {
    const struct {
        const char* start;
        const char* end;
        std::vector<std::string> tuned; // the frequency arguments, in Hz
    } cases[] = {
        {"98.0", "98.0", {"98000000"}},
        {"100.0", "90.0", {}},
        {"3000.0", "3000.2", {"2147483647", "2147483647"}},
        {"-3000.0", "-3000.0", {"-2147483648"}},
        {"100000000000000000.0", "200000000000000000.0", {"2147483647"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.start) + " to " + c.end);
        EXPECT_EQ(scan(radio(""), c.start, c.end), TestResult::NOSIGNAL());
        std::vector<std::string> tuned;
        for (const auto& arguments : testing::journalArguments("Radio Capture", "put_Channel")) {
            EXPECT_THAT(arguments, ::testing::EndsWith(", -1, -1"));
            tuned.push_back(arguments.substr(0, arguments.find(',')));
        }
        EXPECT_EQ(tuned, c.tuned);
        for (int percent : probe_->reporter.percents) EXPECT_TRUE(percent >= 0 && percent <= 100) << percent;
    }
}

TEST_F(FMRadioScan, RefusedFrequenciesAreLoggedAndSkipped) {
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    load(radio(R"("fmSignal": [88400000])"));
    testing::addFault("Radio Capture", "put_Channel", 2);
    EXPECT_EQ(run("88.0", "90.0"), TestResult::PASS());
    EXPECT_THAT(probe_->logLines("libTunekit"), ::testing::Contains(StartsWith("put_Channel() failed.  Frequency: 88.2")));
}

TEST_F(FMRadioScan, ModeAndRunFailuresFailTheTest) {
    EXPECT_EQ(scan(radio(R"("fmMode": false)"), "88.0", "108.0"), TestResult::FAIL());
    expectOneEvent("AMTUNER_MODE_FM_RADIO failed.");
    load(radio(""));
    testing::addFault("FilterGraph", "Run");
    EXPECT_EQ(run("88.0", "108.0"), TestResult::FAIL());
    expectOneEvent("The filter graph could not be started.");
    expectOnlyTheCardKept();
}

TEST_F(FMRadioScan, MediaCenterDoesNotStopTheRadioTest) {
    EXPECT_EQ(scan(radio(R"("fmSignal": [88000000])", R"(, "processes": ["ehshell.exe"])"), "88.0", "108.0"), TestResult::PASS());
}

TEST_F(FMRadioScan, AStopRequestIsSeenBeforeTheNextTuning) {
    load(radio(""));
    probe_->onProgress = [](const qis::String& text) {
        if (text.endsWith("88.4")) mirt5::DiagModule::requestStop();
    };
    EXPECT_EQ(run("88.0", "108.0"), TestResult::USERABORTED());
    EXPECT_EQ(tunings(), 3u);
}

} // namespace
} // namespace qisrtvcard
