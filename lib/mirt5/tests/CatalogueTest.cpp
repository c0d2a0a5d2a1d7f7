// What a module declares and what the host is offered: capabilities, offer rules, typed
// parameter values and localized texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "mirt5/DiagModule.h"
#include "mirt5/Localization.h"
#include "qis/Exception.h"

using namespace mirt5;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

TestResult noEntry(const DiagDevice&) { return TestResult::PASS(); }

DiagDevice deviceWith(DeviceCapability capabilities, std::map<qis::String, qis::String> properties = {}) {
    return DiagDevice("Card", "", capabilities, std::move(properties));
}

} // namespace

TEST(Capabilities, KeepTheOrderTheyWereCombinedInWithoutRepeats) {
    const auto combined = DeviceCapability::AnalogTVTuner() | DeviceCapability::VideoCapture() |
                          DeviceCapability::AnalogTVTuner() | DeviceCapability::AnalogFMRadioTuner();
    EXPECT_THAT(combined.names(), ElementsAre("AnalogTVTuner", "VideoCapture", "AnalogFMRadioTuner"));
    EXPECT_TRUE(combined.contains(DeviceCapability::VideoCapture() | DeviceCapability::AnalogFMRadioTuner()));
    EXPECT_FALSE(combined.contains(DeviceCapability::VideoCapture() | DeviceCapability::DigitalTVTuner()));
}

class OfferRules : public testing::Test {
protected:
    const DeviceCapability capture = DeviceCapability::VideoCapture();
};

TEST_F(OfferRules, AMissingCapabilityIsNamedButOnesTheDeviceHasAreNot) {
    const mirt5::Test test("Scan", capture | DeviceCapability::DigitalTVTuner(), noEntry);
    const qis::String why = test.whyNotOffered(deviceWith(capture | DeviceCapability::AnalogTVTuner()));
    EXPECT_THAT(why.utf8(), HasSubstr("DigitalTVTuner"));
    EXPECT_THAT(why.utf8(), Not(HasSubstr("VideoCapture")));
    EXPECT_TRUE(test.whyNotOffered(deviceWith(DeviceCapability::DigitalTVTuner() | capture)).isEmpty());
}

TEST_F(OfferRules, ARequirementNeedsThePropertyAndOneOfItsValuesIfAnyAreGiven) {
    mirt5::Test anyType("Scan", capture, noEntry);
    anyType.addDevicePropertyRequirement("TunerType", "");
    EXPECT_TRUE(anyType.whyNotOffered(deviceWith(capture, {{"TunerType", "anything"}})).isEmpty());
    EXPECT_THAT(anyType.whyNotOffered(deviceWith(capture, {{"Other", "x"}})).utf8(), HasSubstr("TunerType"));
    mirt5::Test someTypes("Scan", capture, noEntry);
    someTypes.addDevicePropertyRequirement("TunerType", "PAL|NTSC");
    EXPECT_TRUE(someTypes.whyNotOffered(deviceWith(capture, {{"TunerType", "NTSC"}})).isEmpty());
    EXPECT_FALSE(someTypes.whyNotOffered(deviceWith(capture, {{"TunerType", "SECAM"}})).isEmpty());
}

TEST_F(OfferRules, ExclusionsApplyOnlyWhenEveryOneMatches) {
    mirt5::Test test("Scan", capture, noEntry);
    test.addDevicePropertyExclusion("DeviceVendorID", "10CF")->addDevicePropertyExclusion("DeviceID", "201C|2030");
    const auto card = [&](const char* vendor, const char* id) {
        return deviceWith(capture, {{"DeviceVendorID", vendor}, {"DeviceID", id}});
    };
    EXPECT_FALSE(test.whyNotOffered(card("10CF", "201C")).isEmpty());
    EXPECT_FALSE(test.whyNotOffered(card("10CF", "2030")).isEmpty());
    EXPECT_FALSE(test.whyNotOffered(card("10cf", "201c")).isEmpty()) << "hexadecimal ids ignore case";
    EXPECT_TRUE(test.whyNotOffered(card("10CF", "2031")).isEmpty());
    EXPECT_TRUE(test.whyNotOffered(card("8086", "201C")).isEmpty());
    EXPECT_TRUE(test.whyNotOffered(deviceWith(capture, {{"DeviceVendorID", "10CF"}})).isEmpty())
        << "a device without the id does not match the id exclusion";
}

