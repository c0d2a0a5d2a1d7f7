#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "frame/Catalogue.h"

namespace qisrtvcard {
namespace {

using ::testing::ElementsAre;
using mirt5::DiagModule;

std::vector<std::string> names(const std::vector<qis::String>& list) {
    std::vector<std::string> out;
    for (const auto& s : list) out.push_back(s.utf8());
    return out;
}

std::vector<std::string> parameterNames(const mirt5::Test* test) {
    std::vector<std::string> out;
    for (const auto* p : test->parameters()) out.push_back(p->name().utf8());
    return out;
}

class ModuleCatalogue : public ::testing::Test {
protected:
    static void SetUpTestSuite() { testing::initialiseCatalogue(); }
};

TEST_F(ModuleCatalogue, SixTestsInRegistrationOrderWithCapabilitiesInTheOrderCombined) {
    const auto& tests = DiagModule::tests();
    ASSERT_GE(tests.size(), 6u);
    EXPECT_EQ(tests[0], TVSignalTest);
    EXPECT_EQ(tests[1]->name(), "CaptureToScreenTest");
    EXPECT_EQ(tests[2]->name(), "CaptureToFileTest");
    EXPECT_EQ(tests[3]->name(), "FMRadioTest");
    EXPECT_EQ(tests[4]->name(), "DigitalTVSignalTest");
    EXPECT_EQ(tests[5]->name(), "ClearQAMTest");
    EXPECT_THAT(names(tests[0]->capabilities().names()), ElementsAre("VideoCapture", "VideoCaptureBaseFilter", "AnalogTVTuner"));
    EXPECT_THAT(names(tests[3]->capabilities().names()),
                ElementsAre("VideoCapture", "VideoCaptureBaseFilter", "AnalogFMRadioTuner"));
    EXPECT_THAT(names(tests[5]->capabilities().names()), ElementsAre("VideoCapture", "DigitalTVTuner"));
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(tests[i]->isInteractive(), i == 0) << tests[i]->name();
    ASSERT_EQ(tests[5]->requirements().size(), 1u);
    EXPECT_EQ(tests[5]->requirements()[0].property, "EnableQAM");
    EXPECT_TRUE(tests[5]->requirements()[0].value.isEmpty());
}

TEST_F(ModuleCatalogue, ParametersAreAttachedInTheOrderTheHostListsThem) {
    EXPECT_THAT(parameterNames(TVSignalTest),
                ElementsAre("TVStartChannel", "TVEndChannel", "MsgBoxTimeout", "CheckTVCable", "StopOnSignal",
                            "ChecksPerChannel", "SignalType", "AskCountryCode1", "AskCountryCode2"));
    EXPECT_THAT(parameterNames(FMRadioTest),
                ElementsAre("StopOnSignal", "ChecksPerChannel", "FMRadioStartChannel", "FMRadioEndChannel"));
    EXPECT_THAT(parameterNames(DigitalTVSignalTestHandle),
                ElementsAre("MsgBoxTimeout", "CheckTVCable", "DigitalStartChannel", "DigitalEndChannel", "UseMinorChannelTechnique"));
    EXPECT_TRUE(CaptureToScreenTestHandle->parameters().empty());
    EXPECT_TRUE(CaptureToFileTestHandle->parameters().empty());
    EXPECT_TRUE(ClearQAMTestHandle->parameters().empty());
}

TEST_F(ModuleCatalogue, EveryTestCarriesTheTwoExclusionsOnceInOrder) {
    for (std::size_t i = 0; i < 6; ++i) {
        const auto& exclusions = DiagModule::tests()[i]->exclusions();
        ASSERT_EQ(exclusions.size(), 2u) << DiagModule::tests()[i]->name();
        EXPECT_EQ(exclusions[0].property, "DeviceVendorID");
        EXPECT_EQ(exclusions[0].value, "10CF");
        EXPECT_EQ(exclusions[1].property, "DeviceID");
        EXPECT_EQ(exclusions[1].value, "201C|2030");
    }
}

TEST_F(ModuleCatalogue, FifteenParametersWithoutDefaultsAndOnlyTouchscreenFactorModuleWide) {
    const auto& parameters = DiagModule::parameters();
    ASSERT_EQ(parameters.size(), 15u);
    const char* expected[][2] = {{"TVStartChannel", "UINT32"},      {"TVEndChannel", "UINT32"},
                                 {"FMRadioStartChannel", "DOUBLE"}, {"FMRadioEndChannel", "DOUBLE"},
                                 {"MsgBoxTimeout", "UINT32"},       {"CheckTVCable", "BOOLEAN"},
                                 {"StopOnSignal", "BOOLEAN"},       {"ChecksPerChannel", "UINT32"},
                                 {"SignalType", "STRING"},          {"DigitalStartChannel", "UINT32"},
                                 {"DigitalEndChannel", "UINT32"},   {"AskCountryCode1", "BOOLEAN"},
                                 {"AskCountryCode2", "BOOLEAN"},    {"UseMinorChannelTechnique", "BOOLEAN"},
                                 {"TouchscreenFactor", "DOUBLE"}};
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        EXPECT_EQ(parameters[i]->name(), expected[i][0]);
        EXPECT_STREQ(parameters[i]->dataType().name(), expected[i][1]) << expected[i][0];
        EXPECT_TRUE(parameters[i]->defaultValue().isEmpty());
        EXPECT_EQ(parameters[i]->isModuleWide(), i == 14) << expected[i][0];
        EXPECT_TRUE(parameters[i]->isListed());
    }
}

TEST_F(ModuleCatalogue, ElevenEventsAndElevenStringsInOrderEachWithEnglishText) {
    std::vector<std::string> events, strings;
    for (auto* e : DiagModule::events()) {
        events.push_back(e->key().utf8());
        EXPECT_FALSE(e->text().startsWith("[")) << "no English text for " << e->key();
    }
    for (auto* s : DiagModule::localizedStrings()) {
        strings.push_back(s->key().utf8());
        EXPECT_FALSE(s->localizedString().startsWith("[")) << "no English text for " << s->key();
    }
    EXPECT_THAT(events, ElementsAre("WarningWindowSetupProblem", "WarningDeviceNotFound",
                                    "WarningHardwareDoesNotSupportAnalogTVCapture", "ErrorCreatingFilterGraph",
                                    "ErrorRenderingVideoStream", "ErrorNoSignalDetected", "ErrorNoSignal",
                                    "ErrorNoSignalWithTip", "InfoSignalDetected", "MediaCenterIsRunning", "ErrorNoSignalQC"));
    EXPECT_THAT(strings, ElementsAre("CheckCableConnectedMessage", "CheckCableConnectedTitle", "TestingChannel",
                                     "DefaultName", "PleaseSelectCountry", "OKButton", "CaptureToFileTitle",
                                     "CaptureToScreenTitle", "OCURWarningMessage", "DigitalSignalTestWndTitle",
                                     "ErrorRunFailed"));
}

TEST_F(ModuleCatalogue, EventTextsCarryTheirVariables) {
    ErrorNoSignalDetected->setVariable("startchannel", mirt5::Value(std::uint32_t{2}));
    ErrorNoSignalDetected->setVariable("endchannel", mirt5::Value(std::uint32_t{69}));
    EXPECT_TRUE(ErrorNoSignalDetected->text().contains("2 to 69"));
    TestingChannel->setVariable("channel", mirt5::Value(std::uint32_t{7}));
    EXPECT_EQ(TestingChannel->localizedString(), "Testing channel 7");
}

} // namespace
} // namespace qisrtvcard
