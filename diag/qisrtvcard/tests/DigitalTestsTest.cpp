// The digital tests on the virtual digital cards: end to end as a host sees them (results,
// events with their variables, progress texts, percent sequences, prompts and what was tuned),
// and their blocks (graph toolkit, filter loading, signal detection): what they log, leave in the
// graph and how they fail.
#include <algorithm>
#include <climits>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "digital/AtscTuning.h"
#include "digital/ClearQamTest.h"
#include "digital/DigitalTests.h"
#include "digital/FilterLoading.h"
#include "digital/GraphToolkit.h"
#include "digital/SignalDetection.h"
#include "frame/Catalogue.h"
#include "frame/ComFactory.h"
#include "frame/CountryDialog.h"
#include "frame/TestEntries.h"
#include "tunekit/ComOwners.h"
#include "tunekit/ComPtr.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using mirt5::TestResult;
using testing::FaultOutcome;
using testing::journalArguments;
using testing::Parameters;
using tunekit::ComPtr;

std::string tunerMoniker(const std::string& name, const std::string& path, const std::string& filter = "tuner") {
    return R"({"friendlyName": ")" + name + R"(", )" + (path.empty() ? "" : R"("devicePath": ")" + path + R"(", )") +
           R"("filter": ")" + filter + R"("})";
}

const char* kDecoder = R"(, "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}])";

// A digital card: `tuners` are the tuner category's monikers, `tuner` the tuner filter's JSON.
std::string digitalCard(const std::string& properties, const std::string& tuners, const std::string& tuner = R"({"kind": "bdaTuner"})",
                        const std::string& extra = "", const std::string& name = "Digital card",
                        const std::string& provider = "Microsoft Network Provider") {
    return R"({"device": {"name": ")" + name + R"(", "capabilities": ["VideoCapture", "DigitalTVTuner"], "properties": {)" + properties + R"(}},
               "categories": {"BDANetworkProvider": [{"friendlyName": ")" + provider + R"(", "filter": "provider"}],
                              "BDANetworkTuner": [)" + tuners + R"(],
                              "BDAReceiverComponent": [{"friendlyName": "Receiver", "filter": "receiver"}],
                              "BDATransportInformation": [{"friendlyName": "TIF", "filter": "tif"}]},
               "filters": {"provider": {"kind": "networkProvider"}, "tuner": )" + tuner + R"(,
                           "receiver": {"kind": "bdaReceiver"}, "tif": {"kind": "bdaTransportInformation"}, "otherTuner": {"kind": "bdaTuner"}}
               )" + extra + "}";
}

// An ATSC card with Clear QAM enabled whose tuner receives `receives`.
std::string atscCardReceiving(const std::string& receives, const std::string& extra = "") {
    return digitalCard(R"("DigitalFriendlyName": "Tuner", "EnableQAM": "1")", tunerMoniker("Tuner", ""),
                       R"({"kind": "bdaTuner", "receives": )" + receives + "}", kDecoder + extra);
}

// A DVB-T stick whose tuner receives `dvbt` and whose frequency map is `maps`; its statistics
// are on the tuner filter or on its topology node.
std::string dvbtStickReceiving(const std::string& dvbt, const std::string& maps, const std::string& name = "DVB-T stick",
                               const std::string& statistics = "filter") {
    return digitalCard(R"("DigitalFriendlyName": "Tuner")", tunerMoniker("Tuner", ""),
                       R"({"kind": "bdaTuner", "signalStatistics": ")" + statistics + R"(", "receives": {"dvbt": [)" + dvbt + "]}}",
                       R"(, "tuningSpaces": [{"uniqueName": "DVB-T", "kind": "DVB-T"}], "frequencyMaps": )" + maps + kDecoder, name,
                       "Microsoft DVBT Network Provider");
}

// The source line a log line begins with, of the first line that contains `text`.
std::string sourceLineOf(const std::vector<std::string>& lines, const std::string& text) {
    for (const auto& line : lines)
        if (line.find(text) != std::string::npos) return line.substr(0, line.find(' '));
    return "(no line with " + text + ")";
}

class DigitalTests : public testing::ModuleRun {
protected:
    std::vector<std::string> moduleLog() const { return probe_->logLines("qisrtvcard"); }
    std::vector<std::string> clearQamLog() const { return probe_->logLines("qisrtvcard.ClearQAMTest"); }
    std::size_t requests() const { return journalArguments("*", "put_TuneRequest").size(); }
    void expectNothingLeft() { EXPECT_EQ(system_->liveObjects(), ""); }
    // The search for the video renderer keeps one graph reference for every filter it asked for
    // its name; that keeps the whole graph alive, and nothing else may.
    void expectOnlyTheRendererSearchLeaks() {
        const std::size_t asked = journalArguments("*", "QueryFilterInfo").size();
        const std::string live = system_->liveObjects();
        EXPECT_THAT(live, HasSubstr("FilterGraph (" + std::to_string(asked) + ")\n")) << "the graph's references are the search's alone";
    }
};

// The Clear QAM scan's progress channels: programs 1 to 10 of each channel, up to `lastProgram` of the last.
std::vector<std::string> programs(int first, int last, int lastProgram) {
    std::vector<std::string> texts;
    for (int channel = first; channel <= last; ++channel)
        for (int program = 1; program <= (channel == last ? lastProgram : 10); ++program)
            texts.push_back(std::to_string(channel) + "-" + std::to_string(program));
    return texts;
}

// ---- whole runs: which test a card gets, the ATSC and Clear QAM scans ---------------------------

using WholeRuns = DigitalTests;
const Parameters kNoCable = {{"CheckTVCable", "false"}};
const TestResult kNoSignal = TestResult::NOSIGNAL();
const std::vector<std::string> kNoSignalDetected = {"warning:ErrorNoSignalDetected"}, kNoSignalWithTip = {"warning:ErrorNoSignalWithTip"};