TEST(ParameterValues, HostTextIsReadStrictlyByType) {
    EXPECT_EQ(Value::parse(DataType::UINT32(), "4294967295")->valueUint32(), 4294967295u);
    for (const char* bad : {"abc", "-1", "4294967296", " 5", "+5", "0x10"})
        EXPECT_FALSE(Value::parse(DataType::UINT32(), bad)) << bad;
    EXPECT_DOUBLE_EQ(Value::parse(DataType::DOUBLE(), "-1e3")->valueDouble(), -1000.0);
    for (const char* bad : {"1.2.3", "nan", "inf", "-inf", "1e999", "1,5"})
        EXPECT_FALSE(Value::parse(DataType::DOUBLE(), bad)) << bad;
    EXPECT_TRUE(Value::parse(DataType::BOOLEAN(), "Yes")->valueBool());
    EXPECT_FALSE(Value::parse(DataType::BOOLEAN(), "0")->valueBool());
    EXPECT_FALSE(Value::parse(DataType::BOOLEAN(), "maybe"));
    qis::String why;
    EXPECT_FALSE(Value::parse(DataType::UINT32(), "-1", &why));
    EXPECT_FALSE(why.isEmpty()) << "the host is told what is wrong";
}

TEST(ParameterValues, AnEmptyTextIsAnEmptyValueThatReadsAsZero) {
    for (DataType type : {DataType::UINT32(), DataType::DOUBLE(), DataType::BOOLEAN()})
        EXPECT_TRUE(Value::parse(type, "")->isEmpty()) << type.name();
    EXPECT_EQ(Value::empty(DataType::UINT32()).valueUint32(), 0u);
    EXPECT_EQ(Value::empty(DataType::DOUBLE()).valueDouble(), 0.0);
    EXPECT_FALSE(Value::empty(DataType::BOOLEAN()).valueBool());
    EXPECT_THROW(Value("abc").valueUint32(), qis::Exception) << "reading with the wrong type is a fault";
}

TEST(ParameterValues, AParameterReadsItsRunValueElseItsDefault) {
    Parameter channel("Channel", DataType::UINT32(), "5", false, true);
    EXPECT_EQ(channel.value().valueUint32(), 5u);
    channel.setRunValue(Value::parse(DataType::UINT32(), "21"));
    EXPECT_EQ(channel.value().valueUint32(), 21u);
    channel.setRunValue(std::nullopt);
    EXPECT_EQ(channel.value().valueUint32(), 5u);
}

TEST(Texts, FillReplacesKnownVariablesAndKeepsUnknownOnes) {
    EXPECT_EQ(Localization::fill("No signal on {channel} at {frequency} MHz", {{"channel", "7"}}),
              "No signal on 7 at {frequency} MHz");
    EXPECT_EQ(Localization::fill("{a}{b}", {{"a", "{b}"}, {"b", "2"}}), "{b}2") << "values are not filled again";
    EXPECT_EQ(Localization::fill("open { brace", {{"brace", "x"}}), "open { brace");
}

TEST(Texts, AKeyWithoutTextShowsAsTheBracketedKey) {
    Localization::set({{"NoSignal", "No signal"}}, {});
    EXPECT_EQ(Event("Unknown").text(), "[Unknown]");
    EXPECT_EQ(LocalizedString("NoSignal").localizedString(), "[NoSignal]") << "events and strings are apart";
}

TEST(Texts, ALanguageFileFallsBackToEnglishForKeysItLacks) {
    const auto directory = std::filesystem::temp_directory_path() / ("mirt5-texts-" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "en.json") << R"({"events": {"NoSignal": "No signal", "Scan": "Scanning {band}"},
                                                "tests": {"ScanTest": "Channel scan", "RadioTest": "Radio"}})";
    std::ofstream(directory / "de.json") << R"({"events": {"NoSignal": "Kein Signal"}, "tests": {"ScanTest": "Kanalsuche"}})";
    const bool loaded = Localization::load(directory, "de-AT");
    std::filesystem::remove_all(directory);
    ASSERT_TRUE(loaded);
    EXPECT_EQ(Localization::eventText("NoSignal"), "Kein Signal") << "the German file serves Austria";
    EXPECT_EQ(Localization::eventText("Scan"), "Scanning {band}");
    EXPECT_EQ(mirt5::Test("ScanTest", DeviceCapability(), nullptr).localizedName(), "Kanalsuche");
    EXPECT_EQ(mirt5::Test("RadioTest", DeviceCapability(), nullptr).localizedName(), "Radio");
    EXPECT_EQ(mirt5::Test("OtherTest", DeviceCapability(), nullptr).localizedName(), "OtherTest") << "a test without a text keeps its name";
}
