// What the host reads and writes: JSON Lines output, device files and the catalogue listing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <nlohmann/json.hpp>

#include "Listing.h"
#include "mirt5/DeviceFile.h"
#include "mirt5/DiagModule.h"
#include "mirt5/HostOutput.h"

using namespace mirt5;
using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

std::vector<json> jsonLines(const std::string& text) {
    std::vector<json> objects;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        json object = json::parse(line, nullptr, false);
        EXPECT_TRUE(!object.is_discarded() && object.is_object() && object.contains("type")) << line;
        objects.push_back(std::move(object));
    }
    return objects;
}

class JsonOutput : public testing::Test {
protected:
    static Prompt antennaPrompt(int type) { return Prompt{2, "messageBox", type, "Antenna", "Connect the antenna", 30000}; }

    std::ostringstream out;
    std::unique_ptr<Reporter> reporter = makeJsonReporter(out, qis::LogPriority::Warning);
};

TEST_F(JsonOutput, EveryRecordIsOneJsonObjectOnALineOfItsOwn) {
    reporter->percent(0, true);
    reporter->event(Severity::Error, "NoSignal", "No signal on channel 7", {{"channel", "7"}}, "Tune.cpp", 42);
    reporter->promptOpened(antennaPrompt(MessageBox::TypeRetrySkipCancel));
    reporter->promptAnswered(antennaPrompt(MessageBox::TypeRetrySkipCancel), {MessageBox::AnswerSkip, "console"});
    reporter->finished(TestResult::NOSIGNAL(), "no carrier");
    reporter->promptOpened(antennaPrompt(MessageBox::TypeOkCancel));

    const auto lines = jsonLines(out.str());
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], json({{"type", "percent"}, {"value", 0}, {"reset", true}}));
    EXPECT_EQ(lines[1], json({{"type", "event"}, {"severity", "error"}, {"key", "NoSignal"},
                              {"text", "No signal on channel 7"}, {"variables", {{"channel", "7"}}},
                              {"file", "Tune.cpp"}, {"line", 42}}));
    const json& prompt = lines[2];
    EXPECT_EQ(prompt["type"], "prompt");
    EXPECT_EQ(prompt["id"], 2);
    EXPECT_EQ(prompt["title"], "Antenna");
    EXPECT_EQ(prompt["text"], "Connect the antenna");
    EXPECT_EQ(prompt["timeoutMs"], 30000);
    EXPECT_EQ(prompt["answers"], json({"retry", "skip", "cancel"}));
    EXPECT_EQ(lines[3]["id"], 2) << "the answer names the prompt it closes";
    EXPECT_EQ(lines[3]["answer"], "skip");
    EXPECT_EQ(lines[4], json({{"type", "result"}, {"result", "NOSIGNAL"}, {"code", 4}, {"detail", "no carrier"}}));
    EXPECT_EQ(lines[5]["answers"], json({"ok", "cancel"})) << "a box offers only its own buttons";
}

TEST_F(JsonOutput, AModulesOwnPromptIsAnsweredWithItsNumberNotWithABoxAnswerOfTheSameValue) {
    const Prompt dialog{3, "countryDialog", 0, "Country", "Please select a country", 0};
    reporter->promptOpened(dialog);
    reporter->promptAnswered(dialog, {MessageBox::AnswerSkip, "answer"}); // 220 is also Gambia
    const auto lines = jsonLines(out.str());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0]["kind"], "countryDialog");
    EXPECT_EQ(lines[0]["answers"], json::array());
    EXPECT_EQ(lines[1]["answer"], "220");
    EXPECT_EQ(lines[1]["code"], 220);

    std::ostringstream text;
    const auto human = makeHumanReporter(text, qis::LogPriority::Warning);
    human->promptOpened(dialog);
    human->promptAnswered(dialog, {MessageBox::AnswerSkip, "answer"});
    EXPECT_EQ(text.str(), "prompt Country: Please select a country\nanswer 220 (answer)\n");
}

// On a console the bar and the current channel are one line, redrawn in place; every other line
// clears it, goes above it, and the bar comes back below, except after the result.
TEST(ConsoleOutput, PercentAndProgressShareOneLineThatOtherLinesGoAbove) {
    std::ostringstream text;
    const auto console = makeHumanReporter(text, qis::LogPriority::Warning, true);
    console->percent(50, false);
    console->progress("TestingChannel", "Testing channel 7", {});
    console->event(Severity::Warning, "Weak", "weak signal", {}, "x.cpp", 3);
    console->finished(TestResult::PASS(), "");
    const std::string bar = "[##########..........]  50%";
    const std::string withChannel = bar + "  Testing channel 7";
    const auto erase = [](const std::string& shown) { return "\r" + std::string(shown.size(), ' ') + "\r"; };
    EXPECT_EQ(text.str(), bar + erase(bar) + withChannel + erase(withChannel) + "warning Weak: weak signal (x.cpp:3)\n" +
                              withChannel + erase(withChannel) + "result PASS 0\n");
}

