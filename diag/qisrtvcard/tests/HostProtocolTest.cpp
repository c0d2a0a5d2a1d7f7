// The program as a host drives it: command lines in, exit codes, stdout and stderr out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include <nlohmann/json.hpp>

#include "ModuleProcess.h"

namespace {

using nlohmann::json;
using qisrtvcard::testing::binDirectory;
using qisrtvcard::testing::jsonLines;
using qisrtvcard::testing::Outcome;
using qisrtvcard::testing::runModule;
using qisrtvcard::testing::workDirectory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string deviceFile(const std::string& name, const std::string& jsonText) {
    const auto path = workDirectory() / (name + ".json");
    std::ofstream(path, std::ios::binary) << jsonText;
    return "\"" + path.string() + "\"";
}

std::string device(const std::string& name, const std::string& capabilities, const std::string& properties) {
    return deviceFile(name, R"({"name": ")" + name + R"(", "capabilities": [)" + capabilities + R"(], "properties": {)" +
                                properties + "}}");
}

const char* kAllCapabilities =
    R"("VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner", "DigitalTVTuner", "AnalogFMRadioTuner")";

// The names of the tests --list offers for the device these arguments give.
std::vector<std::string> offeredTests(const std::string& arguments) {
    const Outcome listing = runModule("--list --json " + arguments);
    EXPECT_EQ(listing.code, 0u) << listing.err;
    const json catalogue = json::parse(listing.out);
    std::vector<std::string> names;
    for (const auto& test : catalogue["tests"]) names.push_back(test["name"]);
    return names;
}

TEST(Catalogue, JsonListingIsTheCatalogueExactlyAsRegistered) {
    const Outcome listing = runModule("--list --json");
    ASSERT_EQ(listing.code, 0u) << listing.err;
    const json catalogue = json::parse(listing.out);
    EXPECT_EQ(catalogue["module"], "qisrtvcard");
    EXPECT_EQ(catalogue["version"], json::parse(R"({"major": 5, "minor": 0, "build": "000000001"})"));

    const json exclusions = json::parse(R"([{"property": "DeviceVendorID", "value": "10CF"},
                                            {"property": "DeviceID", "value": "201C|2030"}])");
    const json expectedTests = json::parse(R"([
      {"name": "TVSignalTest", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner"],
       "interactive": true, "requirements": [],
       "parameters": ["TVStartChannel", "TVEndChannel", "MsgBoxTimeout", "CheckTVCable", "StopOnSignal",
                      "ChecksPerChannel", "SignalType", "AskCountryCode1", "AskCountryCode2"]},
      {"name": "CaptureToScreenTest", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter"],
       "interactive": false, "requirements": [], "parameters": []},
      {"name": "CaptureToFileTest", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter"],
       "interactive": false, "requirements": [], "parameters": []},
      {"name": "FMRadioTest", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogFMRadioTuner"],
       "interactive": false, "requirements": [],
       "parameters": ["StopOnSignal", "ChecksPerChannel", "FMRadioStartChannel", "FMRadioEndChannel"]},
      {"name": "DigitalTVSignalTest", "capabilities": ["VideoCapture", "DigitalTVTuner"],
       "interactive": false, "requirements": [],
       "parameters": ["MsgBoxTimeout", "CheckTVCable", "DigitalStartChannel", "DigitalEndChannel", "UseMinorChannelTechnique"]},
      {"name": "ClearQAMTest", "capabilities": ["VideoCapture", "DigitalTVTuner"], "interactive": false,
       "requirements": [{"property": "EnableQAM", "value": ""}], "parameters": []}])");
    ASSERT_EQ(catalogue["tests"].size(), expectedTests.size());
    for (std::size_t i = 0; i < expectedTests.size(); ++i) {
        json expected = expectedTests[i];
        expected["exclusions"] = exclusions;
        EXPECT_EQ(catalogue["tests"][i], expected) << i;
    }

    // Parameters, events and strings in order, with their types and English texts.
    std::vector<std::string> parameters, events, strings;
    for (const auto& p : catalogue["parameters"]) {
        parameters.push_back(p["name"].get<std::string>() + ":" + p["type"].get<std::string>());
        EXPECT_EQ(p["default"], "");
        EXPECT_EQ(p["moduleWide"], p["name"] == "TouchscreenFactor");
        EXPECT_EQ(p["listed"], true);
    }
    EXPECT_THAT(parameters, ElementsAre("TVStartChannel:UINT32", "TVEndChannel:UINT32", "FMRadioStartChannel:DOUBLE",
                                        "FMRadioEndChannel:DOUBLE", "MsgBoxTimeout:UINT32", "CheckTVCable:BOOLEAN",
                                        "StopOnSignal:BOOLEAN", "ChecksPerChannel:UINT32", "SignalType:STRING",
                                        "DigitalStartChannel:UINT32", "DigitalEndChannel:UINT32", "AskCountryCode1:BOOLEAN",
                                        "AskCountryCode2:BOOLEAN", "UseMinorChannelTechnique:BOOLEAN", "TouchscreenFactor:DOUBLE"));
    for (auto [list, keys] : {std::pair{"events", &events}, {"localizedStrings", &strings}})
        for (const auto& m : catalogue[list]) {
            keys->push_back(m["key"]);
            EXPECT_NE(m["text"].get<std::string>().front(), '[') << "no English text for " << m["key"];
        }
    EXPECT_THAT(events, ElementsAre("WarningWindowSetupProblem", "WarningDeviceNotFound",
                                    "WarningHardwareDoesNotSupportAnalogTVCapture", "ErrorCreatingFilterGraph",
                                    "ErrorRenderingVideoStream", "ErrorNoSignalDetected", "ErrorNoSignal",
                                    "ErrorNoSignalWithTip", "InfoSignalDetected", "MediaCenterIsRunning", "ErrorNoSignalQC"));
    EXPECT_THAT(strings, ElementsAre("CheckCableConnectedMessage", "CheckCableConnectedTitle", "TestingChannel",
                                     "DefaultName", "PleaseSelectCountry", "OKButton", "CaptureToFileTitle",
                                     "CaptureToScreenTitle", "OCURWarningMessage", "DigitalSignalTestWndTitle",
                                     "ErrorRunFailed"));
    EXPECT_THAT(catalogue["events"][5]["text"].get<std::string>(), HasSubstr("channels {startchannel} to {endchannel}."));
}