TEST_F(WholeRuns, AtscCards) {
    const Parameters range30 = {{"DigitalStartChannel", "30"}, {"DigitalEndChannel", "31"}};
    expectRuns({
        {.what = "Media Center refuses before COM or any box",
         .scenario = atscCardReceiving(R"({"atsc": {"antenna": [{"physicalChannel": 7}]}})", R"(, "processes": ["ehshell.exe"])"),
         .result = TestResult::CANNOTRUN(), .events = {"warning:MediaCenterIsRunning"}, .prompts = 0,
         .more = [&] { EXPECT_THAT(journalArguments("COM", "CoInitializeEx"), IsEmpty()); }},
        {.what = "a COM set-up failure cannot run and says why", .result = TestResult::CANNOTRUN(),
         .events = {"warning:WarningWindowSetupProblem"}, .logged = {{"qisrtvcard", HasSubstr("CoInitializeEx failed: ")}},
         .before = [] { testing::addFault("COM", "CoInitializeEx", 0, 0x80010106u); }},
        {.what = "the OpenCable name counts only in its own case", .parameters = {{"DigitalStartChannel", "7"}, {"DigitalEndChannel", "7"}},
         .prompts = 0, .before = [&] {
             probe_->device = mirt5::DiagDevice("my ati tv wonder opencable receiver", "", system_->device().capabilities(),
                                                {{"DigitalFriendlyName", "Virtual ATSC BDA Tuner"}});
         }},
        {.what = "an ATSC scan without signal is final and DVB-T is not tried",
         .parameters = {{"DigitalStartChannel", "8"}, {"DigitalEndChannel", "9"}, {"CheckTVCable", "false"}}, .result = kNoSignal,
         .events = kNoSignalDetected, .more = [&] {
             EXPECT_EQ(tvsim::Simulation::current().journal().count("DVBTNetworkProvider", "CoCreateInstance"), 0u);
             EXPECT_GE(virtualSeconds_, 2.0 * 2.5 + 2.0);
         }},
        {.what = "the scan stops at the first channel with moving picture", 
         .parameters = {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "9"}},
         .channels = {{"2", "3", "4", "5", "6", "7"}}, .percents = {{0, 13, 25, 38, 50, 63, 100}}, // rounded share of the range
         .logged = {{"qisrtvcard.ClearQAMTest", HasSubstr("***FramesBeingRendered returned true")}}, .more = [&] {
             EXPECT_NE(sourceLineOf(clearQamLog(), "returned true"), sourceLineOf(clearQamLog(), "returned false"));
             EXPECT_THAT(journalArguments("ATSCLocator", "put_PhysicalChannel"), ElementsAre("2", "3", "4", "5", "6", "7"));
             expectOnlyTheRendererSearchLeaks();
         }},
        {.what = "a stop request after a channel without picture aborts",
         .parameters = {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "9"}}, .result = TestResult::USERABORTED(),
         .channels = {{"2", "3", "4"}}, .before = [&] { stopAt("4"); }},
        {.what = "one channel without signal and no cable check warns with the range",
         .parameters = {{"DigitalStartChannel", "30"}, {"DigitalEndChannel", "30"}, {"CheckTVCable", "false"}}, .result = kNoSignal,
         .events = kNoSignalDetected, .variables = {{"startchannel", "30"}, {"endchannel", "30"}}, .percents = {{0, 100}}, .prompts = 0},
        // The cable prompt is offered once and decides.
        {.what = "cable prompt: retry, with no third pass", .parameters = range30, .answers = {"retry", "retry"}, .result = kNoSignal,
         .events = kNoSignalDetected, .channels = {{"30", "31", "30", "31"}}, .percents = {{0, 50, -1, 0, 50, 100}}, .prompts = 1},
        {.what = "cable prompt: cancel", .parameters = range30, .answers = {"cancel"}, .result = TestResult::USERABORTED()},
        {.what = "cable prompt: skip", .parameters = range30, .answers = {"skip"}, .result = kNoSignal, .events = kNoSignalDetected,
         .channels = {{"30", "31"}}},
        {.what = "a range ending at the top of its type ends",
         .parameters = {{"DigitalStartChannel", "2147483646"}, {"DigitalEndChannel", "2147483647"}, {"CheckTVCable", "false"}},
         .result = kNoSignal, .events = kNoSignalDetected, .channels = {{"2147483646", "2147483647"}}},
        {.what = "without an ATSC tuning space the scan cannot run",
         .scenario = atscCardReceiving(R"({"atsc": {"antenna": [{"physicalChannel": 7}]}})",
                                       R"(, "tuningSpaces": [{"uniqueName": "ATSCCable", "kind": "ATSC", "inputType": "cable"}])"),
         .entry = ATSCTestWrapper, .result = TestResult::CANNOTRUN(), .logged = {{"qisrtvcard.ClearQAMTest", HasSubstr("! TuningSpace ")}}},
        // Only the provider named exactly is the generic one.
        {.what = "Clear QAM without the generic provider", .scenario = "dvbt", .entry = ClearQAMTest, .assertion = "NetworkProviderFilter"},
        {.what = "Clear QAM with the provider's name in other case",
         .scenario = R"({"device": {"name": "x", "capabilities": ["VideoCapture", "DigitalTVTuner"]},
            "categories": {"BDANetworkProvider": [{"friendlyName": "microsoft network provider", "filter": "p"}]},
            "filters": {"p": {"kind": "networkProvider"}}})", .entry = ClearQAMTest, .assertion = "NetworkProviderFilter"},
        {.what = "Clear QAM: programs one to ten on each channel until a picture", .entry = ClearQAMTest, .channels = programs(77, 80, 3),
         .more = [&] { EXPECT_THAT(journalArguments("ATSCLocator", "put_CarrierFrequency").back(), "559250"); }},
        // 540 requests in virtual time, much faster than a real card.
        {.what = "Clear QAM: a full scan without picture warns", .scenario = atscCardReceiving(R"({"clearQam": []})"),
         .entry = ClearQAMTest, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalQC"}, .channels = programs(77, 130, 10),
         .more = [&] {
             EXPECT_EQ(requests(), 540u);
             EXPECT_GE(virtualSeconds_, 540 * 2.6);
             // The cable plan's picture carriers at 256-QAM: 77, 99 and 100 on either side of the jump, 130.
             const auto carriers = journalArguments("ATSCLocator", "put_CarrierFrequency");
             ASSERT_EQ(carriers.size(), 540u);
             EXPECT_EQ(carriers[0] + " " + carriers[220] + " " + carriers[230] + " " + carriers[539], "541250 115250 649250 829250");
             EXPECT_THAT(journalArguments("ATSCLocator", "put_Modulation"), ::testing::Each("11"));
             EXPECT_THAT(journalArguments("ATSCChannelTuneRequest", "put_MinorChannel"), IsEmpty()) << "the minor channel is left alone";
             std::printf("[ benchmark ] full Clear QAM scan: %.0f s virtual, %.2f s wall\n", virtualSeconds_, wallSeconds_);
             EXPECT_EQ(probe_->reporter.percents.front(), 0);
             EXPECT_EQ(probe_->reporter.percents.back(), 100);
         }},
        {.what = "Clear QAM: percents follow the channel, rounded across fifty-four",
         .scenario = atscCardReceiving(R"({"clearQam": [{"frequency": 595250, "program": 1}]})"), // channel 86
         .entry = ClearQAMTest, .more = [&] {
             const auto& percents = probe_->reporter.percents;
             ASSERT_EQ(percents.size(), 92u); // 77-1 ... 86-1, then 100
             EXPECT_EQ(percents[0], 0);
             EXPECT_EQ(percents[10], 2) << "78: 1/54 of the way, rounded";
             EXPECT_EQ(percents[90], 17) << "86: 9/54";
             EXPECT_EQ(percents.back(), 100);
         }},
    }, {.scenario = "atsc", .entry = DigitalTVSignalTest});
}

