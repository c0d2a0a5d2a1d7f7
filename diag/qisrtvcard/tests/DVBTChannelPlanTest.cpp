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

// Germany's plan on a VHF and a UHF frequency: every set on every frequency before the next set.
std::vector<DVBTChannel> germany(std::uint32_t vhf, std::uint32_t uhf) {
    return {ch(vhf, QAM16, MODE_8K, GI_1_8, CR_2_3, 7),  ch(uhf, QAM16, MODE_8K, GI_1_8, CR_2_3, 8),
            ch(vhf, QAM16, MODE_8K, GI_1_4, CR_3_4, 7),  ch(uhf, QAM16, MODE_8K, GI_1_4, CR_3_4, 8),
            ch(vhf, QAM64, MODE_8K, GI_1_16, CR_2_3, 7), ch(uhf, QAM64, MODE_8K, GI_1_16, CR_2_3, 8),
            ch(vhf, QAM64, MODE_8K, GI_1_4, CR_2_3, 7),  ch(uhf, QAM64, MODE_8K, GI_1_4, CR_2_3, 8)};
}

// Whole plans for a country and its frequencies: bands split at 300000, which is UHF; the UK's 2K
// mode, Australia's two sets on every frequency, Taiwan's 6 MHz on UHF, and the default set for
// countries without a row.
TEST_F(DVBTChannelPlanTest, CountryPlans) {
    const std::vector<DVBTChannel> defaults = {ch(kVhf, QAM64, MODE_8K, GI_1_32, CR_2_3, 8), ch(kUhf, QAM64, MODE_8K, GI_1_32, CR_2_3, 8)};
    const struct {
        std::uint32_t country;
        std::vector<std::uint32_t> frequencies;
        std::vector<DVBTChannel> records;
    } plans[] = {
        {49, {kVhf, kUhf}, germany(kVhf, kUhf)},
        {49, {299999, 300000}, germany(299999, 300000)},
        {46, {177500, 226500, 299999}, {}}, // UHF only: nothing to try on VHF
        {44, {474000, 490000}, {ch(474000, QAM16, MODE_2K, GI_1_32, CR_3_4, 8), ch(490000, QAM16, MODE_2K, GI_1_32, CR_3_4, 8),
                                ch(474000, QAM64, MODE_2K, GI_1_32, CR_2_3, 8), ch(490000, QAM64, MODE_2K, GI_1_32, CR_2_3, 8)}},
        {61, {177500, 781500}, {ch(177500, QAM64, MODE_8K, GI_1_16, CR_3_4, 7), ch(781500, QAM64, MODE_8K, GI_1_16, CR_3_4, 7),
                                ch(177500, QAM64, MODE_8K, GI_1_8, CR_2_3, 7), ch(781500, QAM64, MODE_8K, GI_1_8, CR_2_3, 7)}},
        {0, {kVhf, kUhf}, defaults}, {1, {kVhf, kUhf}, defaults}, {35, {kVhf, kUhf}, defaults}, {4294967295u, {kVhf, kUhf}, defaults},
    };
    for (const auto& p : plans) {
        EXPECT_EQ(build(p.country, p.frequencies), p.records) << "country " << p.country;
        EXPECT_EQ(plan.countryCode(), p.country);
    }
    const std::vector<DVBTChannel> taiwan = build(886, {kVhf, kUhf});
    ASSERT_EQ(taiwan.size(), 4u);
    EXPECT_EQ(taiwan.front(), ch(kUhf, QAM16, MODE_8K, GI_1_8, CR_1_2, 6));
    for (const DVBTChannel& c : taiwan) EXPECT_EQ(c.bandwidth, 6u);
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

} // namespace
} // namespace qisrtvcard