// Both exclusion properties must match for the exclusion to apply.
TEST(Catalogue, TestsOfferedDependOnVendorRulesQamPropertyAndCapabilities) {
    const std::vector<std::string> all = {"TVSignalTest", "CaptureToScreenTest", "CaptureToFileTest", "FMRadioTest", "DigitalTVSignalTest", "ClearQAMTest"};
    const struct {
        const char *name, *capabilities, *properties;
        std::vector<std::string> offered;
    } cards[] = {
        {"excluded201C", kAllCapabilities, R"("EnableQAM": "1", "DeviceVendorID": "10CF", "DeviceID": "201C")", {}},
        {"excluded2030", kAllCapabilities, R"("DeviceVendorID": "10CF", "DeviceID": "2030")", {}},
        {"otherId", kAllCapabilities, R"("EnableQAM": "", "DeviceVendorID": "10CF", "DeviceID": "2031")", all},
        {"noQam", kAllCapabilities, R"("DeviceID": "201C")", {all.begin(), all.end() - 1}},
        {"captureOnly", R"("VideoCapture", "VideoCaptureBaseFilter")", "", {"CaptureToScreenTest", "CaptureToFileTest"}},
        {"digital", R"("VideoCapture", "DigitalTVTuner")", R"("EnableQAM": "yes")", {"DigitalTVSignalTest", "ClearQAMTest"}},
    };
    for (const auto& card : cards)
        EXPECT_EQ(offeredTests("--device " + device(card.name, card.capabilities, card.properties)), card.offered) << card.name;
    EXPECT_EQ(offeredTests("--sim"), all) << "the built-in card";
}

