#include <gtest/gtest.h>
#include "digital/DVBTChannelPlan.h"

#include <cstdint>
#include <string>
#include <ostream>
#include <tuple>
#include <vector>

namespace qisrtvcard {

bool operator==(const DVBTChannel& a, const DVBTChannel& b) {
    return std::tie(a.frequency, a.modulation, a.transmissionMode, a.guardInterval, a.codeRate, a.bandwidth) ==
           std::tie(b.frequency, b.modulation, b.transmissionMode, b.guardInterval, b.codeRate, b.bandwidth);
}

void PrintTo(const DVBTChannel& c, std::ostream* out) {
    *out << "{" << c.frequency << " kHz, modulation " << c.modulation << ", mode " << c.transmissionMode << ", guard "
         << c.guardInterval << ", code rate " << c.codeRate << ", " << c.bandwidth << " MHz}";
}

namespace {

// BDA values, written out by hand so that a wrong name table shows.
enum : std::uint32_t { QAM16 = 1, QAM64 = 3, QPSK = 20 };
enum : std::uint32_t { MODE_2K = 1, MODE_8K = 2 };
enum : std::uint32_t { GI_1_32 = 1, GI_1_16 = 2, GI_1_8 = 3, GI_1_4 = 4 };
enum : std::uint32_t { CR_1_2 = 1, CR_2_3 = 2, CR_3_4 = 3, CR_5_6 = 6, CR_7_8 = 8 };

constexpr std::uint32_t kVhf = 177500;
constexpr std::uint32_t kUhf = 474000;

DVBTChannel ch(std::uint32_t frequency, std::uint32_t modulation, std::uint32_t mode, std::uint32_t guard,
               std::uint32_t codeRate, std::uint32_t bandwidth) {
    return DVBTChannel{frequency, modulation, mode, guard, codeRate, bandwidth};
}

class DVBTChannelPlanTest : public testing::Test {
protected:
    std::vector<DVBTChannel> build(std::uint32_t country, const std::vector<std::uint32_t>& frequencies) {
        plan.buildForCountry(country, frequencies.data(), static_cast<std::uint32_t>(frequencies.size()));
        return records();
    }

    std::vector<DVBTChannel> records() const {
        std::vector<DVBTChannel> out;
        for (std::uint32_t i = 0; i < plan.channelCount(); ++i) out.push_back(plan.channel(i));
        return out;
    }

    DVBTChannelPlan plan;
};

TEST_F(DVBTChannelPlanTest, GermanyTriesEverySetOnEveryFrequencyBeforeTheNextSet) {
    const std::vector<DVBTChannel> expected = {
        ch(kVhf, QAM16, MODE_8K, GI_1_8, CR_2_3, 7),  ch(kUhf, QAM16, MODE_8K, GI_1_8, CR_2_3, 8),
        ch(kVhf, QAM16, MODE_8K, GI_1_4, CR_3_4, 7),  ch(kUhf, QAM16, MODE_8K, GI_1_4, CR_3_4, 8),
        ch(kVhf, QAM64, MODE_8K, GI_1_16, CR_2_3, 7), ch(kUhf, QAM64, MODE_8K, GI_1_16, CR_2_3, 8),
        ch(kVhf, QAM64, MODE_8K, GI_1_4, CR_2_3, 7),  ch(kUhf, QAM64, MODE_8K, GI_1_4, CR_2_3, 8),
    };
    EXPECT_EQ(build(49, {kVhf, kUhf}), expected);
    EXPECT_EQ(plan.countryCode(), 49u);
}

TEST_F(DVBTChannelPlanTest, BandsSplitAt300000WhichIsUhf) {
    EXPECT_TRUE(build(46, {177500, 226500, 299999}).empty()) << "a UHF-only country has nothing to try on VHF";

    const std::vector<DVBTChannel> germany = build(49, {299999, 300000});
    ASSERT_EQ(germany.size(), 8u);
    for (std::size_t i = 0; i < germany.size(); i += 2) {
        EXPECT_EQ(germany[i].frequency, 299999u) << i;
        EXPECT_EQ(germany[i].bandwidth, 7u) << i;
        EXPECT_EQ(germany[i + 1].frequency, 300000u) << i;
        EXPECT_EQ(germany[i + 1].bandwidth, 8u) << i;
    }
}

TEST_F(DVBTChannelPlanTest, UnknownNamesTakeDefaultsAndAnyOtherBandAdmitsAll) {
    build(1, {});
    const std::uint32_t frequencies[] = {kVhf, kUhf};
    plan.addParameterSet("8VSB", "4K", "1/3", "9/10", "12", "all", frequencies, 2);
    plan.addParameterSet("QPSK", "2K", "1/16", "5/6", "6", "VHF", frequencies, 2);
    plan.addParameterSet("16qam", "8K", "1/4", "7/8", "7", "uhf", frequencies, 2); // names compare case-sensitively
    // The names are the BDA headers' own, misspellings included.
    plan.addParameterSet("8SVB", "2K", "1/8", "5/11", "8", "VHF", frequencies, 2);
    const std::vector<DVBTChannel> expected = {
        ch(kVhf, QAM64, MODE_8K, GI_1_32, CR_1_2, 8), ch(kUhf, QAM64, MODE_8K, GI_1_32, CR_1_2, 8),
        ch(kVhf, QPSK, MODE_2K, GI_1_16, CR_5_6, 6),
        ch(kVhf, QAM64, MODE_8K, GI_1_4, CR_7_8, 7),  ch(kUhf, QAM64, MODE_8K, GI_1_4, CR_7_8, 7),
        ch(kVhf, 23, MODE_2K, GI_1_8, 7, 8),
    };
    EXPECT_EQ(records(), expected);
}

// Whole plans: the UK's 2K mode, Australia's two sets on every frequency, Taiwan's 6 MHz on UHF,
// and the default set for countries without a row.
TEST_F(DVBTChannelPlanTest, CountryPlans) {
    EXPECT_EQ(build(44, {474000, 490000}), (std::vector<DVBTChannel>{ch(474000, QAM16, MODE_2K, GI_1_32, CR_3_4, 8),
                                                                     ch(490000, QAM16, MODE_2K, GI_1_32, CR_3_4, 8),
                                                                     ch(474000, QAM64, MODE_2K, GI_1_32, CR_2_3, 8),
                                                                     ch(490000, QAM64, MODE_2K, GI_1_32, CR_2_3, 8)}));
    EXPECT_EQ(build(61, {177500, 781500}), (std::vector<DVBTChannel>{ch(177500, QAM64, MODE_8K, GI_1_16, CR_3_4, 7),
                                                                     ch(781500, QAM64, MODE_8K, GI_1_16, CR_3_4, 7),
                                                                     ch(177500, QAM64, MODE_8K, GI_1_8, CR_2_3, 7),
                                                                     ch(781500, QAM64, MODE_8K, GI_1_8, CR_2_3, 7)}));
    EXPECT_EQ(build(886, {kVhf, kUhf}).front(), ch(kUhf, QAM16, MODE_8K, GI_1_8, CR_1_2, 6));
    for (const std::uint32_t code : {0u, 1u, 35u, 4294967295u})
        EXPECT_EQ(build(code, {kVhf, kUhf}), (std::vector<DVBTChannel>{ch(kVhf, QAM64, MODE_8K, GI_1_32, CR_2_3, 8),
                                                                       ch(kUhf, QAM64, MODE_8K, GI_1_32, CR_2_3, 8)}))
            << code;
}

} // namespace
} // namespace qisrtvcard