TEST_F(WholeRuns, OpenCableReceiver) {
    const Parameters one = {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "20"}};
    expectRuns({
        {.what = "warned first, and cancel aborts", .answers = {"cancel"}, .result = TestResult::USERABORTED(), .prompts = 1, .more = [&] {
             EXPECT_EQ(probe_->reporter.prompts[0].kind, "ocurWarning");
             EXPECT_EQ(probe_->reporter.prompts[0].title, "Digital TV Signal Test");
             EXPECT_EQ(requests(), 0u);
         }},
        // One progress line per channel, on the antenna input; antenna then cable on each channel.
        {.what = "finds the cable channel on its own tuner and shows it for ten seconds",
         .parameters = {{"DigitalStartChannel", "10"}, {"DigitalEndChannel", "14"}}, .channels = {{"10", "11", "12"}},
         .logged = {{"qisrtvcard", HasSubstr("Couldn't find a compatible Receiver.  Continuing as it is not always required.")},
                    {"qisrtvcard", HasSubstr("Added ATSC QAM network provider")},
                    // The other card's tuner comes first: its path and its name are both wrong.
                    {"libTunekit", R"(Guids this:VEN_1131&DEV_7160&SUBSYS_00000000&REV_03\4&1B2E3F4C&0&00E0      )"
                                   R"(device we are looking for:PCI\VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01\4&1C3D5A7E&0&00E0)"},
                    {"libTunekit", R"(Mismatching name while enumerating: looking for "VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01#4&1C3D5A7E&0&00E0" )"
                                   R"(or "ATI TV Wonder OpenCable Receiver" , but found: "VEN_1131&DEV_7160&SUBSYS_00000000&REV_03#4&1B2E3F4C&0&00E0" )"
                                   R"(and "Other Vendor BDA Tuner")"}}, .more = [&] {
             EXPECT_THAT(journalArguments("SystemTuningSpaces", "get_Item"), ElementsAre("3")) << "the fourth tuning space is the QAM one";
             EXPECT_EQ(requests(), 6u);
             EXPECT_NE(sourceLineOf(moduleLog(), "Couldn't find a compatible Receiver"), sourceLineOf(moduleLog(), "Cleaning up"))
                 << "each line names the statement that wrote it";
             EXPECT_THAT(journalArguments("FilterGraph", "AddFilter"), Contains("ATI TV Wonder OpenCable Receiver Tuner"));
             EXPECT_GE(virtualSeconds_, 10.0);
             EXPECT_EQ(probe_->reporter.percents.back(), 100);
             expectNothingLeft();
         }},
        {.what = "a range ending at the top of its type ends",
         .parameters = {{"DigitalStartChannel", "4294967294"}, {"DigitalEndChannel", "4294967295"}, {"CheckTVCable", "false"}},
         .result = kNoSignal, .events = kNoSignalWithTip, .channels = {{"4294967294", "4294967295"}}},
        {.what = "percents count from the channel number and pass one hundred",
         .parameters = {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "4"}, {"CheckTVCable", "false"}}, .result = kNoSignal,
         .events = kNoSignalWithTip, .variables = {{"startchannel", "2"}, {"endchannel", "4"}}, .percents = {{100, 150, 200, 100}},
         .logged = {{"qisrtvcard", HasSubstr("Done due to no prompt and retry setting set or max attempts complete")}}},
        {.what = "without the tuner's name the card's path alone finds it",
         .parameters = {{"DigitalStartChannel", "12"}, {"DigitalEndChannel", "12"}},
         .logged = {{"libTunekit", "The DigitalFriendlyName property is required, but wasn't found"}}, .before = [&] {
             probe_->device = mirt5::DiagDevice(system_->device().name(), "", system_->device().capabilities(),
                                                {{"DeviceLocator", R"(PCI\VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01\4&1C3D5A7E&0&00E0)"}});
         }},
        // The technique asks the provider's request, which has a minor channel only where a program is received.
        {.what = "minor-channel technique: the received channel",
         .parameters = {{"DigitalStartChannel", "12"}, {"DigitalEndChannel", "12"}, {"UseMinorChannelTechnique", "true"}},
         .more = [&] { EXPECT_THAT(journalArguments("*", "get_SignalPresent"), IsEmpty()) << "the statistics are not asked"; }},
        {.what = "minor-channel technique: a channel not received",
         .parameters = {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "20"}, {"UseMinorChannelTechnique", "true"}, {"CheckTVCable", "false"}},
         .result = kNoSignal, .events = kNoSignalWithTip},
        // The warning and one cable prompt.
        {.what = "a reversed range tunes nothing and a retry finds nothing again",
         .parameters = {{"DigitalStartChannel", "9"}, {"DigitalEndChannel", "3"}}, .answers = {"ok", "retry"}, .result = kNoSignal,
         .events = kNoSignalWithTip, .prompts = 2, .more = [&] { EXPECT_EQ(requests(), 0u); }},
        {.what = "cable prompt: cancel", .parameters = one, .answers = {"ok", "cancel"}, .result = TestResult::USERABORTED(),
         .logged = {{"qisrtvcard", HasSubstr("Done due to user cancel on prompt")}}},
        {.what = "cable prompt: skip; a one-channel range counts as done", .parameters = one, .answers = {"ok", "skip"},
         .result = kNoSignal, .events = kNoSignalWithTip, .percents = {{100, 100}},
         .logged = {{"qisrtvcard", HasSubstr("Done due to prompting disabled")}}},
        {.what = "cable prompt: retry, two passes of antenna and cable", .parameters = one, .answers = {"ok", "retry"}, .result = kNoSignal,
         .events = kNoSignalWithTip, .more = [&] { EXPECT_EQ(requests(), 4u); }},
    }, {.scenario = "ocur", .entry = DigitalTVSignalTest, .answers = {"ok"}});
}