const char* kFmParameters =
    " --param StopOnSignal=true --param ChecksPerChannel=3 --param FMRadioStartChannel=88.0 --param FMRadioEndChannel=108.0";

// Command lines that work: their exit codes and what stdout says. Texts follow the locale and fall
// back to English; a variable the module did not set shows as nothing in an event's text, not as
// its placeholder.
TEST(Entry, WorkingCommandLinesAndWhatTheyPrint) {
    const std::string absent = device("absent", R"("VideoCapture", "VideoCaptureBaseFilter")", R"("AnalogFriendlyName": "No Such Card")");
    const struct {
        std::string arguments;
        DWORD code;
        std::vector<std::string> says;
    } runs[] = {
        {"--help", 0, {"--test", "64", "qisrtvcard --list --device", "qisrtvcard --test", "qisrtvcard --sim", "qisrtvcard --devices"}},
        {"--list --json --locale de-AT", 0,
         {R"({"key":"TestingChannel","text":"Kanal {channel} wird getestet"})", R"({"key":"DefaultName","text":"Video Capture Device"})"}},
        {"--list --json --locale xx-YY", 0, {R"({"key":"TestingChannel","text":"Testing channel {channel}"})"}},
        {"--sim --list --json", 0, {R"("device":"Virtual Hybrid TV Card")"}},
        {"--sim --test FMRadioTest" + std::string(kFmParameters), 0, {"result PASS 0"}},
        {"--sim --test CaptureToScreenTest --device " + absent, 3,
         {"warning WarningDeviceNotFound: The capture device was not found.  (qisrtvcard:"}},
    };
    for (const auto& run : runs) {
        const Outcome outcome = runModule(run.arguments);
        EXPECT_EQ(outcome.code, run.code) << run.arguments << "\n" << outcome.out << outcome.err;
        for (const std::string& text : run.says) EXPECT_THAT(outcome.out, HasSubstr(text)) << run.arguments;
    }
    const Outcome version = runModule("--version");
    EXPECT_EQ(version.code, 0u);
    EXPECT_EQ(version.out, "qisrtvcard 5.0 build 000000001\n");
    EXPECT_EQ(version.err, "");
}

// A run reports JSON lines from "start" to "result", the result carrying the exit code.
TEST(VirtualCard, AHostAnswersTheCablePromptOnStandardInput) {
    const Outcome run = runModule(
        "--sim --json --test TVSignalTest --param TVStartChannel=100 --param TVEndChannel=101 --param MsgBoxTimeout=30 "
        "--param CheckTVCable=true --param StopOnSignal=true --param ChecksPerChannel=2 --param SignalType=cable "
        "--param AskCountryCode1=false --param AskCountryCode2=false",
        "{\"answer\": \"cancel\"}\n");
    EXPECT_EQ(run.code, 6u) << run.err;
    const auto lines = jsonLines(run.out);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front()["type"], "start");
    EXPECT_EQ(lines.back()["type"], "result");
    EXPECT_EQ(lines.back()["code"], 6);
    const auto prompt = std::find_if(lines.begin(), lines.end(), [](const json& l) { return l["type"] == "prompt"; });
    const auto answer = std::find_if(lines.begin(), lines.end(), [](const json& l) { return l["type"] == "answer"; });
    ASSERT_NE(prompt, lines.end());
    ASSERT_NE(answer, lines.end());
    EXPECT_EQ((*prompt)["timeoutMs"], 30000);
    EXPECT_EQ((*answer)["code"], 150);
    EXPECT_EQ((*answer)["source"], "host");
    EXPECT_EQ(lines.back()["result"], "USERABORTED");
}

