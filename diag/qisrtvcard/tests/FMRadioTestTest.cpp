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
using testing::Parameters;

std::string radio(const std::string& tuner, const std::string& extra = "") {
    return R"({"device": {"name": "Radio", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogFMRadioTuner"],
                          "properties": {"AnalogFriendlyName": "Radio Capture"}},
               "categories": {"VideoInputDevice": [{"friendlyName": "Radio Capture", "filter": "capture"}]},
               "filters": {"capture": {"tuner": {)" + tuner + "}}}" + extra + "}";
}

class FMRadioScan : public testing::ModuleRun {
protected:
    void SetUp() override { testing::initialiseCatalogue(); } // before a test lowers the log level
    std::size_t tunings() const { return tvsim::Simulation::current().journal().count("Radio Capture", "put_Channel"); }
    void expectOnlyTheCardKept(int references = 2) { ModuleRun::expectOnlyTheCardKept("Radio Capture", references); }
};

Parameters band(const char* start, const char* end) { return {{"FMRadioStartChannel", start}, {"FMRadioEndChannel", end}}; }

TEST_F(FMRadioScan, WholeScans) {
    const std::vector<std::string> graphError = {"error:ErrorCreatingFilterGraph"};
    expectRuns({
        {.what = "the whole band is tried in tenth-megahertz steps of two", .scenario = radio(""), .entry = FMRadioSignalTest,
         .parameters = band("88.0", "108.0"), .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignal"}, .more = [&] {
             EXPECT_EQ(tunings(), 101u);
             EXPECT_EQ(progress().front(), "88.0");
             EXPECT_EQ(progress().back(), "108.0");
             EXPECT_EQ(probe_->reporter.percents.front(), 0);
             EXPECT_EQ(probe_->reporter.percents.back(), 100);
             expectOnlyTheCardKept();
         }},
        // 95.5 MHz lies between two steps from 88.0 and is not received; 95.6 is.
        {.what = "stops at the first station on its steps", .scenario = radio(R"("fmSignal": [95500000, 95600000])"),
         .entry = FMRadioSignalTest, .parameters = band("88.0", "108.0"), .result = TestResult::PASS(),
         .more = [&] { EXPECT_EQ(progress().back(), "95.6"); }},
        {.what = "refused frequencies are logged and skipped", .scenario = radio(R"("fmSignal": [88400000])"), .entry = FMRadioSignalTest,
         .parameters = band("88.0", "90.0"), .result = TestResult::PASS(),
         .logged = {{"libTunekit", StartsWith("put_Channel() failed.  Frequency: 88.2")}},
         .before = [] { testing::addFault("Radio Capture", "put_Channel", 2); }},
        {.what = "FM mode refused fails the test", .scenario = radio(R"("fmMode": false)"), .entry = FMRadioSignalTest,
         .parameters = band("88.0", "108.0"), .result = TestResult::FAIL(), .events = graphError,
         .variables = {{"error", "AMTUNER_MODE_FM_RADIO failed."}}},
        {.what = "a graph that cannot run fails the test", .scenario = radio(""), .entry = FMRadioSignalTest,
         .parameters = band("88.0", "108.0"), .result = TestResult::FAIL(), .events = graphError,
         .variables = {{"error", "The filter graph could not be started."}}, .before = [] { testing::addFault("FilterGraph", "Run"); },
         .more = [&] { expectOnlyTheCardKept(); }},
        {.what = "Media Center does not stop the radio test", .scenario = radio(R"("fmSignal": [88000000])", R"(, "processes": ["ehshell.exe"])"),
         .entry = FMRadioSignalTest, .parameters = band("88.0", "108.0"), .result = TestResult::PASS()},
        {.what = "a stop request is seen before the next tuning", .scenario = radio(""), .entry = FMRadioSignalTest,
         .parameters = band("88.0", "108.0"), .result = TestResult::USERABORTED(), .before = [&] { stopAt("88.4"); },
         .more = [&] { EXPECT_EQ(tunings(), 3u); }},
    });
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
        load(radio(""));
        EXPECT_EQ(run(FMRadioSignalTest, band(c.start, c.end)), TestResult::NOSIGNAL());
        std::vector<std::string> tuned;
        for (const auto& arguments : testing::journalArguments("Radio Capture", "put_Channel")) {
            EXPECT_THAT(arguments, ::testing::EndsWith(", -1, -1"));
            tuned.push_back(arguments.substr(0, arguments.find(',')));
        }
        EXPECT_EQ(tuned, c.tuned);
        for (int percent : probe_->reporter.percents) EXPECT_TRUE(percent >= 0 && percent <= 100) << percent;
    }
}

} // namespace
} // namespace qisrtvcard