TEST_F(WholeRuns, DvbtSticks) {
    const std::string weakStream = R"({"frequency": 482000, "modulation": "64QAM", "mode": "8K", "guard": "1/32", "lpFecRate": "2/3",
                                       "bandwidth": 8, "quality": 90, "sampleBytes": 100})";
    const std::string twoRecords = R"({"7": [474000, 482000]})";
    // Without a grabber the tuner's statistics decide: on the filter presence alone, on the
    // topology node presence, lock and quality above fifty.
    const auto statisticsCard = [&](const char* where, const std::string& statistics) {
        return dvbtStickReceiving(R"({"frequency": 482000, "modulation": "64QAM", "mode": "8K", "guard": "1/32", "lpFecRate": "2/3",
                                      "bandwidth": 8, "statistics": )" + statistics + "}", twoRecords, "DVB-T stick", where);
    };
    const auto noGrabber = [] { testing::addFault("SampleGrabber", "CoCreateInstance"); };
    const std::vector<std::string> topologyLines = {
        "ERROR: IBaseFilter::QueryInterface(IBDA_SignalStatistics) is not working.", "Trying new topology method",
        "Querying for topology on tuner device", "Getting nodes types", "Getting node interfaces", "Getting node interfaces",
        "Checking for IID_IBDA_SignalStatistics", "Checking for control node", "Querying for the sig stats from the topo node",
        "Topo sig qual: 51", "Topo sig lock: 1", "Topo sig present: 1", "Topo sig strength: 80", "Topo sample time: 100",
        "Checking if topo signal is present", "Found a valid signal"};
    // Without the cable check, a scan without signal ends in its warning.
    expectRuns({
        {.what = "a card without an ATSC path goes on to DVB-T and tunes the country's plan until a good stream, without progress texts",
         .scenario = "dvbt", .answers = {"49"}, .channels = std::vector<std::string>{},
         .logged = {{"libTunekit", "ATSCTestWrapper()--! NetworkProviderFilter"}, {"libTunekit", "Set DVB-T Channel Range: 1-23"}, {"libTunekit", HasSubstr("Got Data bufferSize: ")}, {"libTunekit", "Connecting pins failed."}},
         .prompts = 1, .more = [&] {
             EXPECT_THAT(clearQamLog(), IsEmpty());
             EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_CountryCode"), ElementsAre("49"));
             EXPECT_THAT(supportedCountryCodes().codes(), ElementsAre(31u, 44u, 49u));
             // The pre-answer is reported as the dialog's prompt and answer; nothing is shown.
             EXPECT_EQ(probe_->reporter.prompts[0].kind, "countryDialog");
             EXPECT_EQ(probe_->reporter.prompts[0].title, PleaseSelectCountry->localizedString());
             EXPECT_EQ(probe_->reporter.prompts[0].timeoutMs, 0u);
             EXPECT_EQ(probe_->reporter.answers[0].code, 49);
             EXPECT_EQ(probe_->reporter.answers[0].source, "answer");
             EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_TuneRequest"), Contains(HasSubstr("frequency=562000")))
                 << "the damaged stream there rates too low";
             EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_TuneRequest").back(), HasSubstr("frequency=522000"));
             EXPECT_THAT(journalArguments("FilterGraph", "RemoveFilter"), Not(IsEmpty())) << "the filters are removed at the end";
             expectNothingLeft();
         }},
        {.what = "a cancelled country dialog aborts at one hundred percent", .scenario = "dvbt", .answers = {"0"},
         .result = TestResult::USERABORTED(), .percents = {{100}}, .logged = {{"libTunekit", "Exiting due to user abort on country dialog"}}},
        {.what = "any word but ok cancels the country dialog", .scenario = "dvbt", .answers = {"skip"}, .result = TestResult::USERABORTED()},
        {.what = "ok confirms the preselected USA, which has no plan", .scenario = "dvbt", .answers = {"ok"}, .result = TestResult::FAIL(),
         .events = {"error:ErrorCreatingFilterGraph"},
         .more = [] { EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_CountryCode"), ElementsAre("1")); }},
        // An unknown country gets the default row: one record per frequency.
        {.what = "a one-record plan tunes nothing", .scenario = dvbtStickReceiving("", R"({"7": [474000]})"), .result = kNoSignal,
         .events = kNoSignalDetected, .variables = {{"startchannel", "1"}, {"endchannel", "0"}}, .more = [&] { EXPECT_EQ(requests(), 0u); }},
        {.what = "a two-record plan tunes its second record only", .scenario = dvbtStickReceiving("", twoRecords), .result = kNoSignal,
         .events = kNoSignalDetected, .percents = {{100, 100}}, .logged = {{"libTunekit", "No Signal Present"}}, .more = [&] {
             ASSERT_EQ(requests(), 1u);
             EXPECT_THAT(journalArguments("*", "put_TuneRequest")[0], HasSubstr("frequency=482000"));
         }},
        {.what = "an empty plan wraps round and fails", .scenario = dvbtStickReceiving("", R"({"7": []})"), .result = TestResult::FAIL(),
         .events = {"error:ErrorCreatingFilterGraph"}, .logged = {{"libTunekit", "Set DVB-T Channel Range: 1-4294967295"}}},
        {.what = "an unreadable stream (-1) does not ask the tuner", .scenario = dvbtStickReceiving(weakStream, twoRecords),
         .result = kNoSignal, .events = kNoSignalDetected, .logged = {{"libTunekit", "We were not receiving any stream data"}},
         .more = [&] { EXPECT_EQ(tvsim::Simulation::current().journal().count("Tuner", "get_SignalPresent"), 0u); }},
        {.what = "without a grabber the tuner's statistics decide", .scenario = dvbtStickReceiving(weakStream, twoRecords),
         .logged = {{"libTunekit", "Sample Grabber creation failed"}},
         .before = [] { testing::addFault("SampleGrabber", "CoCreateInstance"); }},
        {.what = "an OpenCable name gets the tip", .scenario = dvbtStickReceiving("", twoRecords, "ATI TV Wonder OpenCable Receiver DVB-T"),
         .entry = RunDVBTest, .result = kNoSignal, .events = kNoSignalWithTip},
        {.what = "topology statistics: quality 51 with lock and presence is a signal",
         .scenario = statisticsCard("topology", R"({"locked": true, "present": true, "quality": 51})"), .before = noGrabber, .more = [&] {
             const auto lines = probe_->logLines("libTunekit");
             const auto at = std::find(lines.begin(), lines.end(), topologyLines.front());
             ASSERT_GE(lines.end() - at, static_cast<std::ptrdiff_t>(topologyLines.size()));
             EXPECT_EQ(std::vector<std::string>(at, at + static_cast<std::ptrdiff_t>(topologyLines.size())), topologyLines);
         }},
        {.what = "topology statistics: quality 50 is not",
         .scenario = statisticsCard("topology", R"({"locked": true, "present": true, "quality": 50})"), .result = kNoSignal,
         .events = kNoSignalDetected, .before = noGrabber},
        {.what = "topology statistics: lock without presence is not",
         .scenario = statisticsCard("topology", R"({"locked": true, "present": false, "quality": 90})"), .result = kNoSignal,
         .events = kNoSignalDetected, .before = noGrabber},
        {.what = "filter statistics: presence alone is a signal",
         .scenario = statisticsCard("filter", R"({"locked": false, "present": true, "quality": 10})"), .before = noGrabber},
        {.what = "filter statistics: nothing received is no signal", .scenario = dvbtStickReceiving("", twoRecords), .result = kNoSignal,
         .events = kNoSignalDetected, .before = noGrabber},
    }, {.entry = DigitalTVSignalTest, .parameters = kNoCable, .answers = {"7"}});
}

// ---- one COM call failing at a time ----------------------------------------------------------

// Set-up steps up to the tuner cannot run; later ones fail the test. Both say why in the same event.
FaultOutcome cannotRun(const char* object, const char* method, unsigned call = 0, const char* logged = nullptr) {
    return {object, method, call, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph", logged};
}
FaultOutcome fails(const char* object, const char* method, unsigned call = 0, const char* logged = nullptr) {
    return {object, method, call, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph", logged};
}

using Faults = DigitalTests;

// The ATSC scan asserts at each graph step but loading its tuner and receiver, where it cannot run.
TEST_F(Faults, AtscScan) {
    expectFaults({.scenario = "atsc", .entry = ATSCTestWrapper, .parameters = {{"DigitalStartChannel", "7"}, {"DigitalEndChannel", "7"}}},
                 {{"FilterGraph", "AddFilter", 1, "SUCCEEDED( hr )"}, // the network provider
                  {"Microsoft Network Provider", "QueryInterface(ITuner)", 0, "Tuner"},
                  {"MPEG2Demultiplexer", "CoCreateInstance", 0, "SUCCEEDED( hr )"},
                  {"Virtual ATSC BDA Receiver", "EnumPins", 2, "bRes"}, // the first is its own loading
                  {"FilterGraph", "QueryInterface(IVideoWindow)", 0, "VideoWindow"},
                  {"VideoRenderer", "QueryInterface(IQualProp)", 0, "SUCCEEDED( hr ) && QualProp"},
                  {"FilterGraph", "QueryInterface(IMediaControl)", 0, "MediaControl"},
                  {"FilterGraph", "Run", 1, "SUCCEEDED( hr )"},
                  {"FilterGraph", "Pause", 1, "SUCCEEDED( hr )"},
                  {"Microsoft Network Provider", "put_TuneRequest", 1, "SUCCEEDED( hr )"},
                  {"ATSCLocator", "put_PhysicalChannel", 1, "SUCCEEDED( hr )"},
                  {"FilterGraph", "Stop", 0, "SUCCEEDED( hr )"},
                  {"Moniker: Virtual ATSC BDA Tuner", "BindToObject", 0, nullptr, TestResult::CANNOTRUN()},
                  {"Moniker: Virtual ATSC BDA Receiver", "BindToObject", 0, nullptr, TestResult::CANNOTRUN()}},
                 [](const FaultOutcome& row) {
                     // The scan's own calls leave their result in the last HRESULT; ConnectFilters does not.
                     if (row.assertion && std::string(row.assertion) != "bRes") EXPECT_EQ(static_cast<std::uint32_t>(g_clearQamResult), 0x80004005u);
                 });
}

// The Clear QAM wrapper throws where the ATSC path cannot run; a refused run cannot run.
TEST_F(Faults, ClearQamScan) {
    expectFaults({.scenario = "atsc", .entry = ClearQAMTest},
                 {{"FilterGraph", "CoCreateInstance", 0, "SUCCEEDED( hr )"},
                  {"FilterGraph", "AddFilter", 1, "SUCCEEDED( hr )"},
                  {"Moniker: Virtual ATSC BDA Tuner", "BindToObject", 0, "false"},
                  {"Moniker: Virtual ATSC BDA Receiver", "BindToObject", 0, "false"},
                  {"Microsoft Network Provider", "QueryInterface(ITuner)", 0, "Tuner"},
                  {"FilterGraph", "Run", 1, nullptr, TestResult::CANNOTRUN()},
                  {"ATSCLocator", "QueryInterface(IATSCLocator2)", 1, "ATSCLocator2"}},
                 [&](const FaultOutcome& row) {
                     if (!row.assertion) EXPECT_THAT(clearQamLog(), Contains(HasSubstr("MediaControl->Run() failed")));
                 });
}

TEST_F(Faults, OpenCableReceiver) {
    expectFaults({.scenario = "ocur", .entry = DigitalTVSignalTest, .answers = {"ok"}},
                 {cannotRun("FilterGraph", "CoCreateInstance"),
                  cannotRun("SystemTuningSpaces", "get_Item", 0, "Error pITuningSpaceContainer->get_Item failed. hr="),
                  cannotRun("ATSCQAMNetworkProvider", "CoCreateInstance"),
                  cannotRun("ATSCQAMNetworkProvider", "QueryInterface(ITuner)"),
                  cannotRun("Moniker: ATI TV Wonder OpenCable Receiver Tuner", "BindToObject"),
                  fails("MPEG2Demultiplexer", "CoCreateInstance"),
                  fails("FilterGraph", "QueryInterface(IMediaControl)"),
                  fails("FilterGraph", "Run", 0, "ERROR: IMediaControl::Run failed. hr=-2147467259"),
                  fails("ATSCLocator", "CoCreateInstance"),
                  fails("ATSCLocator", "put_PhysicalChannel", 0, "ERROR: IATSCLocator::put_PhysicalChannel failed. hr=-2147467259"),
                  {"ATI TV Wonder OpenCable Receiver Tuner", "EnumPins", 2, "false"}}, // rendering the tuner's output
                 [&](const FaultOutcome& row) {
                     if (!row.assertion) expectNothingLeft();
                 });
}

// The ATSC path creates the first graph and cannot run on this card. A tuner whose properties
// cannot be read, or that the graph refuses, ends the search; a grabber that cannot be read leaves
// the decision to the tuner's statistics.
TEST_F(Faults, DvbtStick) {
    expectFaults({.scenario = "dvbt", .entry = DigitalTVSignalTest, .answers = {"49"}},
                 {cannotRun("FilterGraph", "CoCreateInstance", 2),
                  cannotRun("DVBTuningSpace", "CoCreateInstance"),
                  cannotRun("DVBTNetworkProvider", "CoCreateInstance"),
                  cannotRun("DVBTNetworkProvider", "QueryInterface(ITuner)"),
                  cannotRun("Moniker: Virtual DVB-T BDA Tuner", "BindToObject"),
                  cannotRun("Moniker: Virtual DVB-T BDA Tuner", "BindToStorage", 0, "ERROR: IMoniker::BindToStorage failed. hr=-2147467259"),
                  cannotRun("FilterGraph", "AddFilter", 2, "ERROR: IGraphBuilder::AddFilter failed. hr="),
                  cannotRun("*", "ConnectedTo", 0, "ERROR: IPin::ConnectedTo failed. hr=-2147467259"),
                  fails("MPEG2Demultiplexer", "CoCreateInstance"),
                  fails("Moniker: BDA MPEG2 Transport Information Filter", "BindToObject"),
                  fails("DVBTNetworkProvider", "QueryInterface(IFrequencyMap)"),
                  fails("DVBTNetworkProvider", "get_CountryCodeList"),
                  fails("DVBTNetworkProvider", "put_CountryCode"),
                  fails("DVBTNetworkProvider", "get_DefaultFrequencyMapping"),
                  fails("FilterGraph", "Run"),
                  fails("DVBTLocator", "put_Guard"),
                  {"Moniker: Virtual DVB-T BDA Receiver", "BindToObject", 0, nullptr, TestResult::PASS(), nullptr,
                   "ERROR: LoadFilter failed.  Couldn't find a compatible Receiver."},
                  {"SampleGrabber", "CoCreateInstance", 0, nullptr},
                  {"SampleGrabber", "GetCurrentBuffer", 0, nullptr, TestResult::PASS(), nullptr, "Failed to get the buffer size "}},
                 [&](const FaultOutcome&) { expectNothingLeft(); });
}

// The OpenCable warning box itself, as a person sees it: a second thread finds it and presses a button.
TEST_F(DigitalTests, TheOpenCableWarningIsARealBoxWhoseButtonsDecide) {
    for (const int button : {IDCANCEL, IDOK}) {
        load("ocur");
        const testing::UserAtScreen user(L"Digital TV Signal Test",
                                         [button](HWND box) { PostMessageW(box, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), 0); });
        EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "12"}, {"DigitalEndChannel", "12"}}),
                  button == IDOK ? TestResult::PASS() : TestResult::USERABORTED());
    }
}

