// The digital tests end to end on the virtual digital cards, as a host sees them: results,
// events with their variables, progress texts, percent sequences, prompts and what was tuned.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
#include "frame/Catalogue.h"
#include "frame/CountryDialog.h"
#include "digital/ClearQamTest.h"
#include "digital/DigitalTests.h"
#include "frame/TestEntries.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using mirt5::TestResult;
using testing::journalArguments;

using testing::Parameters;

// The built-in ATSC card with what its tuner receives replaced.
std::string atscCardReceiving(const std::string& receives, const std::string& extra = "") {
    return R"({"device": {"name": "ATSC card", "capabilities": ["VideoCapture", "DigitalTVTuner"],
                          "properties": {"DigitalFriendlyName": "Tuner", "EnableQAM": "1"}},
               "categories": {"BDANetworkProvider": [{"friendlyName": "Microsoft Network Provider", "filter": "provider"}],
                              "BDANetworkTuner": [{"friendlyName": "Tuner", "filter": "tuner"}],
                              "BDAReceiverComponent": [{"friendlyName": "Receiver", "filter": "receiver"}],
                              "BDATransportInformation": [{"friendlyName": "TIF", "filter": "tif"}]},
               "filters": {"provider": {"kind": "networkProvider"},
                           "tuner": {"kind": "bdaTuner", "receives": )" + receives + R"(},
                           "receiver": {"kind": "bdaReceiver"}, "tif": {"kind": "bdaTransportInformation"}},
               "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}])" +
           extra + "}";
}

