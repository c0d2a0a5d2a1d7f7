// The digital tests end to end on the virtual digital cards, as a host sees them: results,
// events with their variables, progress texts, percent sequences, prompts and what was tuned.
#include <atomic>
#include <chrono>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
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

// A DVB-T stick whose tuner receives `dvbt` and whose frequency map is `maps`.
std::string dvbtStickReceiving(const std::string& dvbt, const std::string& maps, const std::string& deviceName = "DVB-T stick",
                               const std::string& tunerExtra = "") {
    return R"({"device": {"name": ")" + deviceName + R"(", "capabilities": ["VideoCapture", "DigitalTVTuner"],
                          "properties": {"DigitalFriendlyName": "Tuner"}},
               "categories": {"BDANetworkProvider": [{"friendlyName": "Microsoft DVBT Network Provider", "filter": "provider"}],
                              "BDANetworkTuner": [{"friendlyName": "Tuner", "filter": "tuner"}],
                              "BDAReceiverComponent": [{"friendlyName": "Receiver", "filter": "receiver"}],
                              "BDATransportInformation": [{"friendlyName": "TIF", "filter": "tif"}]},
               "filters": {"provider": {"kind": "networkProvider"},
                           "tuner": {"kind": "bdaTuner", "signalStatistics": "filter", "receives": {"dvbt": [)" + dvbt + "]}" + tunerExtra + R"(},
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
    std::vector<std::string> tunerLog() const { return probe_->logLines("libTunekit"); }
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
            more(row);
        }
    }
};

// ---- which test a card gets ------------------------------------------------------------------

using Dispatcher = DigitalTests;

TEST_F(Dispatcher, MediaCenterRefusesBeforeComOrAnyBox) {
    load(atscCardReceiving(R"({"atsc": {"antenna": [{"physicalChannel": 7}]}})", R"(, "processes": ["ehshell.exe"])"));
    EXPECT_EQ(run(DigitalTVSignalTest), TestResult::CANNOTRUN());
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:MediaCenterIsRunning"));
    EXPECT_THAT(journalArguments("COM", "CoInitializeEx"), IsEmpty());
    EXPECT_TRUE(probe_->reporter.prompts.empty());
}

TEST_F(Dispatcher, AComSetUpFailureCannotRunAndSaysWhy) {
    load("atsc");
    testing::addFault("COM", "CoInitializeEx", 0, 0x80010106u);
    EXPECT_EQ(run(DigitalTVSignalTest), TestResult::CANNOTRUN());
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:WarningWindowSetupProblem"));
    EXPECT_THAT(moduleLog(), Contains(HasSubstr("CoInitializeEx failed: ")));
}

TEST_F(Dispatcher, AnOpenCableReceiverIsWarnedFirstAndCancelAborts) {
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, {}, {"cancel"}), TestResult::USERABORTED());
    ASSERT_EQ(probe_->reporter.prompts.size(), 1u);
    EXPECT_EQ(probe_->reporter.prompts[0].kind, "ocurWarning");
    EXPECT_EQ(probe_->reporter.prompts[0].title, "Digital TV Signal Test");
    EXPECT_EQ(requests(), 0u);
}

TEST_F(Dispatcher, TheOpenCableNameCountsOnlyInItsOwnCase) {
    load("atsc");
    probe_->device = mirt5::DiagDevice("my ati tv wonder opencable receiver", "", system_->device().capabilities(),
                                       {{"DigitalFriendlyName", "Virtual ATSC BDA Tuner"}});
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "7"}, {"DigitalEndChannel", "7"}}), TestResult::PASS());
    EXPECT_TRUE(probe_->reporter.prompts.empty()) << "the ATSC scan ran";
}

TEST_F(Dispatcher, AnAtscScanWithoutSignalIsFinalAndDvbtIsNotTried) {
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "8"}, {"DigitalEndChannel", "9"}, {"CheckTVCable", "false"}}),
              TestResult::NOSIGNAL());
    EXPECT_EQ(tvsim::Simulation::current().journal().count("DVBTNetworkProvider", "CoCreateInstance"), 0u);
    EXPECT_GE(virtualSeconds_, 2.0 * 2.5 + 2.0);
}

TEST_F(Dispatcher, ACardWithoutAnAtscPathGoesOnToDvbt) {
    load("dvbt");
    EXPECT_EQ(run(DigitalTVSignalTest, {}, {"49"}), TestResult::PASS());
    EXPECT_THAT(clearQamLog(), IsEmpty());
    EXPECT_THAT(tunerLog(), Contains("ATSCTestWrapper()--! NetworkProviderFilter"));
    EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_CountryCode"), ElementsAre("49"));
}

