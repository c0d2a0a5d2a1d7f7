#include <gtest/gtest.h>
#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <array>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <vector>

namespace tunekit {
namespace {

using Bytes = std::vector<unsigned char>;
constexpr std::size_t kPacket = 188;
constexpr unsigned kVideoPid = 0x100;
constexpr unsigned kAudioPid = 0x101;

struct PacketFields {
    unsigned pid = kVideoPid;
    unsigned counter = 0;
    bool payload = true;
    bool adaptation = false;
    bool pcr = false;
    bool discontinuity = false;
    bool transportError = false;
};

Bytes packet(const PacketFields& f) {
    Bytes p(kPacket, 0xA5);
    p[0] = 0x47;
    p[1] = static_cast<unsigned char>((f.transportError ? 0x80 : 0) | ((f.pid >> 8) & 0x1F));
    p[2] = static_cast<unsigned char>(f.pid & 0xFF);
    const bool adaptation = f.adaptation || f.pcr || f.discontinuity || !f.payload;
    const unsigned control = (adaptation ? 2u : 0u) | (f.payload ? 1u : 0u);
    p[3] = static_cast<unsigned char>((control << 4) | (f.counter & 0x0F));
    if (adaptation) {
        p[4] = static_cast<unsigned char>(f.payload ? 7 : 183);
        p[5] = static_cast<unsigned char>((f.discontinuity ? 0x80 : 0) | (f.pcr ? 0x10 : 0));
    }
    return p;
}

// Builds streams whose continuity counters are right unless a test breaks them.
class StreamBuilder {
public:
    StreamBuilder& payload(unsigned pid, bool pcr = false) {
        PacketFields f;
        f.pid = pid;
        f.counter = next_[pid]++;
        f.pcr = pcr;
        return append(packet(f));
    }
    StreamBuilder& adaptationOnly(unsigned pid) {
        PacketFields f;
        f.pid = pid;
        f.counter = (next_[pid] + 15) & 0x0F; // the last counter sent
        f.payload = false;
        return append(packet(f));
    }
    StreamBuilder& nulls(std::size_t count) {
        PacketFields f;
        f.pid = 0x1FFF;
        for (std::size_t i = 0; i < count; ++i) {
            f.counter = static_cast<unsigned>(i * 7); // nobody counts padding
            append(packet(f));
        }
        return *this;
    }
    StreamBuilder& skip(unsigned pid) { ++next_[pid]; return *this; }
    StreamBuilder& append(const Bytes& bytes) {
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
        return *this;
    }
    // A programme: video with a clock reference every tenth packet, audio every fourth.
    StreamBuilder& programme(std::size_t count, bool withClock = true) {
        for (std::size_t i = 0; i < count; ++i) {
            if (i % 4 == 3) payload(kAudioPid);
            else payload(kVideoPid, withClock && i % 10 == 0);
        }
        return *this;
    }
    Bytes bytes() const { return bytes_; }

private:
    std::map<unsigned, unsigned> next_;
    Bytes bytes_;
};

// Copies into a block of exactly the given size, so that the address sanitizer sees any read
// past the end.
class ExactBuffer {
public:
    explicit ExactBuffer(const Bytes& bytes) : size_(bytes.size()), data_(new unsigned char[bytes.size() ? bytes.size() : 1]) {
        if (size_) std::memcpy(data_.get(), bytes.data(), size_);
    }
    const unsigned char* data() const { return data_.get(); }
    unsigned long size() const { return static_cast<unsigned long>(size_); }

private:
    std::size_t size_;
    std::unique_ptr<unsigned char[]> data_;
};

unsigned long quality(const Bytes& bytes) {
    const ExactBuffer buffer(bytes);
    return Mpeg2StreamAnalyzer::signalQuality(buffer.data(), buffer.size());
}

TransportStreamStatistics stats(const Bytes& bytes) {
    const ExactBuffer buffer(bytes);
    return Mpeg2StreamAnalyzer::analyze(buffer.data(), buffer.size());
}

void setTransportError(Bytes& stream, std::size_t index) { stream[index * kPacket + 1] |= 0x80; }

TEST(Mpeg2StreamAnalyzerTest, CleanProgrammeScoresFull) {
    const Bytes stream = StreamBuilder().programme(400).bytes();
    const TransportStreamStatistics s = stats(stream);
    EXPECT_EQ(s.packets, 400u);
    EXPECT_EQ(s.continuityErrors + s.transportErrors + s.malformedPackets + s.lostPackets + s.syncLosses, 0u);
    EXPECT_EQ(s.pcrPackets, 40u);
    EXPECT_EQ(quality(stream), 100u);
}

TEST(Mpeg2StreamAnalyzerTest, MissingClockReferenceLowersButStaysUsable) {
    const unsigned long q = quality(StreamBuilder().programme(400, false).bytes());
    EXPECT_GT(q, 50u);
    EXPECT_LT(q, 100u);
}

TEST(Mpeg2StreamAnalyzerTest, TransportErrorsAreCountedOnceAndScaleTheScore) {
    Bytes stream = StreamBuilder().programme(300).bytes();
    setTransportError(stream, 150);
    TransportStreamStatistics s = stats(stream);
    EXPECT_EQ(s.transportErrors, 1u);
    EXPECT_EQ(s.continuityErrors, 0u) << "an uncorrectable packet with a sound header breaks no counter";
    const unsigned long one = quality(stream);
    EXPECT_GT(one, 50u);
    EXPECT_LT(one, 100u);

    unsigned long previous = one;
    for (std::size_t i = 0; i < 300; i += 5) {
        setTransportError(stream, i);
        const unsigned long q = quality(stream);
        EXPECT_LE(q, previous) << "more damage never scores better";
        previous = q;
    }
    s = stats(stream);
    EXPECT_EQ(s.transportErrors, 60u);
    EXPECT_LE(previous, 50u);
}

TEST(Mpeg2StreamAnalyzerTest, ContinuityCounterRules) {
    // A gap, and the wrap from 15 to 0 which is none.
    EXPECT_EQ(stats(StreamBuilder().programme(40).skip(kVideoPid).programme(40).bytes()).continuityErrors, 1u);
    EXPECT_EQ(stats(StreamBuilder().programme(100).bytes()).continuityErrors, 0u);

    // Counters belong to their PID: interleaving two PIDs is no error, a gap on one is one.
    StreamBuilder twoPids;
    for (int i = 0; i < 40; ++i) twoPids.payload(kVideoPid).payload(kAudioPid);
    twoPids.skip(kAudioPid).payload(kAudioPid).payload(kVideoPid);
    EXPECT_EQ(stats(twoPids.bytes()).continuityErrors, 1u);

    // Packets without payload keep the counter; one that advances it is an error.
    EXPECT_EQ(stats(StreamBuilder().payload(kVideoPid).adaptationOnly(kVideoPid).payload(kVideoPid).bytes()).continuityErrors, 0u);
    PacketFields noPayload;
    noPayload.counter = 1;
    noPayload.payload = false;
    EXPECT_EQ(stats(StreamBuilder().payload(kVideoPid).append(packet(noPayload)).bytes()).continuityErrors, 1u);

    // A packet may be repeated once, not twice.
    PacketFields first;
    EXPECT_EQ(stats(StreamBuilder().append(packet(first)).append(packet(first)).bytes()).continuityErrors, 0u);
    EXPECT_EQ(stats(StreamBuilder().append(packet(first)).append(packet(first)).append(packet(first)).bytes()).continuityErrors,
              1u);

    // The discontinuity indicator announces a new counter.
    PacketFields jump;
    jump.counter = 9;
    Bytes announced = StreamBuilder().payload(kVideoPid).bytes();
    const Bytes unannounced = StreamBuilder().append(announced).append(packet(jump)).bytes();
    jump.discontinuity = true;
    announced = StreamBuilder().append(announced).append(packet(jump)).bytes();
    EXPECT_EQ(stats(unannounced).continuityErrors, 1u);
    EXPECT_EQ(stats(announced).continuityErrors, 0u);
}

TEST(Mpeg2StreamAnalyzerTest, PaddingIsNormalButPaddingAloneIsNoProgramme) {
    StreamBuilder padded;
    for (int i = 0; i < 50; ++i) padded.programme(4).nulls(6);
    const TransportStreamStatistics s = stats(padded.bytes());
    EXPECT_EQ(s.nullPackets, 300u);
    EXPECT_EQ(s.continuityErrors, 0u) << "null packets carry no meaningful counter";
    EXPECT_EQ(quality(padded.bytes()), 100u);

    const Bytes onlyNulls = StreamBuilder().nulls(500).bytes();
    EXPECT_EQ(stats(onlyNulls).nullPackets, 500u);
    EXPECT_GT(quality(onlyNulls), 0u) << "a locked multiplex is more than noise";
    EXPECT_LE(quality(onlyNulls), 50u);

    StreamBuilder nearlyEmpty;
    for (int i = 0; i < 20; ++i) nearlyEmpty.payload(kVideoPid, i == 0).nulls(59);
    EXPECT_LT(quality(nearlyEmpty.bytes()), 100u);
    EXPECT_GT(quality(nearlyEmpty.bytes()), quality(onlyNulls));
}

TEST(Mpeg2StreamAnalyzerTest, CutPacketsAtEitherEndAreNotDamage) {
    const Bytes clean = StreamBuilder().programme(200).bytes();

    Bytes trailing = clean;
    const Bytes extra = StreamBuilder().programme(201).bytes();
    trailing.insert(trailing.end(), extra.end() - kPacket, extra.end() - kPacket + 100);
    TransportStreamStatistics s = stats(trailing);
    EXPECT_EQ(s.packets, 200u);
    EXPECT_EQ(s.lostPackets + s.syncLosses, 0u);
    EXPECT_EQ(quality(trailing), quality(clean));

    const Bytes offset(clean.begin() + 100, clean.end());
    s = stats(offset);
    EXPECT_EQ(s.packets, 199u);
    EXPECT_EQ(s.lostPackets + s.syncLosses + s.continuityErrors, 0u);
    EXPECT_EQ(quality(offset), quality(clean));
}

TEST(Mpeg2StreamAnalyzerTest, ResynchronisesAfterLostSync) {
    const Bytes clean = StreamBuilder().programme(200).bytes();

    // Ten stray bytes between two packets: one packet's worth lost, everything after still read.
    Bytes inserted = clean;
    inserted.insert(inserted.begin() + 100 * kPacket, 10, 0x00);
    TransportStreamStatistics s = stats(inserted);
    EXPECT_EQ(s.packets, 200u);
    EXPECT_EQ(s.syncLosses, 1u);
    EXPECT_EQ(s.lostPackets, 1u);
    EXPECT_LT(quality(inserted), 100u);
    EXPECT_GT(quality(inserted), 50u);

    // A packet cut short: the one it runs into is lost as well and its PID sees a gap.
    Bytes cut = clean;
    cut.erase(cut.begin() + 100 * kPacket + 50, cut.begin() + 100 * kPacket + 110);
    s = stats(cut);
    EXPECT_EQ(s.syncLosses, 1u);
    EXPECT_EQ(s.packets, 199u);
    EXPECT_GE(s.lostPackets, 1u);
}

TEST(Mpeg2StreamAnalyzerTest, LoneSyncByteInJunkIsNotTakenForAPacket) {
    Bytes junk(150, 0x00);
    junk[20] = 0x47;
    junk[21] = 0x80; // would be an uncorrectable packet if believed
    const Bytes stream = StreamBuilder().append(junk).programme(50).bytes();
    const TransportStreamStatistics s = stats(stream);
    EXPECT_EQ(s.packets, 50u);
    EXPECT_EQ(s.transportErrors, 0u);
    EXPECT_EQ(quality(stream), 100u);
}

TEST(Mpeg2StreamAnalyzerTest, MalformedHeadersAreDamageAndNeverReadPastTheEnd) {
    PacketFields f;
    Bytes reserved = packet(f);
    reserved[3] &= 0xCF; // adaptation_field_control 00
    EXPECT_EQ(stats(StreamBuilder().programme(20).append(reserved).bytes()).malformedPackets, 1u);

    // The last packet of the buffer claims an adaptation field longer than a packet.
    f.counter = 5;
    f.pcr = true;
    Bytes tooLong = packet(f);
    tooLong[4] = 0xFF;
    const Bytes stream = StreamBuilder().programme(5).append(tooLong).bytes();
    EXPECT_EQ(stats(stream).malformedPackets, 1u);
    EXPECT_EQ(stats(stream).pcrPackets, 1u) << "flags of a field that cannot be are not believed";
}

TEST(Mpeg2StreamAnalyzerTest, NothingToMeasureScoresZero) {
    EXPECT_EQ(Mpeg2StreamAnalyzer::signalQuality(nullptr, 0), 0u);
    EXPECT_EQ(Mpeg2StreamAnalyzer::signalQuality(nullptr, 188), 0u);
    EXPECT_EQ(quality(Bytes()), 0u);

    const Bytes one = StreamBuilder().payload(kVideoPid, true).bytes();
    EXPECT_EQ(quality(one), 100u);
    EXPECT_EQ(quality(Bytes(one.begin(), one.end() - 1)), 0u) << "187 bytes hold no whole packet";

    EXPECT_EQ(quality(Bytes(64 * kPacket, 0x00)), 0u);
    Bytes noSync(64 * kPacket);
    for (std::size_t i = 0; i < noSync.size(); ++i) noSync[i] = static_cast<unsigned char>(i % 71); // never 0x47
    EXPECT_EQ(quality(noSync), 0u);
}

TEST(Mpeg2StreamAnalyzerTest, RandomBytesAreNoPicture) {
    std::mt19937 random(1234);
    for (int round = 0; round < 20; ++round) {
        Bytes noise(64 * kPacket);
        for (auto& b : noise) b = static_cast<unsigned char>(random());
        EXPECT_LE(quality(noise), 50u) << "round " << round;
    }
}

} // namespace
} // namespace tunekit
