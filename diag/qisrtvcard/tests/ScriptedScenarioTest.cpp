// Scenarios that script what a driver does (values, faults by argument, stop requests) and the
// journal a run writes, as a host sees them: the result, the protocol lines and the journal file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include <nlohmann/json.hpp>

#include "ModuleProcess.h"
#include "tvsim/Scenario.h"

namespace qisrtvcard::testing {
namespace {

using nlohmann::json;
using ::testing::ElementsAreArray;

json builtIn(const char* card) { return json::parse(*tvsim::builtInScenarioText(card)); }

// The atsc card with nothing on the cable's Clear QAM carriers.
json atscWithoutClearQam() {
    json scenario = builtIn("atsc");
    scenario["filters"]["tuner"]["receives"].erase("clearQam");
    return scenario;
}

struct ScriptedRun {
    Outcome outcome;
    std::vector<json> host;    // the protocol's lines
    std::vector<json> journal; // the journal's records

    std::string result() const { return host.empty() ? "(no output)" : host.back().value("result", "(no result)"); }
    std::vector<json> calls(const std::string& method) const { return having(journal, "method", method); }
    std::vector<json> hostLines(const std::string& type) const { return having(host, "type", type); }

    static std::vector<json> having(const std::vector<json>& records, const char* key, const std::string& value) {
        std::vector<json> found;
        std::copy_if(records.begin(), records.end(), std::back_inserter(found), [&](const json& r) { return r[key] == value; });
        return found;
    }
};

ScriptedRun runScripted(const std::string& name, const json& scenario, const std::string& arguments) {
    const auto scenarioFile = workDirectory() / (name + ".json");
    const auto journalFile = workDirectory() / (name + ".jsonl");
    std::ofstream(scenarioFile, std::ios::binary) << scenario.dump();
    std::filesystem::remove(journalFile);
    ScriptedRun run;
    run.outcome = runModule("--json --sim \"" + scenarioFile.string() + "\" --journal \"" + journalFile.string() + "\" " + arguments);
    run.host = jsonLines(run.outcome.out);
    std::ifstream in(journalFile, std::ios::binary);
    std::string journalText((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    run.journal = jsonLines(journalText);
    return run;
}

TEST(Journal, AClearQamScanWithoutASignalTunes540RequestsOverTheDesignedWaits) {
    const ScriptedRun run = runScripted("qam-none", atscWithoutClearQam(), "--test ClearQAMTest");
    EXPECT_EQ(run.result(), "NOSIGNAL") << run.outcome.err;
    const auto tunes = run.calls("put_TuneRequest");
    ASSERT_EQ(tunes.size(), 540u);
    EXPECT_EQ(tunes.front()["arguments"]["network"], "ATSC");
    EXPECT_TRUE(tunes.front()["arguments"]["frequency"].is_number());
    EXPECT_EQ(tunes.front()["result"], "S_OK");
    EXPECT_GE(run.journal.back()["time"].get<long long>(), 1404000);
    EXPECT_TRUE(std::is_sorted(run.journal.begin(), run.journal.end(),
                               [](const json& a, const json& b) { return a["time"] < b["time"]; }));
    const auto initialised = run.calls("CoInitializeEx");
    ASSERT_FALSE(initialised.empty());
    EXPECT_EQ(initialised.front()["object"], "COM");
    EXPECT_EQ(initialised.front()["arguments"]["model"], "COINIT_APARTMENTTHREADED");
    EXPECT_EQ(run.calls("CoUninitialize").size(), initialised.size());
}

// In real time the waits really take their time, but the journal keeps the virtual times.
TEST(Journal, ShowsTheWindowsAPersonWouldHaveSeenAtTheSameTimesInRealTime) {
    for (const std::string mode : {"", "--realtime"}) {
        SCOPED_TRACE(mode);
        const ScriptedRun run = runScripted("screen-windows" + mode, builtIn("hybrid"), mode + " --test CaptureToScreenTest");
        EXPECT_EQ(run.result(), "PASS") << run.outcome.err;
        std::vector<std::string> seen;
        for (const auto& record : run.having(run.journal, "object", "window"))
            seen.push_back(record["method"].get<std::string>() + " " + record["arguments"]["title"].get<std::string>() + " at " +
                           record["time"].dump());
        EXPECT_THAT(seen, ElementsAreArray({"created Capture to Screen Test at 0", "shown Capture to Screen Test at 0",
                                            "hidden Capture to Screen Test at 3002", "destroyed Capture to Screen Test at 3002"}));
    }
}

// A stop request lands at its point of the scan.
TEST(ScriptedStop, LandsAtItsPointOfTheClearQamScan) {
    struct Case {
        const char* name;
        json stop;
        std::size_t tunes; // put_TuneRequest calls made before the scan gave up
    };
    for (const Case& c : {Case{"FifthTune", {{"method", "put_TuneRequest"}, {"call", 5}}, 5},
                          Case{"FirstRun", {{"object", "FilterGraph"}, {"method", "Run"}}, 1},
                          // Tunes come every 2.6 s from 1.1 s; the 24th would be at 60.9 s.
                          Case{"AtAMinute", {{"atMs", 60000}}, 23}}) {
        SCOPED_TRACE(c.name);
        json scenario = atscWithoutClearQam();
        scenario["stop"] = c.stop;
        const ScriptedRun run = runScripted(std::string("stop-") + c.name, scenario, "--test ClearQAMTest");
        EXPECT_EQ(run.result(), "USERABORTED") << run.outcome.err;
        EXPECT_EQ(run.calls("put_TuneRequest").size(), c.tunes);
    }
}

// An FM band with no station of its own, where the scenario scripts what the tuner reports.
TEST(ScriptedFmTuner, OnlyASignalOfExactlyOneEndsTheScan) {
    struct Case {
        const char* name;
        json values; // SignalPresent, call by call
        json faults;
        const char* result;
        std::vector<long> tuned; // put_Channel's channel arguments, in order
    };
    for (const Case& c :
         {Case{"NoStrengthAndOddValuesAreNoSignal", {0, -1, 2, 1}, json::array(), "PASS", {89000000, 89200000, 89400000, 89600000}},
          Case{"NoSignalAnywhereScansTheBand", {-1, -1, -1, -1, -1}, json::array(), "NOSIGNAL",
               {89000000, 89200000, 89400000, 89600000, 89800000}},
          // The refused frequency asks for no signal, so the second value answers 89.4.
          Case{"ARefusedFrequencyIsSkipped", {0, 1},
               json::array({{{"object", "*"}, {"method", "put_Channel"}, {"arguments", {{"channel", 89200000}}}}}), "PASS",
               {89000000, 89200000, 89400000}}}) {
        SCOPED_TRACE(c.name);
        json scenario = builtIn("hybrid");
        scenario["values"] = json::array({{{"method", "SignalPresent"}, {"values", c.values}}});
        scenario["faults"] = c.faults;
        const ScriptedRun run = runScripted(std::string("fm-") + c.name, scenario,
                                            "--test FMRadioTest --param StopOnSignal=true --param ChecksPerChannel=3 "
                                            "--param FMRadioStartChannel=89.0 --param FMRadioEndChannel=89.8");
        EXPECT_EQ(run.result(), c.result) << run.outcome.err;
        std::vector<long> tuned;
        for (const auto& call : run.calls("put_Channel")) tuned.push_back(call["arguments"]["channel"].get<long>());
        EXPECT_EQ(tuned, c.tuned);
    }
}

// With the AVI writer refused, the capture falls back to an MPEG-2 file writer, if one is installed.
TEST(FileWriterFallback, TriesTheMpeg2WriterAfterTheAviOne) {
    const std::string mpeg2Writer = "{7DC2C665-4033-4CAF-9273-F7D797FB245C} ";
    for (const bool installed : {true, false}) {
        SCOPED_TRACE(installed ? "installed" : "absent");
        json scenario = builtIn("hybrid");
        scenario["mpeg2FileWriter"] = installed;
        scenario["faults"] = json::array({{{"object", "*"}, {"method", "SetOutputFileName"}, {"arguments", {{"subtype", "MEDIASUBTYPE_Avi"}}}}});
        const ScriptedRun run = runScripted(std::string("writer-") + (installed ? "installed" : "absent"), scenario, "--test CaptureToFileTest");
        EXPECT_EQ(run.result(), installed ? "PASS" : "FAIL") << run.outcome.err;
        std::vector<std::string> attempts;
        for (const auto& call : run.calls("SetOutputFileName"))
            attempts.push_back(call["arguments"]["subtype"].get<std::string>() + " " + call["result"].get<std::string>());
        EXPECT_EQ(attempts, (std::vector<std::string>{"MEDIASUBTYPE_Avi E_FAIL", mpeg2Writer + (installed ? "S_OK" : "REGDB_E_CLASSNOTREG")}));
    }
}

const char* kDigitalTest = " --test DigitalTVSignalTest --param MsgBoxTimeout=30 --param CheckTVCable=true --param DigitalStartChannel=2"
                        " --param DigitalEndChannel=69 --param UseMinorChannelTechnique=false";

std::vector<std::string> tunerConnects(const ScriptedRun& run) {
    std::vector<std::string> seen;
    for (const auto& record : run.calls("Connect"))
        if (record["object"].get<std::string>().starts_with("Virtual ATSC BDA Tuner."))
            seen.push_back(record["object"].get<std::string>().substr(23) + " " + record["result"].get<std::string>());
    return seen;
}

// A tuner without an output leaves the receiver out and the graph unbuilt; an analog output
// ahead of the transport output is passed over. The Clear QAM graph needs three of the
// demultiplexer's outputs; with two it renders both and gives up on an assertion.
TEST(OutputPins, DecideWhetherTheDigitalGraphsCanBeBuilt) {
    json scenario = builtIn("atsc");
    scenario["demultiplexerOutputPins"] = 2;
    const ScriptedRun demultiplexer = runScripted("demux-two-pins", scenario, "--test ClearQAMTest");
    EXPECT_EQ(demultiplexer.result(), "EXITEDABNORMALLY") << demultiplexer.outcome.out;
    EXPECT_THAT(demultiplexer.host.back().value("detail", ""), ::testing::StartsWith("Assertion failed: false"));
    EXPECT_EQ(demultiplexer.calls("Render").size(), 2u);

    scenario.erase("demultiplexerOutputPins");
    scenario["filters"]["tuner"]["outputPins"] = 0;
    const ScriptedRun none = runScripted("tuner-no-pins", scenario, kDigitalTest);
    EXPECT_EQ(none.result(), "FAIL") << none.outcome.out;
    EXPECT_EQ(none.hostLines("event").at(0)["key"], "ErrorCreatingFilterGraph");
    EXPECT_THAT(none.outcome.out, ::testing::HasSubstr("Couldn't find a compatible Receiver.  Continuing as it is not always required."));
    EXPECT_THAT(tunerConnects(none), ::testing::IsEmpty());

    scenario["filters"]["tuner"]["outputPins"] = 2;
    const ScriptedRun two = runScripted("tuner-two-pins", scenario, kDigitalTest);
    EXPECT_EQ(two.result(), "PASS") << two.outcome.out;
    const auto connects = tunerConnects(two);
    ASSERT_FALSE(connects.empty());
    EXPECT_EQ(connects.front(), "Analog Video 0x80040207");
    EXPECT_EQ(connects.back(), "MPEG2 Transport S_OK");
}

// The analog card whose video and interleaved forms fail and whose stream form hands the capture
// pin back unconnected: the window is then sized from what GetFormat reports.
json cardReportingFormat(const char* formatType) {
    json scenario = builtIn("hybrid");
    auto& capture = scenario["filters"]["hybridCapture"];
    capture["captureTypes"] = {"Video", "Stream"};
    capture["getFormat"] = {{"formatType", formatType}, {"width", 352}, {"height", 288}};
    const auto renderStream = [](int call, const char* kind) {
        return json{{"object", "CaptureGraphBuilder2"}, {"method", "RenderStream"}, {"call", call}, {"kind", kind}};
    };
    scenario["faults"] = {renderStream(1, "fail"), renderStream(2, "fail"), renderStream(3, "nullResult"), renderStream(4, "nullResult"),
                          {{"object", "FilterGraph"}, {"method", "Connect"}, {"kind", "nullResult"}}};
    return scenario;
}

TEST(ReportedFormat, OnlyAVideoInfoFormatResizesTheWindow) {
    const std::string tv = "--test TVSignalTest --param MsgBoxTimeout=30 --param CheckTVCable=true --param StopOnSignal=true"
                           " --param ChecksPerChannel=3 --param TVStartChannel=5 --param TVEndChannel=5 --param SignalType=cable"
                           " --param AskCountryCode1=false --param AskCountryCode2=false";
    for (const char* formatType : {"VideoInfo", "VideoInfo2", "None"}) {
        SCOPED_TRACE(formatType);
        const ScriptedRun run = runScripted(std::string("format-") + formatType, cardReportingFormat(formatType), tv);
        ASSERT_EQ(run.calls("GetFormat").size(), 1u) << run.outcome.out;
        const auto resized = run.calls("resized");
        ASSERT_EQ(resized.size(), std::string(formatType) == "VideoInfo" ? 1u : 0u);
        if (resized.empty()) continue;
        // The client area is the format's size; the frame adds a little.
        EXPECT_THAT(resized[0]["arguments"]["width"].get<int>(), ::testing::AllOf(::testing::Ge(352), ::testing::Le(352 + 16)));
        EXPECT_THAT(resized[0]["arguments"]["height"].get<int>(), ::testing::AllOf(::testing::Ge(288), ::testing::Le(288 + 40)));
    }
}

// The receiver's signal counts only when the driver says exactly 1; the warning before it is
// Windows' own box, journaled with the flags MessageBoxW takes.
TEST(OpenCableReceiver, FindsASignalOnlyWhereTheDriverReportsExactlyOne) {
    struct Case {
        const char* name;
        json present; // get_SignalPresent, call by call
        const char* result;
        std::size_t checks;
        const char* answers; // after the warning's
    };
    // Without a signal the retry box comes up; skipping it ends the test.
    for (const Case& c : {Case{"third", {0, 0, 1}, "PASS", 3, ""}, Case{"two", json(std::vector<int>(400, 2)), "NOSIGNAL", 0, " --answer skip"}}) {
        SCOPED_TRACE(c.name);
        json scenario = builtIn("ocur");
        scenario["values"] = json::array({{{"method", "get_SignalPresent"}, {"values", c.present}}});
        const ScriptedRun run = runScripted(std::string("ocur-") + c.name, scenario, std::string(kDigitalTest) + " --answer ok" + c.answers);
        EXPECT_EQ(run.result(), c.result) << run.outcome.out;
        if (c.checks) EXPECT_EQ(run.calls("get_SignalPresent").size(), c.checks);
        const auto physical = run.calls("put_PhysicalChannel");
        ASSERT_FALSE(physical.empty());
        EXPECT_TRUE(physical[0]["arguments"]["physicalChannel"].is_number());
        const auto opened = run.calls("open");
        ASSERT_FALSE(opened.empty());
        EXPECT_EQ(opened[0]["object"], "ocurWarning");
        EXPECT_EQ(opened[0]["arguments"]["type"], 1) << "MB_OKCANCEL";
        EXPECT_EQ(run.calls("answer").at(0)["arguments"]["source"], "answer");
    }
}

TEST(CountryPrompt, ListsTheCountriesTheTunerSupportsInTheListsOrderWithThePreselectedOne) {
    const ScriptedRun run = runScripted("dvbt-countries", builtIn("dvbt"), std::string(kDigitalTest) + " --answer 49");
    EXPECT_EQ(run.result(), "PASS") << run.outcome.err;
    const auto prompts = run.hostLines("prompt");
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0]["kind"], "countryDialog");
    std::vector<std::string> names;
    for (const auto& choice : prompts[0]["choices"]) names.push_back(choice["name"].get<std::string>() + "=" + choice["code"].dump());
    EXPECT_THAT(names, ElementsAreArray({"Germany (Deutschland)=49", "Netherlands (Nederland)=31", "United Kingdom=44"}));
    EXPECT_FALSE(prompts[0].contains("preselected")) << "the USA is not among them";
    // The journal shows the prompt where it happened among the calls.
    const auto opened = run.calls("open");
    const auto answered = run.calls("answer");
    ASSERT_EQ(opened.size(), 1u);
    ASSERT_EQ(answered.size(), 1u);
    EXPECT_EQ(opened[0]["object"], "countryDialog");
    EXPECT_EQ(opened[0]["arguments"]["choices"], 3);
    EXPECT_EQ(answered[0]["arguments"]["code"], 49);
    EXPECT_EQ(answered[0]["arguments"]["source"], "answer");
}

TEST(CountryPrompt, ACountryTheMapAcceptsWithoutAChannelListFailsTheDvbtTest) {
    json scenario = builtIn("dvbt");
    scenario["frequencyMapCountries"] = {49, 44, 31, 33};
    const ScriptedRun run = runScripted("dvbt-france", scenario, std::string("--log-level 0") + kDigitalTest + " --answer 33");
    EXPECT_EQ(run.result(), "FAIL") << run.outcome.err;
    const auto prompts = run.hostLines("prompt");
    ASSERT_EQ(prompts.size(), 1u);
    EXPECT_EQ(prompts[0]["choices"].size(), 4u) << "France is offered";
    const auto logs = run.hostLines("log");
    EXPECT_TRUE(std::any_of(logs.begin(), logs.end(), [](const json& l) {
        return l["text"].get<std::string>().find("ERROR: IFrequencyMap:get_DefaultFrequencyMapping failed. hr=") != std::string::npos;
    })) << run.outcome.out;
    // At the lowest level the tuner library's log is opened during the run, and the journal says so.
    const auto opened = run.calls("opened");
    EXPECT_TRUE(std::any_of(opened.begin(), opened.end(), [](const json& r) {
        return r["object"] == "log" && r["arguments"]["file"].get<std::string>().ends_with("libTunekit.log");
    })) << run.journal.size();
}

} // namespace
} // namespace qisrtvcard::testing