// ---- the ATSC scan ---------------------------------------------------------------------------

using AtscScan = DigitalTests;

TEST_F(AtscScan, StopsAtTheFirstChannelWithMovingPicture) {
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "9"}}), TestResult::PASS());
    EXPECT_THAT(progress(), ElementsAre("2", "3", "4", "5", "6", "7"));
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(0, 13, 25, 38, 50, 63, 100)); // rounded share of the range
    EXPECT_THAT(probe_->eventKeys(), IsEmpty());
    EXPECT_THAT(clearQamLog(), Contains(HasSubstr("***FramesBeingRendered returned true")));
    EXPECT_NE(sourceLineOf(clearQamLog(), "returned true"), sourceLineOf(clearQamLog(), "returned false"));
    EXPECT_THAT(journalArguments("ATSCLocator", "put_PhysicalChannel"), ElementsAre("2", "3", "4", "5", "6", "7"));
    expectOnlyTheRendererSearchLeaks();
}

TEST_F(AtscScan, OneChannelWithoutSignalAndNoCableCheckWarnsWithTheRange) {
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "30"}, {"DigitalEndChannel", "30"}, {"CheckTVCable", "false"}}),
              TestResult::NOSIGNAL());
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(0, 100));
    ASSERT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    EXPECT_EQ(event(0).variables.at("startchannel"), "30");
    EXPECT_EQ(event(0).variables.at("endchannel"), "30");
    EXPECT_TRUE(probe_->reporter.prompts.empty());
}

TEST_F(AtscScan, TheCablePromptIsOfferedOnceAndDecides) {
    const Parameters range = {{"DigitalStartChannel", "30"}, {"DigitalEndChannel", "31"}};
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, range, {"retry", "retry"}), TestResult::NOSIGNAL());
    EXPECT_EQ(probe_->reporter.prompts.size(), 1u) << "there is no third pass";
    EXPECT_THAT(progress(), ElementsAre("30", "31", "30", "31"));
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(0, 50, -1, 0, 50, 100));
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, range, {"cancel"}), TestResult::USERABORTED());
    EXPECT_THAT(probe_->eventKeys(), IsEmpty());
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, range, {"skip"}), TestResult::NOSIGNAL());
    EXPECT_THAT(progress(), ElementsAre("30", "31"));
}

TEST_F(AtscScan, AStopRequestAfterAChannelWithoutPictureAborts) {
    load("atsc");
    probe_->onProgress = [](const qis::String& text) {
        if (text.endsWith("4")) mirt5::DiagModule::requestStop();
    };
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "9"}}), TestResult::USERABORTED());
    EXPECT_THAT(progress(), ElementsAre("2", "3", "4"));
}

TEST_F(AtscScan, WithoutAnAtscTuningSpaceTheScanCannotRun) {
    load(atscCardReceiving(R"({"atsc": {"antenna": [{"physicalChannel": 7}]}})",
                           R"(, "tuningSpaces": [{"uniqueName": "ATSCCable", "kind": "ATSC", "inputType": "cable"}])"));
    probe_->parameters = {};
    EXPECT_EQ(run(ATSCTestWrapper), TestResult::CANNOTRUN());
    EXPECT_THAT(clearQamLog(), Contains(HasSubstr("! TuningSpace ")));
}

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

TEST_F(ClearQamScan, ProgramsOneToTenOnEachChannelUntilAPicture) {
    load("atsc");
    EXPECT_EQ(run(ClearQAMTest), TestResult::PASS());
    const auto texts = progress();
    ASSERT_EQ(texts.size(), 33u); // 77-1 ... 80-3
    EXPECT_EQ(texts[0], "77-1");
    EXPECT_EQ(texts[9], "77-10");
    EXPECT_EQ(texts[10], "78-1");
    EXPECT_EQ(texts.back(), "80-3");
    EXPECT_THAT(probe_->eventKeys(), IsEmpty());
    EXPECT_THAT(journalArguments("ATSCLocator", "put_CarrierFrequency").back(), "559250");
}