// ---- the blocks: graph toolkit and filter loading --------------------------------------------

constexpr const char* kPciPath =
    R"(\\\\?\\pci#ven_14f1&dev_8852&subsys_71a10070&rev_04#4&2a9c7e1b&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{8b884e32-fbca-11d4-b0a3-00a0c9f21fc7})";
constexpr const char* kUsbLocator = R"(USB\\VID_2040&PID_7070\\4034567890)";
constexpr const char* kUsbPath =
    R"(\\\\?\\usb#vid_2040&pid_7070#4034567890#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{5b0d4ab4-e5bb-4a3a-b0c2-1f1e8f3e3f4d})";
constexpr const char* kOtherPath =
    R"(\\\\?\\pci#ven_1131&dev_7160&subsys_00000000&rev_03#4&1b2e3f4c&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{1a2b3c4d-0000-0000-0000-000000000001})";

// A graph on the virtual system of one scenario, holding the generic network provider unless told.
class DigitalGraph : public ::testing::Test {
protected:
    // References into one simulation must go before it does.
    void release() {
        tuner_.reset();
        provider_.reset();
        graph_.reset();
    }
    void load(const std::string& scenario, bool withProvider = true) {
        release();
        system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(scenario);
        ASSERT_HRESULT_SUCCEEDED(createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_IGraphBuilder, graph_.putVoid()));
        if (!withProvider) return;
        provider_.attach(getNetworkProvider());
        ASSERT_TRUE(provider_);
        ASSERT_HRESULT_SUCCEEDED(graph_->AddFilter(provider_.get(), L"Microsoft Network Provider"));
    }
    void TearDown() override { release(); }
    ComPtr<IBaseFilter> add(const CLSID& clsid, const wchar_t* name) {
        ComPtr<IBaseFilter> filter;
        createInstance(clsid, nullptr, CLSCTX_ALL, IID_IBaseFilter, filter.putVoid());
        EXPECT_TRUE(filter);
        if (filter) EXPECT_HRESULT_SUCCEEDED(graph_->AddFilter(filter.get(), name));
        return filter;
    }
    ULONG filterCount() {
        ComPtr<IEnumFilters> filters;
        graph_->EnumFilters(filters.put());
        ULONG count = 0;
        for (ComPtr<IBaseFilter> filter; filters->Next(1, filter.put(), nullptr) == S_OK;) ++count;
        return count;
    }
    bool loadTuner(bool strict) {
        tuner_.reset();
        return LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, tuner_.put(), provider_.get(), true, graph_.get(), system_->device(), strict);
    }
    std::string tunerName() {
        tunekit::FilterInfo info;
        if (!tuner_ || FAILED(tuner_->QueryFilterInfo(info.put()))) return "(none)";
        return qis::String(info->achName).utf8();
    }

    std::unique_ptr<testing::SimulatedSystem> system_;
    ComPtr<IGraphBuilder> graph_;
    ComPtr<IBaseFilter> provider_, tuner_;
};