// A DVB-T stick whose tuner receives `dvbt` and whose frequency map is `maps`; its statistics
// are on the tuner filter or on its topology node.
std::string dvbtStickReceiving(const std::string& dvbt, const std::string& maps, const std::string& deviceName = "DVB-T stick",
                               const std::string& tunerExtra = "", const std::string& statistics = "filter") {
    return R"({"device": {"name": ")" + deviceName + R"(", "capabilities": ["VideoCapture", "DigitalTVTuner"],
                          "properties": {"DigitalFriendlyName": "Tuner"}},
               "categories": {"BDANetworkProvider": [{"friendlyName": "Microsoft DVBT Network Provider", "filter": "provider"}],
                              "BDANetworkTuner": [{"friendlyName": "Tuner", "filter": "tuner"}],
                              "BDAReceiverComponent": [{"friendlyName": "Receiver", "filter": "receiver"}],
                              "BDATransportInformation": [{"friendlyName": "TIF", "filter": "tif"}]},
               "filters": {"provider": {"kind": "networkProvider"},
                           "tuner": {"kind": "bdaTuner", "signalStatistics": ")" + statistics + R"(", "receives": {"dvbt": [)" + dvbt + "]}" + tunerExtra + R"(},
                           "receiver": {"kind": "bdaReceiver"}, "tif": {"kind": "bdaTransportInformation"}},
               "tuningSpaces": [{"uniqueName": "DVB-T", "kind": "DVB-T"}],
               "frequencyMaps": )" + maps + R"(,
               "converters": [{"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}]})";
}

// The source line a log line begins with, of the first line that contains `text`.
std::string sourceLineOf(const std::vector<std::string>& lines, const std::string& text) {
    for (const auto& line : lines)
        if (line.find(text) != std::string::npos) return line.substr(0, line.find(' '));
    return "(no line with " + text + ")";
}

// A fault and what it must come to: an assertion with this text, or a result (and the event).
struct FaultOutcome {
    const char* object;
    const char* method;
    unsigned call;
    const char* assertion; // null: the run returns `result`
    TestResult result;
    const char* event;
    const char* logged = nullptr; // part of a line the module's or the tuning library's log holds
};

std::string describe(const FaultOutcome& row) { return std::string(row.object) + "::" + row.method + " #" + std::to_string(row.call); }

class DigitalTests : public testing::ModuleRun {
protected:
    void SetUp() override {
        QIS_REQUIRE(testing::haveDisplay(), "a display (run under xvfb-run)");
        testing::initialiseCatalogue(); // before the log level is lowered: start-up sets it
        qis::LogFactory::setPriority(qis::LogPriority::Debug);
        supportedCountryCodes().clear();
    }
    void TearDown() override {
        ModuleRun::TearDown();
        supportedCountryCodes().clear();
    }

    std::vector<std::string> moduleLog() const { return probe_->logLines("qisrtvcard"); }
    std::vector<std::string> clearQamLog() const { return probe_->logLines("qisrtvcard.ClearQAMTest"); }
    std::size_t requests() const { return journalArguments("*", "put_TuneRequest").size(); }
    void expectNothingLeft() { EXPECT_EQ(system_->liveObjects(), ""); }
    // The card as a host that gives these properties describes it.
    void describeCardAs(std::map<qis::String, qis::String> properties) {
        probe_->device = mirt5::DiagDevice(system_->device().name(), "", system_->device().capabilities(), std::move(properties));
    }
    // The search for the video renderer keeps one graph reference for every filter it asked for
    // its name; that keeps the whole graph alive, and nothing else may.
    void expectOnlyTheRendererSearchLeaks() {
        const std::size_t asked = journalArguments("*", "QueryFilterInfo").size();
        const std::string live = system_->liveObjects();
        EXPECT_THAT(live, HasSubstr("FilterGraph (" + std::to_string(asked) + ")\n")) << "the graph's references are the search's alone";
    }
    // Runs `entry` on `scenario` once per row, with the row's fault; `more` checks what else a row shows.
    void expectOutcomes(const char* scenario, testing::Entry entry, const Parameters& parameters, const testing::Answers& answers,
                        const std::vector<FaultOutcome>& rows, const std::function<void(const FaultOutcome&)>& more) {
        for (const FaultOutcome& row : rows) {
            SCOPED_TRACE(describe(row));
            load(scenario);
            testing::addFault(row.object, row.method, row.call);
            if (row.assertion) {
                EXPECT_EQ(testing::assertionOf([&] { run(entry, parameters, answers); }), row.assertion);
            } else {
                EXPECT_EQ(run(entry, parameters, answers), row.result);
                if (row.event) EXPECT_THAT(probe_->eventKeys(), ElementsAre(row.event));
                else EXPECT_THAT(probe_->eventKeys(), IsEmpty());
            }
            if (row.logged) {
                std::vector<std::string> lines = moduleLog(), library = probe_->logLines("libTunekit");
                lines.insert(lines.end(), library.begin(), library.end());
                EXPECT_THAT(lines, Contains(HasSubstr(row.logged)));
            }
            more(row);
        }
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

TEST_F(WholeRuns, AtscCards) {
    const Parameters range30 = {{"DigitalStartChannel", "30"}, {"DigitalEndChannel", "31"}};
    expectRuns({
        {.what = "Media Center refuses before COM or any box",
         .scenario = atscCardReceiving(R"({"atsc": {"antenna": [{"physicalChannel": 7}]}})", R"(, "processes": ["ehshell.exe"])"),
         .entry = DigitalTVSignalTest, .result = TestResult::CANNOTRUN(), .events = {"warning:MediaCenterIsRunning"}, .prompts = 0,
         .more = [&] { EXPECT_THAT(journalArguments("COM", "CoInitializeEx"), IsEmpty()); }},
        {.what = "a COM set-up failure cannot run and says why", .scenario = "atsc", .entry = DigitalTVSignalTest,
         .result = TestResult::CANNOTRUN(), .events = {"warning:WarningWindowSetupProblem"},
         .logged = {{"qisrtvcard", HasSubstr("CoInitializeEx failed: ")}},
         .before = [] { testing::addFault("COM", "CoInitializeEx", 0, 0x80010106u); }},
        {.what = "the OpenCable name counts only in its own case", .scenario = "atsc", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "7"}, {"DigitalEndChannel", "7"}}, .result = TestResult::PASS(), .prompts = 0,
         .before = [&] {
             probe_->device = mirt5::DiagDevice("my ati tv wonder opencable receiver", "", system_->device().capabilities(),
                                                {{"DigitalFriendlyName", "Virtual ATSC BDA Tuner"}});
         }},
        {.what = "an ATSC scan without signal is final and DVB-T is not tried", .scenario = "atsc", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "8"}, {"DigitalEndChannel", "9"}, {"CheckTVCable", "false"}},
         .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"}, .more = [&] {
             EXPECT_EQ(tvsim::Simulation::current().journal().count("DVBTNetworkProvider", "CoCreateInstance"), 0u);
             EXPECT_GE(virtualSeconds_, 2.0 * 2.5 + 2.0);
         }},
        {.what = "the scan stops at the first channel with moving picture", .scenario = "atsc", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "9"}}, .result = TestResult::PASS(),
         .channels = {{"2", "3", "4", "5", "6", "7"}}, .percents = {{0, 13, 25, 38, 50, 63, 100}}, // rounded share of the range
         .logged = {{"qisrtvcard.ClearQAMTest", HasSubstr("***FramesBeingRendered returned true")}}, .more = [&] {
             EXPECT_NE(sourceLineOf(clearQamLog(), "returned true"), sourceLineOf(clearQamLog(), "returned false"));
             EXPECT_THAT(journalArguments("ATSCLocator", "put_PhysicalChannel"), ElementsAre("2", "3", "4", "5", "6", "7"));
             expectOnlyTheRendererSearchLeaks();
         }},
        {.what = "a stop request after a channel without picture aborts", .scenario = "atsc", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "9"}}, .result = TestResult::USERABORTED(),
         .channels = {{"2", "3", "4"}}, .before = [&] { stopAt("4"); }},
        {.what = "one channel without signal and no cable check warns with the range", .scenario = "atsc",
         .entry = DigitalTVSignalTest, .parameters = {{"DigitalStartChannel", "30"}, {"DigitalEndChannel", "30"}, {"CheckTVCable", "false"}},
         .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"},
         .variables = {{"startchannel", "30"}, {"endchannel", "30"}}, .percents = {{0, 100}}, .prompts = 0},
        // The cable prompt is offered once and decides.
        {.what = "cable prompt: retry, with no third pass", .scenario = "atsc", .entry = DigitalTVSignalTest, .parameters = range30,
         .answers = {"retry", "retry"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"},
         .channels = {{"30", "31", "30", "31"}}, .percents = {{0, 50, -1, 0, 50, 100}}, .prompts = 1},
        {.what = "cable prompt: cancel", .scenario = "atsc", .entry = DigitalTVSignalTest, .parameters = range30, .answers = {"cancel"},
         .result = TestResult::USERABORTED()},
        {.what = "cable prompt: skip", .scenario = "atsc", .entry = DigitalTVSignalTest, .parameters = range30, .answers = {"skip"},
         .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"}, .channels = {{"30", "31"}}},
        {.what = "a range ending at the top of its type ends", .scenario = "atsc", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "2147483646"}, {"DigitalEndChannel", "2147483647"}, {"CheckTVCable", "false"}},
         .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"}, .channels = {{"2147483646", "2147483647"}}},
        {.what = "without an ATSC tuning space the scan cannot run",
         .scenario = atscCardReceiving(R"({"atsc": {"antenna": [{"physicalChannel": 7}]}})",
                                       R"(, "tuningSpaces": [{"uniqueName": "ATSCCable", "kind": "ATSC", "inputType": "cable"}])"),
         .entry = ATSCTestWrapper, .result = TestResult::CANNOTRUN(), .logged = {{"qisrtvcard.ClearQAMTest", HasSubstr("! TuningSpace ")}}},
        {.what = "Clear QAM: programs one to ten on each channel until a picture", .scenario = "atsc", .entry = ClearQAMTest,
         .result = TestResult::PASS(), .channels = programs(77, 80, 3),
         .more = [&] { EXPECT_THAT(journalArguments("ATSCLocator", "put_CarrierFrequency").back(), "559250"); }},
        // 540 requests in virtual time, much faster than a real card.
        {.what = "Clear QAM: a full scan without picture warns", .scenario = atscCardReceiving(R"({"clearQam": []})"),
         .entry = ClearQAMTest, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalQC"},
         .channels = programs(77, 130, 10), .more = [&] {
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
         .entry = ClearQAMTest, .result = TestResult::PASS(), .more = [&] {
             const auto& percents = probe_->reporter.percents;
             ASSERT_EQ(percents.size(), 92u); // 77-1 ... 86-1, then 100
             EXPECT_EQ(percents[0], 0);
             EXPECT_EQ(percents[10], 2) << "78: 1/54 of the way, rounded";
             EXPECT_EQ(percents[90], 17) << "86: 9/54";
             EXPECT_EQ(percents.back(), 100);
         }},
    });
}

