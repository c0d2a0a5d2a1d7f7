// What the card's tuner reports and which picture it delivers, for the settings the analog tests
// make: the hybrid scenario's channel lists, the crossbar gating the picture.
#include <gtest/gtest.h>

#include "Card.h"
#include "CardState.h"

namespace qisvcard {
namespace {

struct Setting {
    const char* what;
    AMTunerModeType mode;
    TunerInputType input;
    long channel; // TV channel, or FM frequency in Hz
    bool routeTuner;
    bool signal;
    const wchar_t* label; // nullptr: the "No signal" picture
};

const Setting kSettings[] = {
    {"cable channel with a signal", AMTUNER_MODE_TV, TunerInputCable, 5, true, true, L"Channel 5 (cable)"},
    {"the same channel on the antenna", AMTUNER_MODE_TV, TunerInputAntenna, 5, true, false, nullptr},
    {"antenna channel with a signal", AMTUNER_MODE_TV, TunerInputAntenna, 3, true, true, L"Channel 3 (antenna)"},
    {"signal, but the crossbar routes another input", AMTUNER_MODE_TV, TunerInputCable, 5, false, true, nullptr},
    {"channel without a signal", AMTUNER_MODE_TV, TunerInputCable, 60, true, false, nullptr},
    {"FM station, truncated frequency", AMTUNER_MODE_FM_RADIO, TunerInputCable, 95499999, true, true, nullptr},
    {"FM 60 kHz off the station", AMTUNER_MODE_FM_RADIO, TunerInputCable, 95560000, true, false, nullptr},
};

class CardStateTest : public testing::TestWithParam<Setting> {};

TEST_P(CardStateTest, SignalAndPictureFollowTheSettings) {
    const Setting& s = GetParam();
    CardState state(cardFromScenario("hybrid").filter);
    ASSERT_EQ(state.setMode(s.mode), S_OK);
    ASSERT_EQ(state.setInputType(0, s.input), S_OK);
    ASSERT_EQ(state.tune(s.channel), S_OK);
    const long composite = 1;
    ASSERT_EQ(state.route(0, s.routeTuner ? 0 : composite), S_OK);

    EXPECT_EQ(state.signalPresent(), s.signal);
    const tvsim::Picture picture = state.picture();
    EXPECT_EQ(picture.signal, s.label != nullptr);
    if (s.label) EXPECT_EQ(picture.label, s.label);
}

INSTANTIATE_TEST_SUITE_P(Hybrid, CardStateTest, testing::ValuesIn(kSettings),
                         [](const testing::TestParamInfo<Setting>& info) { return "case" + std::to_string(info.index); });

TEST(CardStateRefusals, WhatTheTunerAndCrossbarRefuse) {
    CardState state(cardFromScenario("hybrid").filter);
    EXPECT_EQ(state.tune(159), E_INVALIDARG);                            // beyond the card's channels
    EXPECT_EQ(state.setInputType(1, TunerInputCable), E_INVALIDARG);     // one input only
    EXPECT_EQ(state.route(0, 3), S_FALSE);                               // audio tuner to the video output
    EXPECT_EQ(state.route(5, 0), E_INVALIDARG);                          // no such output
    ASSERT_EQ(state.setMode(AMTUNER_MODE_FM_RADIO), S_OK);
    EXPECT_EQ(state.tune(120000000), E_INVALIDARG);                      // beyond the FM band
}

TEST(CardFromScenario, AScenarioWithoutAnAnalogCardIsRefusedWithItsName) {
    try {
        cardFromScenario("atsc");
        ADD_FAILURE() << "the ATSC card has no analog capture filter";
    } catch (const tvsim::ScenarioError& e) {
        EXPECT_STREQ(e.what(), "scenario \"atsc\": /categories/VideoInputDevice: no device with an analog capture filter");
    }
}

} // namespace
} // namespace qisvcard