// A renderer has no output: connecting from it connects nothing, and rendering it is an impossible graph.
TEST_F(DigitalGraph, ARendererConnectsAndRendersNothing) {
    load("", false);
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    const ComPtr<IBaseFilter> writer = add(CLSID_FileWriter, L"File Writer");
    EXPECT_THAT(testing::logOf([&] { EXPECT_FALSE(ConnectFilters(renderer.get(), writer.get(), graph_.get())); }), ElementsAre("IBaseFilter::EnumPins(Upstream)", "Starting in pin connection search",
                                         "IPin::QueryPinInfo(Upstream)", "Checking if not connected try to connect it",
                                         "Completed in pin search"));
    EXPECT_EQ(testing::assertionOf([&] { renderGraph(renderer.get(), graph_.get()); }), "false");
    EXPECT_EQ(testing::assertionOf([&] { clearqam::renderGraph(renderer.get(), graph_.get()); }), "false");
}

// The count line is logged from as many places into its text as there are filters.
TEST_F(DigitalGraph, RemoveFiltersTakesEveryFilterOutHalfASecondEachWithTheOffsetCountLine) {
    load("", false);
    for (const auto& [filters, countLine] : {std::pair{0, "Number of filters to remove: "}, std::pair{3, "ber of filters to remove: "},
                                             std::pair{31, ""}}) {
        SCOPED_TRACE(filters);
        for (int i = 0; i < filters; ++i) add(i == 0 ? CLSID_VideoRenderer : CLSID_FileWriter, L"Filter");
        const auto started = tvsim::Simulation::current().elapsed();
        const auto lines = testing::logOf([&] { removeFilters(graph_.get()); });
        EXPECT_GE(std::chrono::duration<double>(tvsim::Simulation::current().elapsed() - started).count(), 0.5 * filters);
        EXPECT_EQ(filterCount(), 0u);
        ASSERT_EQ(lines.size(), filters + 1u);
        EXPECT_EQ(lines[0], countLine);
        for (int i = 0; i < filters; ++i)
            EXPECT_THAT(lines[i + 1], HasSubstr("Removed filter #" + std::to_string(i) + " Refcount after release: "));
        EXPECT_EQ(system_->liveObjects().find("VideoRenderer"), std::string::npos) << system_->liveObjects();
    }
}