const char* kDigitalParameters = " --param MsgBoxTimeout=30 --param CheckTVCable=true --param DigitalStartChannel=2"
                                 " --param DigitalEndChannel=69 --param UseMinorChannelTechnique=false";

std::filesystem::path freshFolder(const std::string& name) {
    const auto folder = workDirectory() / name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder;
}

std::string quoted(const std::filesystem::path& path) { return "\"" + path.string() + "\""; }

// A built-in card, the device file --devices writes for it, and the card's own test run on it.
struct CardRun {
    const char* card;
    const char* file;
    const char* locator; // what Windows shows as the card's device instance path
    std::vector<std::string> offered;
    const char* test;
    std::string arguments;
    const char* promptKind; // a prompt the run must show (the path the test took), or nullptr
};

class DerivedDeviceFile : public ::testing::TestWithParam<CardRun> {};

// Unedited, the written file is offered the card's tests and its own test passes on it; the
// OpenCable test finds its tuner among two through the derived locator.
TEST_P(DerivedDeviceFile, OffersTheCardsTestsAndItsTestPasses) {
    const CardRun& row = GetParam();
    const auto folder = freshFolder(std::string("devices-") + row.card);
    const Outcome discovery = runModule(std::string("--devices --sim ") + row.card + " --out " + quoted(folder));
    ASSERT_EQ(discovery.code, 0u) << discovery.err;
    const auto file = folder / row.file;
    ASSERT_TRUE(std::filesystem::exists(file)) << discovery.out;
    std::ifstream in(file);
    const json written = json::parse(in);
    EXPECT_EQ(written["properties"].value("DeviceLocator", ""), row.locator) << written.dump();
    EXPECT_FALSE(written["properties"].contains("EnableQAM")) << "the host decides on Clear QAM";

    EXPECT_EQ(offeredTests("--device " + quoted(file)), row.offered);
    const Outcome run = runModule(std::string("--json --sim ") + row.card + " --device " + quoted(file) + " --test " +
                                  row.test + row.arguments);
    EXPECT_EQ(run.code, 0u) << run.out << run.err;
    const auto lines = jsonLines(run.out);
    ASSERT_FALSE(lines.empty()) << run.err;
    EXPECT_EQ(lines.back()["result"], "PASS");
    if (row.promptKind)
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const json& l) { return l.value("kind", "") == row.promptKind; }))
            << run.out;
}

INSTANTIATE_TEST_SUITE_P(
    BuiltInCards, DerivedDeviceFile,
    ::testing::Values(
        CardRun{"hybrid", "Virtual-Hybrid-TV-Capture.json", R"(PCI\VEN_1131&DEV_7160&SUBSYS_00000000&REV_03\4&1B2E3F4C&0&00E0)",
                {"TVSignalTest", "CaptureToScreenTest", "CaptureToFileTest", "FMRadioTest"}, "FMRadioTest", kFmParameters, nullptr},
        CardRun{"atsc", "Virtual-ATSC-BDA-Tuner.json", R"(PCI\VEN_14F1&DEV_8852&SUBSYS_71A10070&REV_04\4&2A9C7E1B&0&00E0)",
                {"DigitalTVSignalTest"}, "DigitalTVSignalTest", kDigitalParameters, nullptr},
        CardRun{"dvbt", "Virtual-DVB-T-BDA-Tuner.json", R"(USB\VID_2040&PID_7070\4034567890)", {"DigitalTVSignalTest"},
                "DigitalTVSignalTest", std::string(kDigitalParameters) + " --answer 49", "countryDialog"},
        CardRun{"ocur", "ATI-TV-Wonder-OpenCable-Receiver-Tuner.json",
                R"(PCI\VEN_1002&DEV_4D52&SUBSYS_0F011002&REV_01\4&1C3D5A7E&0&00E0)", {"DigitalTVSignalTest"},
                "DigitalTVSignalTest", std::string(kDigitalParameters) + " --answer ok", "ocurWarning"}),
    [](const auto& info) { return std::string(info.param.card); });

