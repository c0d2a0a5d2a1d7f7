#include <gtest/gtest.h>
#include "TransportStreams.h"
#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <random>

namespace tunekit {
namespace {

using namespace streams;
using Stats = TransportStreamStatistics;

Bytes withTransportErrors(Bytes stream, std::size_t first, std::size_t every) {
    for (std::size_t i = first; i * kPacket < stream.size(); i += every) stream[i * kPacket + 1] |= 0x80;
    return stream;
}

using Count = std::pair<unsigned long Stats::*, unsigned long>;
constexpr auto kPackets = &Stats::packets, kNulls = &Stats::nullPackets, kTransport = &Stats::transportErrors,
               kContinuity = &Stats::continuityErrors, kMalformed = &Stats::malformedPackets, kPcr = &Stats::pcrPackets,
               kSyncLosses = &Stats::syncLosses, kLost = &Stats::lostPackets;

struct Case {
    const char* what;
    Bytes stream;
    std::vector<Count> counts;
    unsigned long lowest = 0, highest = 100; // the score's range; above 50 means a picture
};

TEST(Mpeg2StreamAnalyzerTest, CountsAndScoreOfEachKindOfStream) {
    const Bytes clean = StreamBuilder().programme(200).bytes();
    const Bytes next = StreamBuilder().programme(201).bytes();
    Bytes trailing = clean, inserted = clean, cut = clean;
    trailing.insert(trailing.end(), next.end() - kPacket, next.end() - kPacket + 100);
    inserted.insert(inserted.begin() + 100 * kPacket, 10, 0x00);
    cut.erase(cut.begin() + 100 * kPacket + 50, cut.begin() + 100 * kPacket + 110);
    Bytes junk(150, 0x00);
    junk[20] = 0x47;
    junk[21] = 0x80; // would be an uncorrectable packet if believed
    Bytes reserved = packet(kVideoPid, 0);
    reserved[3] &= 0xCF; // adaptation_field_control 00
    Bytes tooLong = packet(kVideoPid, 5, true, true);
    tooLong[4] = 0xFF; // the last packet claims an adaptation field longer than a packet
    Bytes noSync(64 * kPacket);
    for (std::size_t i = 0; i < noSync.size(); ++i) noSync[i] = static_cast<unsigned char>(i % 71); // never 0x47
    const Bytes one = StreamBuilder().payload(kVideoPid, true).bytes();
    const StreamBuilder twoPids = StreamBuilder().repeat(40, [](StreamBuilder& b, unsigned) { b.payload(kVideoPid).payload(kAudioPid); });
    const Bytes padded = StreamBuilder().repeat(50, [](StreamBuilder& b, unsigned) { b.programme(4).nulls(6); }).bytes();
    const Bytes clean300 = StreamBuilder().programme(300).bytes();

    const StreamBuilder video = StreamBuilder().payload(kVideoPid);
    const Bytes repeated = packet(kVideoPid, 0);
    const Case cases[] = {
        {"a clean programme, counters wrapping", StreamBuilder().programme(400).bytes(),
         {{kPackets, 400}, {kContinuity, 0}, {kTransport, 0}, {kMalformed, 0}, {kLost, 0}, {kSyncLosses, 0}, {kPcr, 40}}, 100},
        {"no clock reference", StreamBuilder().programme(400, false).bytes(), {}, 51, 99},
        {"one uncorrectable packet with a sound header", withTransportErrors(clean300, 150, 300), {{kTransport, 1}, {kContinuity, 0}}, 51, 99},
        {"a counter gap", StreamBuilder().programme(40).skip(kVideoPid).programme(40).bytes(), {{kContinuity, 1}}},
        {"two PIDs interleaved, a gap on one", StreamBuilder(twoPids).skip(kAudioPid).payload(kAudioPid).payload(kVideoPid).bytes(), {{kContinuity, 1}}},
        {"no payload, counter kept", StreamBuilder(video).adaptationOnly(kVideoPid).payload(kVideoPid).bytes(), {{kContinuity, 0}}},
        {"no payload, counter advanced", StreamBuilder(video).append(packet(kVideoPid, 1, false)).bytes(), {{kContinuity, 1}}},
        {"a packet repeated once", StreamBuilder().append(repeated).append(repeated).bytes(), {{kContinuity, 0}}},
        {"a packet repeated twice", StreamBuilder().append(repeated).append(repeated).append(repeated).bytes(), {{kContinuity, 1}}},
        {"an unannounced counter jump", StreamBuilder(video).append(packet(kVideoPid, 9)).bytes(), {{kContinuity, 1}}},
        {"an announced one", StreamBuilder(video).append(packet(kVideoPid, 9, true, false, true)).bytes(), {{kContinuity, 0}}},
        {"a padded programme", padded, {{kNulls, 300}, {kContinuity, 0}}, 100},
        {"padding alone, a locked multiplex but no programme", StreamBuilder().nulls(500).bytes(), {{kNulls, 500}}, 1, 50},
        {"a cut packet at the end", trailing, {{kPackets, 200}, {kLost, 0}, {kSyncLosses, 0}}, 100},
        {"a cut packet at the start", Bytes(clean.begin() + 100, clean.end()), {{kPackets, 199}, {kLost, 0}, {kSyncLosses, 0}, {kContinuity, 0}}, 100},
        {"ten stray bytes between packets", inserted, {{kPackets, 200}, {kSyncLosses, 1}, {kLost, 1}}, 51, 99},
        {"a packet cut short", cut, {{kPackets, 199}, {kSyncLosses, 1}}},
        {"a lone sync byte in junk", StreamBuilder().append(junk).programme(50).bytes(), {{kPackets, 50}, {kTransport, 0}}, 100},
        {"reserved adaptation field control", StreamBuilder().programme(20).append(reserved).bytes(), {{kMalformed, 1}}},
        {"an impossible adaptation field, whose flags are not believed", StreamBuilder().programme(5).append(tooLong).bytes(), {{kMalformed, 1}, {kPcr, 1}}},
        {"no bytes", Bytes(), {}, 0, 0},
        {"one packet", one, {}, 100},
        {"187 bytes, no whole packet", Bytes(one.begin(), one.end() - 1), {}, 0, 0},
        {"zeros", Bytes(64 * kPacket, 0x00), {}, 0, 0},
        {"no sync byte", noSync, {}, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto [stats, score] = analyze(c.stream);
        for (std::size_t i = 0; i < c.counts.size(); ++i) EXPECT_EQ(stats.*c.counts[i].first, c.counts[i].second) << "count " << i;
        EXPECT_GE(score, c.lowest);
        EXPECT_LE(score, c.highest);
    }
    EXPECT_GE(analyze(cut).first.lostPackets, 1u) << "the packet a cut one runs into is lost as well";
    EXPECT_EQ(Mpeg2StreamAnalyzer::signalQuality(nullptr, 0), 0u);
    EXPECT_EQ(Mpeg2StreamAnalyzer::signalQuality(nullptr, 188), 0u);
}

TEST(Mpeg2StreamAnalyzerTest, MoreDamageNeverScoresBetter) {
    Bytes stream = withTransportErrors(StreamBuilder().programme(300).bytes(), 150, 300);
    unsigned long previous = quality(stream);
    for (std::size_t i = 0; i < 300; i += 5) {
        stream = withTransportErrors(stream, i, 300);
        EXPECT_LE(quality(stream), previous);
        previous = quality(stream);
    }
    EXPECT_EQ(analyze(stream).first.transportErrors, 60u);
    EXPECT_LE(previous, 50u);

    const unsigned long onlyNulls = quality(StreamBuilder().nulls(500).bytes());
    const unsigned long nearlyEmpty =
        quality(StreamBuilder().repeat(20, [](StreamBuilder& b, unsigned i) { b.payload(kVideoPid, i == 0).nulls(59); }).bytes());
    EXPECT_LT(nearlyEmpty, 100u);
    EXPECT_GT(nearlyEmpty, onlyNulls);

    std::mt19937 random(1234);
    for (int round = 0; round < 20; ++round) {
        Bytes noise(64 * kPacket);
        for (auto& b : noise) b = static_cast<unsigned char>(random());
        EXPECT_LE(quality(noise), 50u) << "random bytes are no picture, round " << round;
    }
}

} // namespace
} // namespace tunekit