// The tuner LoadFilter takes among the category's: without strict match the first that connects to
// the provider, whatever card it is, skipping one that cannot be bound; with it, on a USB device,
// the one of the card's name, as a USB locator is never brought into the path's form. A tuner
// that did not connect is taken out again; when that fails, the search ends.
TEST_F(DigitalGraph, FilterLoadingTakesTheFirstTunerThatFits) {
    const std::string usb = std::string(R"("DeviceLocator": ")") + kUsbLocator + "\"";
    const std::string broken = tunerMoniker("Broken Tuner", "", "receiver"); // its input does not take the provider's output
    const std::string second = tunerMoniker("Second", kPciPath);
    const struct {
        const char* what;
        std::string properties, tuners;
        bool strict;
        const char *faultObject, *faultMethod;
        const char* tuner; // the one loaded; null: none
        ::testing::Matcher<const std::string&> lastLine;
        std::vector<std::string> added; // the filters added to the graph (empty: not checked)
        int removed = -1;
    } cases[] = {
        {"first that connects", R"("DigitalFriendlyName": "My Tuner")",
         broken + ", " + tunerMoniker("Other Card Tuner", kOtherPath, "otherTuner") + ", " + tunerMoniker("My Tuner", kPciPath), false, nullptr,
         nullptr, "Other Card Tuner", "Found filter", {"Microsoft Network Provider", "Broken Tuner", "Other Card Tuner"}, 1},
        {"strict on USB", R"("DigitalFriendlyName": "USB Tuner", )" + usb, tunerMoniker("USB Tuner", kUsbPath), true, nullptr, nullptr,
         "USB Tuner", ::testing::_},
        {"strict on USB, renamed", R"("DigitalFriendlyName": "Renamed", )" + usb, tunerMoniker("USB Tuner", kUsbPath), true, nullptr,
         nullptr, nullptr, "Didn't find filter"},
        {"one not bound", R"("DigitalFriendlyName": "x")", tunerMoniker("First", kOtherPath, "otherTuner") + ", " + second, false,
         "Moniker: First", "BindToObject", "Second", ::testing::_},
        {"none at all", R"("DigitalFriendlyName": "x")", "", false, nullptr, nullptr, nullptr,
         "ERROR: ICreateDevEnum::CreateClassEnumerator failed. hr=1"},
        {"a failed removal", R"("DigitalFriendlyName": "x")", broken + ", " + second, false, "FilterGraph", "RemoveFilter", nullptr,
         HasSubstr("ERROR: IGraphBuilder::RemoveFilter(pFilter) failed. hr="), {"Microsoft Network Provider", "Broken Tuner"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        load(digitalCard(c.properties, c.tuners));
        if (c.faultObject) testing::addFault(c.faultObject, c.faultMethod);
        const auto lines = testing::logOf([&] { EXPECT_EQ(loadTuner(c.strict), c.tuner != nullptr); });
        if (c.tuner) EXPECT_EQ(tunerName(), c.tuner);
        ASSERT_FALSE(lines.empty());
        EXPECT_THAT(lines.back(), c.lastLine);
        if (!c.added.empty()) EXPECT_EQ(journalArguments("FilterGraph", "AddFilter"), c.added);
        if (c.removed >= 0) EXPECT_EQ(journalArguments("FilterGraph", "RemoveFilter").size(), static_cast<std::size_t>(c.removed));
        if (c.removed > 0) EXPECT_THAT(lines, Contains("IGraphBuilder::AddFilter -> Broken Tuner"));
    }
}

// ---- the sample grabber's stream and the renderer's frame counter --------------------------

// A sample grabber filter that reports whatever sizes it is told, and a renderer whose frame
// counter reads as scripted: the misbehaving drivers no virtual card plays.
class ScriptedDriver final : public IBaseFilter, public ISampleGrabber, public IQualProp {
public:
    std::vector<long> sizes;  // what each GetCurrentBuffer reports, in order
    std::vector<int> counts;  // what each get_FramesDrawn reports, in order, the last one ever after
    std::size_t sizeCalls = 0, countCalls = 0;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_ISampleGrabber) *out = static_cast<ISampleGrabber*>(this);
        else if (iid == IID_IQualProp) *out = static_cast<IQualProp*>(this);
        else if (iid == IID_IUnknown || iid == IID_IBaseFilter) *out = static_cast<IBaseFilter*>(this);
        else *out = nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetCurrentBuffer(long* size, long* buffer) override {
        if (buffer) std::memset(buffer, 0x47, static_cast<std::size_t>(*size)); // no more than it was given
        *size = sizes.at(sizeCalls++);
        return S_OK;
    }
    STDMETHODIMP get_FramesDrawn(int* count) override {
        *count = counts.at(std::min(countCalls++, counts.size() - 1));
        return S_OK;
    }
    // Nothing else is called.
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    STDMETHODIMP Stop() override { return E_NOTIMPL; }
    STDMETHODIMP Pause() override { return E_NOTIMPL; }
    STDMETHODIMP Run(REFERENCE_TIME) override { return E_NOTIMPL; }
    STDMETHODIMP GetState(DWORD, FILTER_STATE*) override { return E_NOTIMPL; }
    STDMETHODIMP SetSyncSource(IReferenceClock*) override { return E_NOTIMPL; }
    STDMETHODIMP GetSyncSource(IReferenceClock**) override { return E_NOTIMPL; }
    STDMETHODIMP EnumPins(IEnumPins**) override { return E_NOTIMPL; }
    STDMETHODIMP FindPin(LPCWSTR, IPin**) override { return E_NOTIMPL; }
    STDMETHODIMP QueryFilterInfo(FILTER_INFO*) override { return E_NOTIMPL; }
    STDMETHODIMP JoinFilterGraph(IFilterGraph*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP SetOneShot(BOOL) override { return S_OK; }
    STDMETHODIMP SetMediaType(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP GetConnectedMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP SetBufferSamples(BOOL) override { return S_OK; }
    STDMETHODIMP GetCurrentSample(IMediaSample**) override { return E_NOTIMPL; }
    STDMETHODIMP SetCallback(ISampleGrabberCB*, long) override { return E_NOTIMPL; }
    STDMETHODIMP get_FramesDroppedInRenderer(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AvgFrameRate(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Jitter(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AvgSyncOffset(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_DevSyncOffset(int*) override { return E_NOTIMPL; }
};

// Sizes a grabber misreports: more copied than its buffer holds, a negative copy, a sample
// larger than any stream sample. The buffer is never overrun and nothing is thrown.
TEST(MisreportingGrabber, ReadsNoFurtherThanItsBufferAndNeverThrows) {
    testing::SimulatedSystem system("atsc"); // the virtual clock for the polls
    const struct {
        std::vector<long> sizes;
        long quality;        // what getStreamSignalQuality returns; 0: any quality of a read
        const char* logLine; // the line that says so
    } cases[] = {{{188, 1 << 30}, 0, "Got Data bufferSize: 752"},
                 {{188, -5}, -2, "Failed to get the sample grabber current buffer "},
                 {{0x7fffffff}, -2, "Failed to get the sample grabber current buffer "}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sizes.back());
        ScriptedDriver grabber;
        grabber.sizes = c.sizes;
        long quality = -3;
        EXPECT_THAT(testing::logOf([&] { EXPECT_NO_THROW(quality = getStreamSignalQuality(&grabber)); }), Contains(HasSubstr(c.logLine)));
        if (c.quality) EXPECT_EQ(quality, c.quality);
        else EXPECT_GE(quality, 0);
    }
}

// Three frames from the first reading to the last; counts that go wrong are assertions, a very
// negative one too rather than an overflow.
TEST(RendererCheck, WantsThreeFramesFromTheFirstReadingToTheLast) {
    testing::SimulatedSystem system("atsc"); // the virtual clock for the polls
    const auto framesFor = [](std::vector<int> counts) {
        ScriptedDriver renderer;
        renderer.counts = std::move(counts);
        return testing::assertionOf([&] { EXPECT_FALSE(FramesBeingRendered(&renderer)); });
    };
    EXPECT_EQ(framesFor({10, 11, 12}), "(nothing thrown)");
    EXPECT_EQ(framesFor({-1}), "SUCCEEDED( hr ) && c1 >= 0");
    EXPECT_EQ(framesFor({10, 9}), "c2 - c1 >= 0");
    EXPECT_EQ(framesFor({5, INT_MIN}), "c2 - c1 >= 0");
    ScriptedDriver three;
    three.counts = {10, 11, 13};
    const double started = std::chrono::duration<double>(tvsim::Simulation::current().elapsed()).count();
    EXPECT_TRUE(FramesBeingRendered(&three));
    EXPECT_NEAR(std::chrono::duration<double>(tvsim::Simulation::current().elapsed()).count() - started, 5.0, 0.01)
        << "after the process's first check, 2.5 s and 2.5 s";
}

} // namespace
} // namespace qisrtvcard