TEST_F(WholeRuns, OpenCableReceiver) {
    const Parameters one = {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "20"}};
    expectRuns({
        {.what = "warned first, and cancel aborts", .scenario = "ocur", .entry = DigitalTVSignalTest, .answers = {"cancel"},
         .result = TestResult::USERABORTED(), .prompts = 1, .more = [&] {
             EXPECT_EQ(probe_->reporter.prompts[0].kind, "ocurWarning");
             EXPECT_EQ(probe_->reporter.prompts[0].title, "Digital TV Signal Test");
             EXPECT_EQ(requests(), 0u);
         }},
        // One progress line per channel, on the antenna input; antenna then cable on each channel.
        {.what = "finds the cable channel on its own tuner and shows it for ten seconds", .scenario = "ocur",
         .entry = DigitalTVSignalTest, .parameters = {{"DigitalStartChannel", "10"}, {"DigitalEndChannel", "14"}}, .answers = {"ok"},
         .result = TestResult::PASS(), .channels = {{"10", "11", "12"}},
         .logged = {{"qisrtvcard", HasSubstr("Couldn't find a compatible Receiver.  Continuing as it is not always required.")},
                    {"qisrtvcard", HasSubstr("Added ATSC QAM network provider")},
                    // The other card's tuner comes first: its path and its name are both wrong.
                    {"libTunekit", R"(Guids this:VEN_1131&DEV_7160&SUBSYS_00000000&REV_03\4&1B2E3F4C&0&00E0      )"
                                   R"(device we are looking for:PCI\VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01\4&1C3D5A7E&0&00E0)"},
                    {"libTunekit", R"(Mismatching name while enumerating: looking for "VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01#4&1C3D5A7E&0&00E0" )"
                                   R"(or "ATI TV Wonder OpenCable Receiver" , but found: "VEN_1131&DEV_7160&SUBSYS_00000000&REV_03#4&1B2E3F4C&0&00E0" )"
                                   R"(and "Other Vendor BDA Tuner")"}},
         .more = [&] {
             EXPECT_THAT(journalArguments("SystemTuningSpaces", "get_Item"), ElementsAre("3")) << "the fourth tuning space is the QAM one";
             EXPECT_EQ(requests(), 6u);
             EXPECT_NE(sourceLineOf(moduleLog(), "Couldn't find a compatible Receiver"), sourceLineOf(moduleLog(), "Cleaning up"))
                 << "each line names the statement that wrote it";
             EXPECT_THAT(journalArguments("FilterGraph", "AddFilter"), Contains("ATI TV Wonder OpenCable Receiver Tuner"));
             EXPECT_GE(virtualSeconds_, 10.0);
             EXPECT_EQ(probe_->reporter.percents.back(), 100);
             expectNothingLeft();
         }},
        {.what = "a range ending at the top of its type ends", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "4294967294"}, {"DigitalEndChannel", "4294967295"}, {"CheckTVCable", "false"}},
         .answers = {"ok"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"},
         .channels = {{"4294967294", "4294967295"}}},
        {.what = "percents count from the channel number and pass one hundred", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "4"}, {"CheckTVCable", "false"}}, .answers = {"ok"},
         .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"},
         .variables = {{"startchannel", "2"}, {"endchannel", "4"}}, .percents = {{100, 150, 200, 100}},
         .logged = {{"qisrtvcard", HasSubstr("Done due to no prompt and retry setting set or max attempts complete")}}},
        {.what = "without the tuner's name the card's path alone finds it", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "12"}, {"DigitalEndChannel", "12"}}, .answers = {"ok"}, .result = TestResult::PASS(),
         .logged = {{"libTunekit", "The DigitalFriendlyName property is required, but wasn't found"}},
         .before = [&] { describeCardAs({{"DeviceLocator", R"(PCI\VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01\4&1C3D5A7E&0&00E0)"}}); }},
        // The technique asks the provider's request, which has a minor channel only where a program is received.
        {.what = "minor-channel technique: the received channel", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "12"}, {"DigitalEndChannel", "12"}, {"UseMinorChannelTechnique", "true"}},
         .answers = {"ok"}, .result = TestResult::PASS(),
         .more = [&] { EXPECT_THAT(journalArguments("*", "get_SignalPresent"), IsEmpty()) << "the statistics are not asked"; }},
        {.what = "minor-channel technique: a channel not received", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "20"}, {"UseMinorChannelTechnique", "true"}, {"CheckTVCable", "false"}},
         .answers = {"ok"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"}},
        // The warning and one cable prompt.
        {.what = "a reversed range tunes nothing and a retry finds nothing again", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = {{"DigitalStartChannel", "9"}, {"DigitalEndChannel", "3"}}, .answers = {"ok", "retry"},
         .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"}, .prompts = 2,
         .more = [&] { EXPECT_EQ(requests(), 0u); }},
        {.what = "cable prompt: cancel", .scenario = "ocur", .entry = DigitalTVSignalTest, .parameters = one,
         .answers = {"ok", "cancel"}, .result = TestResult::USERABORTED(),
         .logged = {{"qisrtvcard", HasSubstr("Done due to user cancel on prompt")}}},
        {.what = "cable prompt: skip; a one-channel range counts as done", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = one, .answers = {"ok", "skip"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"},
         .percents = {{100, 100}}, .logged = {{"qisrtvcard", HasSubstr("Done due to prompting disabled")}}},
        {.what = "cable prompt: retry, two passes of antenna and cable", .scenario = "ocur", .entry = DigitalTVSignalTest,
         .parameters = one, .answers = {"ok", "retry"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"},
         .more = [&] { EXPECT_EQ(requests(), 4u); }},
    });
}

