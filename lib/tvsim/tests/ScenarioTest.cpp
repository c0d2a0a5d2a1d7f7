// Scenario files: what loads, and that every fault is named by its JSON path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tvsim/Scenario.h"

namespace tvsim {
namespace {

using ::testing::HasSubstr;

std::string errorOf(const std::string& json) {
    try {
        parseScenario(json, "test.json");
    } catch (const ScenarioError& e) {
        return e.what();
    }
    return "no error";
}

TEST(ScenarioLoading, EveryBuiltInScenarioLoadsAndTheDefaultIsAHybridCard) {
    for (const auto& name : builtInScenarioNames()) EXPECT_NO_THROW(loadScenario(name)) << name;
    const Scenario hybrid = loadScenario("");
    EXPECT_EQ(hybrid.name, "hybrid");
    ASSERT_EQ(hybrid.categories.at("VideoInputDevice").size(), 1u);
    const FilterSpec& capture = hybrid.filters.at(hybrid.categories.at("VideoInputDevice")[0].filter);
    ASSERT_TRUE(capture.tuner.has_value());
    EXPECT_FALSE(capture.tuner->antennaSignal.empty());
    EXPECT_FALSE(capture.tuner->fmSignal.empty());
    EXPECT_TRUE(capture.crossbar.has_value());
}

TEST(ScenarioLoading, FaultsReadNamedAndNumericResults) {
    const Scenario s = parseScenario(R"({"device": {"name": "d"}, "faults": [
        {"object": "FilterGraph", "method": "Run", "result": "E_OUTOFMEMORY", "call": 2},
        {"object": "*", "method": "BindToObject", "result": "0x80070002", "kind": "nullResult"}]})", "t");
    ASSERT_EQ(s.faults.size(), 2u);
    EXPECT_EQ(static_cast<std::uint32_t>(s.faults[0].result), 0x8007000Eu);
    EXPECT_EQ(s.faults[0].call, 2u);
    EXPECT_EQ(static_cast<std::uint32_t>(s.faults[1].result), 0x80070002u);
    EXPECT_EQ(s.faults[1].kind, FaultKind::NullResult);
}

TEST(ScenarioLoading, ScriptedStopsValuesAndArgumentFaults) {
    const Scenario s = parseScenario(R"({"device": {"name": "d"},
        "faults": [{"object": "*", "method": "put_InputType", "arguments": {"inputType": "TunerInputCable", "index": 0}}],
        "stop": {"method": "put_Channel", "call": 5, "atMs": 9000},
        "values": [{"method": "SignalPresent", "values": [0, 1, -1]}]})", "t");
    ASSERT_EQ(s.faults[0].arguments.size(), 2u);
    EXPECT_EQ(s.faults[0].arguments[0], std::make_pair(qis::String("index"), qis::String("0")));
    ASSERT_TRUE(s.stop.has_value());
    EXPECT_EQ(s.stop->object, "*");
    EXPECT_EQ(s.stop->call, 5u);
    EXPECT_EQ(s.stop->atMs, 9000);
    ASSERT_EQ(s.values.size(), 1u);
    EXPECT_EQ(s.values[0].values, (std::vector<long>{0, 1, -1}));
    FaultPlan plan;
    plan.add(s.faults[0]);
    EXPECT_FALSE(plan.check("Tuner", "put_InputType", {{"index", "0"}, {"inputType", "TunerInputAntenna"}}));
    EXPECT_TRUE(plan.check("Tuner", "put_InputType", {{"index", "0"}, {"inputType", "TunerInputCable"}}));
}

TEST(ScenarioErrors, NameTheJsonPathOfTheFault) {
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"cap": {"tuner": {"cableSignal": [1, "two"]}}}})"),
                HasSubstr("/filters/cap/tuner/cableSignal/1: expected a whole number"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"cap": {"previewPin": true, "colour": 1}}})"),
                HasSubstr("/filters/cap/colour: unknown key"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "categories": {"VideoInputDevice": [{"filter": "nope"}]}})"),
                HasSubstr("/categories/VideoInputDevice/0/filter: no filter of that name"));
    EXPECT_THAT(errorOf(R"({"device": {}})"), HasSubstr("/device: \"name\" is required"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "faults": [{"object": "a", "method": "b", "result": "E_WHATEVER"}]})"),
                HasSubstr("/faults/0/result"));
    EXPECT_THAT(errorOf("{\"device\": \n {\"name\": }"), HasSubstr("line 2"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "stop": {"object": "*"}})"), HasSubstr("/stop: expected \"method\" or \"atMs\""));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "stop": {"method": "m", "call": 0}})"), HasSubstr("/stop/call: expected a call number"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "stop": {"atMs": -1}})"), HasSubstr("/stop/atMs"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "frequencyMapCountries": [49, 0]})"), HasSubstr("/frequencyMapCountries/1: expected a country code"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "demultiplexerOutputPins": 4})"), HasSubstr("/demultiplexerOutputPins: expected 0 to 3"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"t": {"kind": "bdaTuner", "outputPins": 3}}})"),
                HasSubstr("/filters/t/outputPins: expected 0 to 2"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"c": {"getFormat": {"formatType": "Mpeg2Video"}}}})"),
                HasSubstr("/filters/c/getFormat/formatType: expected VideoInfo, VideoInfo2 or None"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"c": {"getFormat": {"width": 0}}}})"), HasSubstr("/filters/c/getFormat: width"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "mpeg2FileWriter": 1})"), HasSubstr("/mpeg2FileWriter: expected true or false"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "values": [{"method": "m", "values": [1, "on"]}]})"),
                HasSubstr("/values/0/values/1: expected a whole number"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "faults": [{"object": "a", "method": "b", "arguments": {"x": true}}]})"),
                HasSubstr("/faults/0/arguments/x: expected a whole number"));
    EXPECT_THAT(errorOf("[]"), HasSubstr("test.json"));
}

TEST(ScenarioErrors, BdaPartsAreNamedByPathAndTheTuningSpaceListCanBeShortened) {
    const Scenario s = parseScenario(R"({"device": {"name": "d"}, "tuningSpaces": [{"uniqueName": "ATSC"}, {"uniqueName": "DVB-T", "kind": "DVB-T"}]})", "t");
    ASSERT_EQ(s.tuningSpaces.size(), 2u);
    EXPECT_EQ(s.tuningSpaces[1].kind, "DVB-T");
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"t": {"kind": "bdaTuner", "receives": {"dvbt": [{"frequency": 1, "guard": "1/3"}]}}}})"),
                HasSubstr("/filters/t/receives/dvbt/0/guard: unknown guard interval"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "tuningSpaces": [{"uniqueName": "A"}, {"uniqueName": "A"}]})"),
                HasSubstr("/tuningSpaces/1/uniqueName: another tuning space has that name"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "frequencyMaps": {"Germany": [474000]}})"), HasSubstr("/frequencyMaps/Germany"));
    EXPECT_THAT(errorOf(R"({"device": {"name": "d"}, "filters": {"t": {"kind": "bdaTuner", "signalStatistics": "node"}}})"),
                HasSubstr("/filters/t/signalStatistics: expected filter or topology"));
}

TEST(ScenarioErrors, AMissingFileIsNamed) {
    try {
        loadScenario("no-such-scenario.json");
        ADD_FAILURE() << "expected an error";
    } catch (const ScenarioError& e) {
        EXPECT_THAT(e.what(), HasSubstr("no-such-scenario.json"));
    }
}

} // namespace
} // namespace tvsim