// A system with a hybrid card (capture, tuner and receiver on one PCI instance), an identical
// second card whose filter cannot be bound, a software capture filter, a moniker that cannot be
// read and a USB stick.
const char* kSystem = R"({"device": {"name": "unused"},
  "categories": {
    "VideoInputDevice": [
      {"friendlyName": "Twin Capture", "description": "Twin card", "filter": "tv",
       "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_11223344&rev_03#4&aa&0&00e0#{65e8773d-8f56-11d0-a3b9-00a0c9223196}\\global"},
      {"friendlyName": "Twin Capture", "description": "Twin card", "filter": "plain",
       "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_11223344&rev_03#4&bb&0&00e8#{65e8773d-8f56-11d0-a3b9-00a0c9223196}\\global"},
      {"friendlyName": "Screen Grabber", "filter": "plain",
       "devicePath": "\\\\?\\root#media#0000#{65e8773d-8f56-11d0-a3b9-00a0c9223196}\\global"},
      {"friendlyName": "Broken", "filter": "plain"}
    ],
    "BDANetworkTuner": [
      {"friendlyName": "Twin Tuner", "filter": "tuner",
       "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_11223344&rev_03#4&aa&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{1}"},
      {"friendlyName": "Stick Tuner", "filter": "tuner",
       "devicePath": "\\\\?\\usb#vid_2040&pid_7070#0042#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{2}"}
    ],
    "BDAReceiverComponent": [
      {"friendlyName": "Twin Receiver", "filter": "receiver",
       "devicePath": "\\\\?\\pci#ven_1131&dev_7160&subsys_11223344&rev_03#4&aa&0&00e0#{fd0a5af4-b41d-11d2-9c95-00c04f7971e0}\\{3}"}
    ]
  },
  "filters": {"tv": {"kind": "analogCapture", "tuner": {"fmMode": false}}, "plain": {"kind": "analogCapture"},
              "tuner": {"kind": "bdaTuner"}, "receiver": {"kind": "bdaReceiver"}},
  "faults": [{"object": "Moniker: Twin Capture #2", "method": "BindToObject"},
             {"object": "Moniker: Broken", "method": "BindToStorage"}]})";