// A full scan without a picture: 540 requests in virtual time, much faster than a real card.
TEST_F(ClearQamScan, AFullScanWithoutPictureRunsInVirtualTimeAndWarns) {
    load(atscCardReceiving(R"({"clearQam": []})"));
    EXPECT_EQ(run(ClearQAMTest), TestResult::NOSIGNAL());
    EXPECT_EQ(requests(), 540u);
    EXPECT_EQ(progress().back(), "130-10");
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalQC"));
    EXPECT_GE(virtualSeconds_, 540 * 2.6);
    std::printf("[ benchmark ] full Clear QAM scan: %.0f s virtual, %.2f s wall\n", virtualSeconds_, wallSeconds_);
    EXPECT_EQ(probe_->reporter.percents.front(), 0);
    EXPECT_EQ(probe_->reporter.percents.back(), 100);
}

TEST_F(ClearQamScan, AMissingGenericProviderIsAnAssertionNotAResult) {
    load("dvbt");
    EXPECT_EQ(testing::assertionOf([&] { run(ClearQAMTest); }), "NetworkProviderFilter");
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

TEST_F(ClearQamScan, PercentsFollowTheChannelRoundedAcrossFiftyFour) {
    load(atscCardReceiving(R"({"clearQam": [{"frequency": 595250, "program": 1}]})")); // channel 86
    EXPECT_EQ(run(ClearQAMTest), TestResult::PASS());
    const auto& percents = probe_->reporter.percents;
    ASSERT_EQ(percents.size(), 92u); // 77-1 ... 86-1, then 100
    EXPECT_EQ(percents[0], 0);
    EXPECT_EQ(percents[10], 2) << "78: 1/54 of the way, rounded";
    EXPECT_EQ(percents[90], 17) << "86: 9/54";
    EXPECT_EQ(percents.back(), 100);
}

// ---- the OpenCable receiver ------------------------------------------------------------------

using OcurScan = DigitalTests;

TEST_F(OcurScan, FindsTheCableChannelOnItsOwnTunerAndShowsItForTenSeconds) {
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "10"}, {"DigitalEndChannel", "14"}}, {"ok"}), TestResult::PASS());
    EXPECT_THAT(progress(), ElementsAre("10", "11", "12")) << "one progress line per channel, on the antenna input";
    EXPECT_EQ(requests(), 6u) << "antenna then cable on each channel";
    EXPECT_THAT(moduleLog(), Contains(HasSubstr("Couldn't find a compatible Receiver.  Continuing as it is not always required.")));
    EXPECT_NE(sourceLineOf(moduleLog(), "Couldn't find a compatible Receiver"), sourceLineOf(moduleLog(), "Cleaning up"))
        << "each line names the statement that wrote it";
    EXPECT_THAT(journalArguments("FilterGraph", "AddFilter"), Contains("ATI TV Wonder OpenCable Receiver Tuner"));
    EXPECT_GE(virtualSeconds_, 10.0);
    EXPECT_EQ(probe_->reporter.percents.back(), 100);
    expectNothingLeft();
}

// Ranges that end at the top of the parameters' type end there, on both scans.
TEST_F(OcurScan, RangesEndingAtTheTopOfTheirTypeEnd) {
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "4294967294"}, {"DigitalEndChannel", "4294967295"}, {"CheckTVCable", "false"}},
                  {"ok"}),
              TestResult::NOSIGNAL());
    EXPECT_THAT(progress(), ElementsAre("4294967294", "4294967295"));
    load("atsc");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "2147483646"}, {"DigitalEndChannel", "2147483647"}, {"CheckTVCable", "false"}}),
              TestResult::NOSIGNAL());
    EXPECT_THAT(progress(), ElementsAre("2147483646", "2147483647"));
}

TEST_F(OcurScan, PercentsCountFromTheChannelNumberAndPassOneHundred) {
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "2"}, {"DigitalEndChannel", "4"}, {"CheckTVCable", "false"}}, {"ok"}),
              TestResult::NOSIGNAL());
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(100, 150, 200, 100));
    EXPECT_THAT(moduleLog(), Contains(HasSubstr("Done due to no prompt and retry setting set or max attempts complete")));
    ASSERT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalWithTip"));
    EXPECT_EQ(event(0).variables.at("startchannel"), "2");
    EXPECT_EQ(event(0).variables.at("endchannel"), "4");
}

TEST_F(OcurScan, AReversedRangeTunesNothingAndARetryFindsNothingAgain) {
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"DigitalStartChannel", "9"}, {"DigitalEndChannel", "3"}}, {"ok", "retry"}),
              TestResult::NOSIGNAL());
    EXPECT_EQ(requests(), 0u);
    EXPECT_EQ(probe_->reporter.prompts.size(), 2u); // the warning and one cable prompt
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalWithTip"));
}

