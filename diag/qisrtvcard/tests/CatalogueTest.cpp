// What the host's JSON listing (HostProtocolTest) does not show of the catalogue: the type of
// every parameter, the order of the events and strings, and their English texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "frame/Catalogue.h"

namespace qisrtvcard {
namespace {

using ::testing::ElementsAre;
using mirt5::DiagModule;

TEST(ModuleCatalogue, ParametersEventsAndStringsInOrderWithTypesAndEnglishTexts) {
    testing::initialiseCatalogue();
    std::vector<std::string> parameters, events, strings;
    for (const auto* p : DiagModule::parameters()) parameters.push_back(p->name().utf8() + ":" + p->dataType().name());
    EXPECT_THAT(parameters, ElementsAre("TVStartChannel:UINT32", "TVEndChannel:UINT32", "FMRadioStartChannel:DOUBLE",
                                        "FMRadioEndChannel:DOUBLE", "MsgBoxTimeout:UINT32", "CheckTVCable:BOOLEAN",
                                        "StopOnSignal:BOOLEAN", "ChecksPerChannel:UINT32", "SignalType:STRING",
                                        "DigitalStartChannel:UINT32", "DigitalEndChannel:UINT32", "AskCountryCode1:BOOLEAN",
                                        "AskCountryCode2:BOOLEAN", "UseMinorChannelTechnique:BOOLEAN", "TouchscreenFactor:DOUBLE"));
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
    // The texts carry their variables.
    ErrorNoSignalDetected->setVariable("startchannel", mirt5::Value(std::uint32_t{2}));
    ErrorNoSignalDetected->setVariable("endchannel", mirt5::Value(std::uint32_t{69}));
    EXPECT_TRUE(ErrorNoSignalDetected->text().contains("2 to 69"));
    TestingChannel->setVariable("channel", mirt5::Value(std::uint32_t{7}));
    EXPECT_EQ(TestingChannel->localizedString(), "Testing channel 7");
}

} // namespace
} // namespace qisrtvcard