TEST(Discovery, DerivesOneDeviceFilePerCardFromItsFilters) {
    const Outcome listing = runModule("--devices --json --sim " + deviceFile("system", kSystem));
    ASSERT_EQ(listing.code, 0u) << listing.err;
    json devices = json::parse(listing.out);
    for (json& device : devices) {
        device.erase("description");
        device["properties"].erase("DevicePath");
    }
    EXPECT_EQ(devices, json::parse(R"([
      {"name": "Twin Capture", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner", "DigitalTVTuner"],
       "properties": {"AnalogFriendlyName": "Twin Capture", "DigitalFriendlyName": "Twin Tuner", "Description": "Twin card",
                      "DeviceLocator": "PCI\\VEN_1131&DEV_7160&SUBSYS_11223344&REV_03\\4&AA&0&00E0", "DeviceVendorID": "1131", "DeviceID": "7160"}},
      {"name": "Twin Capture 2", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter"],
       "properties": {"AnalogFriendlyName": "Twin Capture 2", "Description": "Twin card",
                      "DeviceLocator": "PCI\\VEN_1131&DEV_7160&SUBSYS_11223344&REV_03\\4&BB&0&00E8", "DeviceVendorID": "1131", "DeviceID": "7160"}},
      {"name": "Screen Grabber", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter"], "properties": {"AnalogFriendlyName": "Screen Grabber"}},
      {"name": "Video Capture Device", "capabilities": ["VideoCapture", "VideoCaptureBaseFilter"], "properties": {}},
      {"name": "Stick Tuner", "capabilities": ["VideoCapture", "DigitalTVTuner"],
       "properties": {"DigitalFriendlyName": "Stick Tuner", "DeviceLocator": "USB\\VID_2040&PID_7070\\0042", "DeviceVendorID": "2040", "DeviceID": "7070"}}])"))
        << listing.out;
    for (const char* note : {"Twin Capture 2: the capture filter cannot be bound",
                             R"(Screen Grabber: device path "\\?\root#media#0000#{65e8773d-8f56-11d0-a3b9-00a0c9223196}\global" is neither PCI nor USB)",
                             "Video Capture Device: a video capture filter: its properties cannot be read"})
        EXPECT_THAT(listing.err, HasSubstr(note));
}

struct BadInput {
    const char* arguments;
    const char* says;
    const char* file = nullptr; // the text of a device or scenario file that "@file" names
};

class BadCommandLine : public ::testing::TestWithParam<BadInput> {};

// Each gives one line on stderr that names the fault, the usage exit code, and no test output.
TEST_P(BadCommandLine, OneLineNamingTheFaultAndUsageExitCode) {
    std::string arguments = GetParam().arguments;
    const std::string all = device("all", kAllCapabilities, R"("EnableQAM": "1")");
    const std::string excluded = device("vendor", kAllCapabilities, R"("DeviceVendorID": "10CF", "DeviceID": "2030")");
    const std::string malformed = deviceFile("malformed", "{\"name\": \"x\",\n \"capabilities\": [\"VideoCapture\",]}");
    const std::string unknownCapability = deviceFile("unknowncap", R"({"name": "x", "capabilities": ["VideoCapture", "Teletext"]})");
    // A folder that already holds the device file --devices would write for the built-in card.
    const auto written = workDirectory() / "written";
    std::filesystem::create_directories(written);
    std::ofstream(written / "Virtual-Hybrid-TV-Capture.json") << "{}";
    for (auto [marker, value] : {std::pair{"@all", all}, {"@excluded", excluded}, {"@malformed", malformed},
                                 {"@unknowncap", unknownCapability}, {"@written", "\"" + written.string() + "\""}})
        if (const auto at = arguments.find(marker); at != std::string::npos) arguments.replace(at, strlen(marker), value);
    if (const auto at = arguments.find("@file"); at != std::string::npos) arguments.replace(at, 5, deviceFile("bad", GetParam().file));

    const Outcome outcome = runModule(arguments);
    EXPECT_EQ(outcome.code, 64u) << arguments;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(GetParam().says)) << arguments;
    EXPECT_THAT(outcome.out, ::testing::Not(HasSubstr("start "))) << "the test must not start";
}