TEST_F(OcurScan, GraphStepsUpToTheTunerCannotRunAndLaterOnesFail) {
    const std::vector<FaultOutcome> rows = {
        {"FilterGraph", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"SystemTuningSpaces", "get_Item", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"ATSCQAMNetworkProvider", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"ATSCQAMNetworkProvider", "QueryInterface(ITuner)", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"Moniker: ATI TV Wonder OpenCable Receiver Tuner", "BindToObject", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"MPEG2Demultiplexer", "CoCreateInstance", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"FilterGraph", "QueryInterface(IMediaControl)", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"FilterGraph", "Run", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"ATSCLocator", "CoCreateInstance", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"ATI TV Wonder OpenCable Receiver Tuner", "EnumPins", 2, "false", TestResult::PASS(), nullptr}, // rendering the tuner's output
    };
    expectOutcomes("ocur", DigitalTVSignalTest, {}, {"ok"}, rows, [&](const FaultOutcome& row) {
        if (std::string(row.method) == "Run") EXPECT_THAT(moduleLog(), Contains(HasSubstr("ERROR: IMediaControl::Run failed. hr=-2147467259")));
        if (!row.assertion) expectNothingLeft();
    });
}

TEST_F(OcurScan, TheCablePromptAnswersAndAOneChannelRange) {
    const Parameters one = {{"DigitalStartChannel", "20"}, {"DigitalEndChannel", "20"}};
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, one, {"ok", "cancel"}), TestResult::USERABORTED());
    EXPECT_THAT(moduleLog(), Contains(HasSubstr("Done due to user cancel on prompt")));
    EXPECT_THAT(probe_->eventKeys(), IsEmpty());
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, one, {"ok", "skip"}), TestResult::NOSIGNAL());
    EXPECT_THAT(moduleLog(), Contains(HasSubstr("Done due to prompting disabled")));
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(100, 100)) << "a one-channel range counts as done";
    load("ocur");
    EXPECT_EQ(run(DigitalTVSignalTest, one, {"ok", "retry"}), TestResult::NOSIGNAL());
    EXPECT_EQ(requests(), 4u) << "two passes of antenna and cable";
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

TEST_F(DvbtScan, TheCountrysPlanIsTunedUntilAGoodStreamWithoutProgressTexts) {
    load("dvbt");
    EXPECT_EQ(run(DigitalTVSignalTest, {}, {"49"}), TestResult::PASS());
    EXPECT_THAT(progress(), IsEmpty());
    EXPECT_THAT(supportedCountryCodes().codes(), ElementsAre(31u, 44u, 49u));
    ASSERT_EQ(probe_->reporter.prompts.size(), 1u);
    EXPECT_EQ(probe_->reporter.prompts[0].kind, "countryDialog");
    EXPECT_THAT(tunerLog(), Contains("Set DVB-T Channel Range: 1-23"));
    EXPECT_THAT(journalArguments("DVBTNetworkProvider", "put_TuneRequest").back(), HasSubstr("frequency=522000"));
    EXPECT_THAT(journalArguments("FilterGraph", "RemoveFilter"), Not(IsEmpty())) << "the filters are removed at the end";
    expectNothingLeft();
}

TEST_F(DvbtScan, ACancelledCountryDialogAbortsAtOneHundredPercent) {
    load("dvbt");
    EXPECT_EQ(run(DigitalTVSignalTest, {}, {"0"}), TestResult::USERABORTED());
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(100));
    EXPECT_THAT(tunerLog(), Contains("Exiting due to user abort on country dialog"));
}

TEST_F(DvbtScan, AOneRecordPlanTunesNothing) {
    // An unknown country gets the default row: one record per frequency.
    load(dvbtStickReceiving("", R"({"7": [474000]})"));
    EXPECT_EQ(run(DigitalTVSignalTest, {{"CheckTVCable", "false"}}, {"7"}), TestResult::NOSIGNAL());
    EXPECT_EQ(requests(), 0u);
    ASSERT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalDetected"));
    EXPECT_EQ(event(0).variables.at("startchannel"), "1");
    EXPECT_EQ(event(0).variables.at("endchannel"), "0");
}