TEST_F(WholeRuns, DvbtSticks) {
    const std::string weakStream = R"({"frequency": 482000, "modulation": "64QAM", "mode": "8K", "guard": "1/32", "lpFecRate": "2/3",
                                       "bandwidth": 8, "quality": 90, "sampleBytes": 100})";
    const std::string twoRecords = R"({"7": [474000, 482000]})";
    // Without a grabber the tuner's statistics decide: on the filter presence alone, on the
    // topology node presence, lock and quality above fifty.
    const auto statisticsCard = [&](const char* where, const std::string& statistics) {
        return dvbtStickReceiving(R"({"frequency": 482000, "modulation": "64QAM", "mode": "8K", "guard": "1/32", "lpFecRate": "2/3",
                                      "bandwidth": 8, "statistics": )" + statistics + "}", twoRecords, "DVB-T stick", "", where);
    };
    const auto noGrabber = [] { testing::addFault("SampleGrabber", "CoCreateInstance"); };
    const std::vector<std::string> topologyLines = {
        "ERROR: IBaseFilter::QueryInterface(IBDA_SignalStatistics) is not working.", "Trying new topology method",
        "Querying for topology on tuner device", "Getting nodes types", "Getting node interfaces", "Getting node interfaces",
        "Checking for IID_IBDA_SignalStatistics", "Checking for control node", "Querying for the sig stats from the topo node",
        "Topo sig qual: 51", "Topo sig lock: 1", "Topo sig present: 1", "Topo sig strength: 80", "Topo sample time: 100",
        "Checking if topo signal is present", "Found a valid signal"};
    expectRuns({
        {.what = "a card without an ATSC path goes on to DVB-T and tunes the country's plan until a good stream, without progress texts",
         .scenario = "dvbt", .entry = DigitalTVSignalTest, .answers = {"49"}, .result = TestResult::PASS(),
         .channels = std::vector<std::string>{}, .logged = {{"libTunekit", "ATSCTestWrapper()--! NetworkProviderFilter"},
                                                           {"libTunekit", "Set DVB-T Channel Range: 1-23"},
                                                           {"libTunekit", HasSubstr("Got Data bufferSize: ")},
                                                           {"libTunekit", "Connecting pins failed."}},
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
        {.what = "a cancelled country dialog aborts at one hundred percent", .scenario = "dvbt", .entry = DigitalTVSignalTest,
         .answers = {"0"}, .result = TestResult::USERABORTED(), .percents = {{100}},
         .logged = {{"libTunekit", "Exiting due to user abort on country dialog"}}},
        {.what = "any word but ok cancels the country dialog", .scenario = "dvbt", .entry = DigitalTVSignalTest, .answers = {"skip"},
         .result = TestResult::USERABORTED()},
        {.what = "ok confirms the preselected USA, which has no plan", .scenario = "dvbt", .entry = DigitalTVSignalTest, .answers = {"ok"},
         .result = TestResult::FAIL(), .events = {"error:ErrorCreatingFilterGraph"}, .more = [] { EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_CountryCode"), ElementsAre("1")); }},
        // An unknown country gets the default row: one record per frequency.
        {.what = "a one-record plan tunes nothing", .scenario = dvbtStickReceiving("", R"({"7": [474000]})"), .entry = DigitalTVSignalTest,
         .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"},
         .variables = {{"startchannel", "1"}, {"endchannel", "0"}}, .more = [&] { EXPECT_EQ(requests(), 0u); }},
        {.what = "a two-record plan tunes its second record only", .scenario = dvbtStickReceiving("", twoRecords),
         .entry = DigitalTVSignalTest, .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorNoSignalDetected"}, .percents = {{100, 100}}, .logged = {{"libTunekit", "No Signal Present"}}, .more = [&] {
             ASSERT_EQ(requests(), 1u);
             EXPECT_THAT(journalArguments("*", "put_TuneRequest")[0], HasSubstr("frequency=482000"));
         }},
        {.what = "an empty plan wraps round and fails", .scenario = dvbtStickReceiving("", R"({"7": []})"), .entry = DigitalTVSignalTest,
         .answers = {"7"}, .result = TestResult::FAIL(), .events = {"error:ErrorCreatingFilterGraph"},
         .logged = {{"libTunekit", "Set DVB-T Channel Range: 1-4294967295"}}},
        {.what = "an unreadable stream (-1) does not ask the tuner", .scenario = dvbtStickReceiving(weakStream, twoRecords),
         .entry = DigitalTVSignalTest, .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorNoSignalDetected"}, .logged = {{"libTunekit", "We were not receiving any stream data"}},
         .more = [&] { EXPECT_EQ(tvsim::Simulation::current().journal().count("Tuner", "get_SignalPresent"), 0u); }},
        {.what = "without a grabber the tuner's statistics decide", .scenario = dvbtStickReceiving(weakStream, twoRecords),
         .entry = DigitalTVSignalTest, .parameters = kNoCable, .answers = {"7"}, .result = TestResult::PASS(),
         .logged = {{"libTunekit", "Sample Grabber creation failed"}}, .before = [] { testing::addFault("SampleGrabber", "CoCreateInstance"); }},
        {.what = "an OpenCable name gets the tip",
         .scenario = dvbtStickReceiving("", twoRecords, "ATI TV Wonder OpenCable Receiver DVB-T"), .entry = RunDVBTest,
         .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalWithTip"}},
        {.what = "topology statistics: quality 51 with lock and presence is a signal",
         .scenario = statisticsCard("topology", R"({"locked": true, "present": true, "quality": 51})"), .entry = DigitalTVSignalTest,
         .parameters = kNoCable, .answers = {"7"}, .result = TestResult::PASS(), .before = noGrabber, .more = [&] {
             const auto lines = probe_->logLines("libTunekit");
             const auto at = std::find(lines.begin(), lines.end(), topologyLines.front());
             ASSERT_GE(lines.end() - at, static_cast<std::ptrdiff_t>(topologyLines.size()));
             EXPECT_EQ(std::vector<std::string>(at, at + static_cast<std::ptrdiff_t>(topologyLines.size())), topologyLines);
         }},
        {.what = "topology statistics: quality 50 is not", .scenario = statisticsCard("topology", R"({"locked": true, "present": true, "quality": 50})"),
         .entry = DigitalTVSignalTest, .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorNoSignalDetected"}, .before = noGrabber},
        {.what = "topology statistics: lock without presence is not",
         .scenario = statisticsCard("topology", R"({"locked": true, "present": false, "quality": 90})"), .entry = DigitalTVSignalTest,
         .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(), .events = {"warning:ErrorNoSignalDetected"},
         .before = noGrabber},
        {.what = "filter statistics: presence alone is a signal",
         .scenario = statisticsCard("filter", R"({"locked": false, "present": true, "quality": 10})"), .entry = DigitalTVSignalTest,
         .parameters = kNoCable, .answers = {"7"}, .result = TestResult::PASS(), .before = noGrabber},
        {.what = "filter statistics: nothing received is no signal", .scenario = dvbtStickReceiving("", twoRecords),
         .entry = DigitalTVSignalTest, .parameters = kNoCable, .answers = {"7"}, .result = TestResult::NOSIGNAL(),
         .events = {"warning:ErrorNoSignalDetected"}, .before = noGrabber},
    });
}

// ---- failures of the ATSC and Clear QAM scans ------------------------------------------------

using AtscScan = DigitalTests;

TEST_F(AtscScan, EachGraphStepFailsInItsOwnStyle) {
    const std::vector<FaultOutcome> rows = {
        {"FilterGraph", "AddFilter", 1, "SUCCEEDED( hr )", TestResult::PASS(), nullptr}, // the network provider
        {"Microsoft Network Provider", "QueryInterface(ITuner)", 0, "Tuner", TestResult::PASS(), nullptr},
        {"MPEG2Demultiplexer", "CoCreateInstance", 0, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"Virtual ATSC BDA Receiver", "EnumPins", 2, "bRes", TestResult::PASS(), nullptr}, // the first is its own loading
        {"FilterGraph", "QueryInterface(IVideoWindow)", 0, "VideoWindow", TestResult::PASS(), nullptr},
        {"VideoRenderer", "QueryInterface(IQualProp)", 0, "SUCCEEDED( hr ) && QualProp", TestResult::PASS(), nullptr},
        {"FilterGraph", "QueryInterface(IMediaControl)", 0, "MediaControl", TestResult::PASS(), nullptr},
        {"FilterGraph", "Run", 1, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"FilterGraph", "Pause", 1, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"Microsoft Network Provider", "put_TuneRequest", 1, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"ATSCLocator", "put_PhysicalChannel", 1, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"FilterGraph", "Stop", 0, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"Moniker: Virtual ATSC BDA Tuner", "BindToObject", 0, nullptr, TestResult::CANNOTRUN(), nullptr},
        {"Moniker: Virtual ATSC BDA Receiver", "BindToObject", 0, nullptr, TestResult::CANNOTRUN(), nullptr},
    };
    expectOutcomes("atsc", ATSCTestWrapper, {{"DigitalStartChannel", "7"}, {"DigitalEndChannel", "7"}}, {}, rows, [](const FaultOutcome& row) {
        // The scan's own calls leave their result in the last HRESULT; ConnectFilters does not.
        if (row.assertion && std::string(row.assertion) != "bRes") EXPECT_EQ(static_cast<std::uint32_t>(g_clearQamResult), 0x80004005u);
    });
}

// ---- the Clear QAM scan ----------------------------------------------------------------------

using ClearQamScan = DigitalTests;

// Only the provider named exactly is the generic one.
TEST_F(ClearQamScan, AMissingGenericProviderIsAnAssertionNotAResult) {
    for (const char* scenario : {"dvbt", R"({"device": {"name": "x", "capabilities": ["VideoCapture", "DigitalTVTuner"]},
        "categories": {"BDANetworkProvider": [{"friendlyName": "microsoft network provider", "filter": "p"}]},
        "filters": {"p": {"kind": "networkProvider"}}})"}) {
        load(scenario);
        EXPECT_EQ(testing::assertionOf([&] { run(ClearQAMTest); }), "NetworkProviderFilter");
    }
}

TEST_F(ClearQamScan, TheWrapperThrowsWhereTheAtscPathCannotRunAndARefusedRunCannotRun) {
    const std::vector<FaultOutcome> rows = {
        {"FilterGraph", "CoCreateInstance", 0, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"FilterGraph", "AddFilter", 1, "SUCCEEDED( hr )", TestResult::PASS(), nullptr},
        {"Moniker: Virtual ATSC BDA Tuner", "BindToObject", 0, "false", TestResult::PASS(), nullptr},
        {"Moniker: Virtual ATSC BDA Receiver", "BindToObject", 0, "false", TestResult::PASS(), nullptr},
        {"Microsoft Network Provider", "QueryInterface(ITuner)", 0, "Tuner", TestResult::PASS(), nullptr},
        {"FilterGraph", "Run", 1, nullptr, TestResult::CANNOTRUN(), nullptr},
        {"ATSCLocator", "QueryInterface(IATSCLocator2)", 1, "ATSCLocator2", TestResult::PASS(), nullptr},
    };
    expectOutcomes("atsc", ClearQAMTest, {}, {}, rows, [&](const FaultOutcome& row) {
        if (!row.assertion) EXPECT_THAT(clearQamLog(), Contains(HasSubstr("MediaControl->Run() failed")));
    });
}

// ---- the OpenCable receiver ------------------------------------------------------------------

using OcurScan = DigitalTests;

TEST_F(OcurScan, GraphStepsUpToTheTunerCannotRunAndLaterOnesFail) {
    const std::vector<FaultOutcome> rows = {
        {"FilterGraph", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"SystemTuningSpaces", "get_Item", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph",
         "Error pITuningSpaceContainer->get_Item failed. hr="},
        {"ATSCQAMNetworkProvider", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"ATSCQAMNetworkProvider", "QueryInterface(ITuner)", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"Moniker: ATI TV Wonder OpenCable Receiver Tuner", "BindToObject", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"MPEG2Demultiplexer", "CoCreateInstance", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"FilterGraph", "QueryInterface(IMediaControl)", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"FilterGraph", "Run", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph", "ERROR: IMediaControl::Run failed. hr=-2147467259"},
        {"ATSCLocator", "CoCreateInstance", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"ATSCLocator", "put_PhysicalChannel", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph",
         "ERROR: IATSCLocator::put_PhysicalChannel failed. hr=-2147467259"},
        {"ATI TV Wonder OpenCable Receiver Tuner", "EnumPins", 2, "false", TestResult::PASS(), nullptr}, // rendering the tuner's output
    };
    expectOutcomes("ocur", DigitalTVSignalTest, {}, {"ok"}, rows, [&](const FaultOutcome& row) {
        if (!row.assertion) expectNothingLeft();
    });
}

// The warning box itself, as a person sees it: a second thread finds it and presses a button.
TEST_F(OcurScan, TheWarningIsARealBoxWhoseButtonsDecide) {
    for (const int button : {IDCANCEL, IDOK}) {
        load("ocur");
        std::atomic<bool> running{true};
        std::thread user([&] {
            for (int i = 0; i < 2000 && running; ++i) {
                if (HWND box = FindWindowW(L"#32770", L"Digital TV Signal Test"); box && IsWindowVisible(box)) {
                    PostMessageW(box, WM_COMMAND, MAKEWPARAM(button, BN_CLICKED), 0);
                    return;
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
        });
        const TestResult result = run(DigitalTVSignalTest, {{"DigitalStartChannel", "12"}, {"DigitalEndChannel", "12"}});
        running = false;
        user.join();
        EXPECT_EQ(result, button == IDOK ? TestResult::PASS() : TestResult::USERABORTED());
    }
}

// ---- DVB-T -----------------------------------------------------------------------------------

using DvbtScan = DigitalTests;

TEST_F(DvbtScan, SetUpFailuresUpToTheTunerCannotRunAndLaterOnesFail) {
    const std::vector<FaultOutcome> rows = {
        {"FilterGraph", "CoCreateInstance", 2, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"DVBTuningSpace", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "QueryInterface(ITuner)", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"Moniker: Virtual DVB-T BDA Tuner", "BindToObject", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        // A tuner whose properties cannot be read, or that the graph refuses, ends the search.
        {"Moniker: Virtual DVB-T BDA Tuner", "BindToStorage", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph",
         "ERROR: IMoniker::BindToStorage failed. hr=-2147467259"},
        {"FilterGraph", "AddFilter", 2, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph",
         "ERROR: IGraphBuilder::AddFilter failed. hr="},
        {"*", "ConnectedTo", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph", "ERROR: IPin::ConnectedTo failed. hr=-2147467259"},
        {"MPEG2Demultiplexer", "CoCreateInstance", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"Moniker: BDA MPEG2 Transport Information Filter", "BindToObject", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "QueryInterface(IFrequencyMap)", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "get_CountryCodeList", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "put_CountryCode", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "get_DefaultFrequencyMapping", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"FilterGraph", "Run", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTLocator", "put_Guard", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"Moniker: Virtual DVB-T BDA Receiver", "BindToObject", 0, nullptr, TestResult::PASS(), nullptr,
         "ERROR: LoadFilter failed.  Couldn't find a compatible Receiver."},
        {"SampleGrabber", "CoCreateInstance", 0, nullptr, TestResult::PASS(), nullptr},
        // A grabber that cannot be read leaves the decision to the tuner's statistics.
        {"SampleGrabber", "GetCurrentBuffer", 0, nullptr, TestResult::PASS(), nullptr, "Failed to get the buffer size "},
    };
    // The ATSC path creates the first graph and cannot run on this card.
    expectOutcomes("dvbt", DigitalTVSignalTest, {}, {"49"}, rows, [&](const FaultOutcome&) { expectNothingLeft(); });
}

} // namespace
} // namespace qisrtvcard