TEST_F(JsonOutput, TextThatIsNotUtf8StillGivesAValidLine) {
    const qis::String broken(std::string("caf\xE9 \xFF"));
    EXPECT_NO_THROW(reporter->event(Severity::Warning, "Odd", broken, {{"name", broken}}, "x.cpp", 1));
    EXPECT_NO_THROW(reporter->progress("Odd", broken, {{broken, "1"}}));
    const auto lines = jsonLines(out.str());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0]["text"].get<std::string>(), HasSubstr("caf"));
}

TEST_F(JsonOutput, LogRecordsBelowTheChosenLevelAreLeftOut) {
    reporter->log({"tuner", qis::LogPriority::Info, "registers read"});
    reporter->log({"tuner", qis::LogPriority::Warning, "weak signal"});
    const auto lines = jsonLines(out.str());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["type"], "log");
    EXPECT_EQ(lines[0]["text"], "weak signal");
}

std::filesystem::path temporaryFile() {
    std::random_device random;
    return std::filesystem::temp_directory_path() / ("mirt5-device-" + std::to_string(random()) + ".json");
}

TEST(DeviceFiles, AFileWithEveryKeyIsRead) {
    const auto path = temporaryFile();
    std::ofstream(path) << R"({"name": "Card A", "description": "PCI tuner",
        "capabilities": ["AnalogTVTuner", "VideoCapture"], "properties": {"DeviceVendorID": "10CF"}})";
    const DiagDevice device = loadDeviceFile(qis::String(path.string()));
    std::filesystem::remove(path);
    EXPECT_EQ(device.name(), "Card A");
    EXPECT_EQ(device.description(), "PCI tuner");
    EXPECT_THAT(device.capabilities().names(), ElementsAre("AnalogTVTuner", "VideoCapture"));
    EXPECT_EQ(device.property("DeviceVendorID").valueRef().toString(), "10CF");
    EXPECT_FALSE(device.hasProperty("DeviceID"));
}

TEST(DeviceFiles, AFaultyDocumentIsRefusedNamingTheFileAndThePlace) {
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {"{\n  \"name\": \"A\",\n  capabilities: []\n}", {"line 3", "column"}},
        {R"({"name": "A", "capabilities": ["VideoCapture", "SatelliteTuner"]})", {"/capabilities/1", "SatelliteTuner"}},
        {R"({"name": "A", "capabilites": []})", {"capabilites"}},
        {R"({"name": "A", "properties": {"DeviceVendorID": 4303}})", {"/properties/DeviceVendorID"}},
        {R"({"description": "no name"})", {"/name"}},
        {R"({"name": "  "})", {"/name"}},
        {R"({"name": 5})", {"/name"}},
    };
    for (const auto& [text, culprits] : cases) {
        std::string why = "(accepted)";
        try {
            parseDevice(text, "card.json");
        } catch (const UsageError& e) {
            why = e.what();
        }
        EXPECT_THAT(why, HasSubstr("card.json"));
        EXPECT_THAT(why, Not(HasSubstr("[json.exception")));
        for (const auto& culprit : culprits) EXPECT_THAT(why, HasSubstr(culprit)) << text;
    }
}

TEST(DeviceFiles, AFileThatCannotBeReadIsNamed) {
    const qis::String missing(temporaryFile().string());
    try {
        loadDeviceFile(missing);
        ADD_FAILURE() << "a missing file was accepted";
    } catch (const UsageError& e) {
        EXPECT_THAT(std::string(e.what()), HasSubstr(missing.utf8()));
    }
}

TestResult unused(const DiagDevice&) { return TestResult::PASS(); }
// Registered once for the process, like a module's own catalogue.
const bool g_listed = [] {
    DiagModule::createTest("ListCapture", DeviceCapability::VideoCapture(), unused);
    DiagModule::createTest("ListRadio", DeviceCapability::AnalogFMRadioTuner(), unused)
        ->addDevicePropertyRequirement("TunerType", "");
    return true;
}();

std::vector<std::string> listedTests(const std::optional<DiagDevice>& device) {
    std::ostringstream out;
    listCatalogue(out, "qisrtvcard", device, true);
    const json catalogue = json::parse(out.str());
    std::vector<std::string> names;
    for (const auto& test : catalogue["tests"]) names.push_back(test["name"]);
    return names;
}

TEST(Listing, WithADeviceOnlyTheTestsOfferedForItAreListed) {
    ASSERT_TRUE(g_listed);
    EXPECT_THAT(listedTests(std::nullopt), testing::IsSupersetOf({"ListCapture", "ListRadio"}));
    const auto forCapture = listedTests(DiagDevice("Card A", "", DeviceCapability::VideoCapture()));
    EXPECT_THAT(forCapture, Contains("ListCapture"));
    EXPECT_THAT(forCapture, Not(Contains("ListRadio")));
    EXPECT_THAT(listedTests(DiagDevice("Radio", "", DeviceCapability::AnalogFMRadioTuner())), Not(Contains("ListRadio")))
        << "the radio test also needs the TunerType property";
}

} // namespace