TEST_F(DvbtScan, ATwoRecordPlanTunesItsSecondRecordOnly) {
    load(dvbtStickReceiving("", R"({"7": [474000, 482000]})"));
    EXPECT_EQ(run(DigitalTVSignalTest, {{"CheckTVCable", "false"}}, {"7"}), TestResult::NOSIGNAL());
    ASSERT_EQ(requests(), 1u);
    EXPECT_THAT(journalArguments("*", "put_TuneRequest")[0], HasSubstr("frequency=482000"));
    EXPECT_THAT(probe_->reporter.percents, ElementsAre(100, 100));
}

TEST_F(DvbtScan, AnEmptyPlanWrapsRoundAndFails) {
    load(dvbtStickReceiving("", R"({"7": []})"));
    EXPECT_EQ(run(DigitalTVSignalTest, {}, {"7"}), TestResult::FAIL());
    EXPECT_THAT(tunerLog(), Contains("Set DVB-T Channel Range: 1-4294967295"));
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("error:ErrorCreatingFilterGraph"));
}

TEST_F(DvbtScan, AnUnreadableGrabberLetsTheTunerDecideButNoStreamDoesNot) {
    const std::string weakStream = R"({"frequency": 482000, "modulation": "64QAM", "mode": "8K", "guard": "1/32", "lpFecRate": "2/3",
                                       "bandwidth": 8, "quality": 90, "sampleBytes": 100})";
    load(dvbtStickReceiving(weakStream, R"({"7": [474000, 482000]})"));
    EXPECT_EQ(run(DigitalTVSignalTest, {{"CheckTVCable", "false"}}, {"7"}), TestResult::NOSIGNAL()) << "-1 does not ask the tuner";
    EXPECT_EQ(tvsim::Simulation::current().journal().count("Tuner", "get_SignalPresent"), 0u);
    load(dvbtStickReceiving(weakStream, R"({"7": [474000, 482000]})"));
    testing::addFault("SampleGrabber", "CoCreateInstance");
    EXPECT_EQ(run(DigitalTVSignalTest, {{"CheckTVCable", "false"}}, {"7"}), TestResult::PASS()) << "the tuner's statistics decide";
    EXPECT_THAT(tunerLog(), Contains("Sample Grabber creation failed"));
}

TEST_F(DvbtScan, SetUpFailuresUpToTheTunerCannotRunAndLaterOnesFail) {
    const std::vector<FaultOutcome> rows = {
        {"FilterGraph", "CoCreateInstance", 2, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"DVBTuningSpace", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "CoCreateInstance", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "QueryInterface(ITuner)", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"Moniker: Virtual DVB-T BDA Tuner", "BindToObject", 0, nullptr, TestResult::CANNOTRUN(), "warning:ErrorCreatingFilterGraph"},
        {"MPEG2Demultiplexer", "CoCreateInstance", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"Moniker: BDA MPEG2 Transport Information Filter", "BindToObject", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "QueryInterface(IFrequencyMap)", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "get_CountryCodeList", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "put_CountryCode", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTNetworkProvider", "get_DefaultFrequencyMapping", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"FilterGraph", "Run", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"DVBTLocator", "put_Guard", 0, nullptr, TestResult::FAIL(), "error:ErrorCreatingFilterGraph"},
        {"Moniker: Virtual DVB-T BDA Receiver", "BindToObject", 0, nullptr, TestResult::PASS(), nullptr},
        {"SampleGrabber", "CoCreateInstance", 0, nullptr, TestResult::PASS(), nullptr},
    };
    // The ATSC path creates the first graph and cannot run on this card.
    expectOutcomes("dvbt", DigitalTVSignalTest, {}, {"49"}, rows, [&](const FaultOutcome& row) {
        if (std::string(row.object).find("Receiver") != std::string::npos)
            EXPECT_THAT(moduleLog(), Contains(HasSubstr("ERROR: LoadFilter failed.  Couldn't find a compatible Receiver.")));
        expectNothingLeft();
    });
}

TEST_F(DvbtScan, AnOpenCableNameGetsTheTip) {
    load(dvbtStickReceiving("", R"({"7": [474000, 482000]})", "ATI TV Wonder OpenCable Receiver DVB-T"));
    probe_->device = system_->device();
    EXPECT_EQ(run(RunDVBTest, {{"CheckTVCable", "false"}}, {"7"}),
              TestResult::NOSIGNAL());
    EXPECT_THAT(probe_->eventKeys(), ElementsAre("warning:ErrorNoSignalWithTip"));
}

} // namespace
} // namespace qisrtvcard