// The framework's own tests reject every malformed number form; one value of each type shows
// that the refusal reaches the host. The simulation's own tests name each fault of a scenario
// file; a few show that the refusal reaches the host.
INSTANTIATE_TEST_SUITE_P(
    Table, BadCommandLine,
    ::testing::Values(
        BadInput{"--frobnicate", "--frobnicate"},
        BadInput{"", "nothing to do"},
        BadInput{"--test NoSuchTest --device @all", "NoSuchTest"},
        BadInput{"--test FMRadioTest", "needs --device"},
        BadInput{"--test FMRadioTest --device missing-file.json", "missing-file.json"},
        BadInput{"--test FMRadioTest --device @malformed", "line 2"},
        BadInput{"--list --device @unknowncap", "/capabilities/1"},
        BadInput{"--test ClearQAMTest --device @excluded", "not offered"},
        BadInput{"--test FMRadioTest --device @all --param Bogus=1", "Bogus"},
        BadInput{"--test FMRadioTest --device @all --param TVStartChannel=2", "does not belong"},
        BadInput{"--test FMRadioTest --device @all --param StopOnSignal=true", "ChecksPerChannel"},
        BadInput{"--sim --test FMRadioTest --param StopOnSignal=maybe", "\"maybe\""},
        BadInput{"--sim --test FMRadioTest --param ChecksPerChannel=-1", "\"-1\""},
        BadInput{"--sim --test FMRadioTest --param ChecksPerChannel=", "empty value"},
        BadInput{"--sim --test FMRadioTest --param FMRadioStartChannel=1.2.3 --param FMRadioEndChannel=108", "1.2.3"},
        BadInput{"--test FMRadioTest --device @all --param StopOnSignal", "NAME=VALUE"},
        BadInput{"--sim --test FMRadioTest --answer perhaps --param StopOnSignal=1 --param ChecksPerChannel=1 "
                 "--param FMRadioStartChannel=88 --param FMRadioEndChannel=108", "perhaps"},
        BadInput{"--list --log-level 9", "--log-level"},
        BadInput{"--list --log-dir no-such-directory", "no-such-directory"},
        BadInput{"--list --test FMRadioTest", "--list"},
        BadInput{"--sim no-such-scenario.json --list", "no-such-scenario.json"},
        BadInput{"--realtime --list", "--realtime needs --sim"},
        BadInput{"--test ClearQAMTest --journal j.jsonl", "--journal needs --sim"},
        BadInput{"--sim atsc --test ClearQAMTest --journal no-such-folder/j.jsonl", "--journal: cannot create"},
        BadInput{"--device @file --list", "/name: expected a string", R"({"name": 5})"},
        BadInput{"--device @file --list", "expected a JSON object", "[1, 2]"},
        BadInput{"--device @file --list", "/properties: expected an object", R"({"name": "x", "properties": []})"},
        BadInput{"--device @file --list", "/capabilities/0: expected a string", R"({"name": "x", "capabilities": [7]})"},
        BadInput{"--device @file --list", "/properties/A: expected a string", R"({"name": "x", "properties": {"A": 1}})"},
        BadInput{"--device @file --list", "line 1, column 1", ""},
        BadInput{"--sim @file --list", "/filters/f/kind: unknown filter kind",
                 R"({"device": {"name": "x"}, "filters": {"f": {"kind": "warpDrive"}}})"},
        BadInput{"--sim @file --list", "/device: expected an object", R"({"device": 3})"},
        BadInput{"--sim @file --list", "/frequencyMaps/de", R"({"device": {"name": "x"}, "frequencyMaps": {"de": [1]}})"},
        BadInput{"--sim @file --list", "/categories/BDANetworkTuner/0/filter",
                 R"({"device": {"name": "x"}, "categories": {"BDANetworkTuner": [{"filter": "nope"}]}})"},
        BadInput{"--sim @file --list", "bad.json", R"({"device": {"name": "x"}, "filters": {)"},
        BadInput{"--device @file --list", "number overflow", R"({"name": "x", "size": 2.9e40288})"},
        BadInput{"--test", "--test"},
        BadInput{"--device", "--device"},
        BadInput{"--param", "--param"},
        BadInput{"--answer", "--answer"},
        BadInput{"--locale", "--locale"},
        BadInput{"--sim --test TVSignalTest --param TVStartChannel=1e3", "\"1e3\""},
        BadInput{"--sim atsc --test FMRadioTest", "not offered"},
        BadInput{"--sim --test ClearQAMTest --param Foo=1", "\"Foo\""},
        BadInput{"--sim --test FMRadioTest --param StopOnSignal=true --param StopOnSignal=false", "given twice"},
        BadInput{"--sim a b --list", "not expected: b"},
        BadInput{"--locale ..\\..\\secret --list", "language tag"},
        BadInput{"--locale de_DE --list", "language tag"},
        BadInput{"--devices --list", "--list"},
        BadInput{"--out . --list", "--devices"},
        BadInput{"--devices --force", "--out"},
        BadInput{"--devices --out no-such-folder", "\"no-such-folder\": not a folder"},
        BadInput{"--devices --out @all", "not a folder"},
        BadInput{"--sim --devices --out @written", "Virtual-Hybrid-TV-Capture.json\" exists"}));

} // namespace
