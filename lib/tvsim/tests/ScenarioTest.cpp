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
