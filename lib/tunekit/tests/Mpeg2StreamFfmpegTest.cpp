// The analyzer on transport streams from a real multiplexer (ffmpeg), clean and damaged the
// ways a weak signal damages them.
#include <gtest/gtest.h>

#include "Requirement.h"
#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace tunekit {
namespace {

using Bytes = std::vector<unsigned char>;
constexpr std::size_t kPacket = 188;

#ifdef _WIN32
constexpr const char* kDiscard = " >NUL 2>&1";
#else
constexpr const char* kDiscard = " >/dev/null 2>&1";
#endif

Bytes readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Two seconds of test picture (and tone) made by ffmpeg; empty when ffmpeg cannot be run.
Bytes makeStream(const std::string& extraArguments) {
    const std::string path =
        testing::TempDir() + "tunekit_" + std::to_string(std::random_device()()) + ".ts";
    const std::string command =
        "ffmpeg -hide_banner -loglevel error -nostdin -y -f lavfi -i testsrc=size=320x240:rate=25 " + extraArguments +
        " -t 2 -c:v mpeg2video -f mpegts \"" + path + "\"" + kDiscard;
    Bytes bytes;
    if (std::system(command.c_str()) == 0) bytes = readFile(path);
    std::remove(path.c_str());
    return bytes;
}

unsigned long quality(const Bytes& bytes) {
    return Mpeg2StreamAnalyzer::signalQuality(bytes.data(), static_cast<unsigned long>(bytes.size()));
}

TransportStreamStatistics stats(const Bytes& bytes) { return Mpeg2StreamAnalyzer::analyze(bytes.data(), bytes.size()); }

// Damage done to every `every`-th packet of a stream.
enum class Damage { TransportError, HeaderBitError, Dropped, Truncated };

Bytes damaged(const Bytes& stream, Damage damage, std::size_t every) {
    std::mt19937 random(42);
    Bytes out;
    for (std::size_t i = 0; i * kPacket < stream.size(); ++i) {
        Bytes packet(stream.begin() + static_cast<std::ptrdiff_t>(i * kPacket),
                     stream.begin() + static_cast<std::ptrdiff_t>((i + 1) * kPacket));
        if (i % every == every - 1) {
            if (damage == Damage::Dropped) continue;
            if (damage == Damage::Truncated) packet.resize(120);
            if (damage == Damage::TransportError) packet[1] |= 0x80;
            if (damage == Damage::HeaderBitError) {
                const unsigned bit = random() % 32;
                packet[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
            }
        }
        out.insert(out.end(), packet.begin(), packet.end());
    }
    return out;
}

class FfmpegStreamTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (std::system((std::string("ffmpeg -version") + kDiscard).c_str()) != 0) return;
        programme_ = makeStream("-f lavfi -i sine=frequency=440:sample_rate=48000 -c:a mp2");
        padded_ = makeStream("-muxrate 3M");
    }

    void SetUp() override {
        QIS_REQUIRE(!programme_.empty(), "ffmpeg (Debian: apt-get install ffmpeg), which makes the real streams,");
        ASSERT_EQ(programme_.size() % kPacket, 0u);
        ASSERT_GT(programme_.size() / kPacket, 500u);
    }

    static Bytes programme_;
    static Bytes padded_;
};

Bytes FfmpegStreamTest::programme_;
Bytes FfmpegStreamTest::padded_;

TEST_F(FfmpegStreamTest, CleanStreamsAreUsable) {
    const TransportStreamStatistics s = stats(programme_);
    EXPECT_EQ(s.continuityErrors + s.transportErrors + s.malformedPackets + s.lostPackets, 0u);
    EXPECT_GT(s.pcrPackets, 0u);
    EXPECT_GE(quality(programme_), 95u);

    ASSERT_FALSE(padded_.empty());
    EXPECT_GT(stats(padded_).nullPackets, 0u) << "a constant-rate multiplex is padded";
    EXPECT_GE(quality(padded_), 95u);

    // A buffer that merely ends inside a packet is no worse than the packets it holds.
    const Bytes shortened(programme_.begin(), programme_.end() - 77);
    EXPECT_EQ(stats(shortened).lostPackets, 0u);
    EXPECT_GE(quality(shortened), 95u);
}

// Light damage lowers the score but leaves the stream usable (above 50); heavy damage does not.
TEST_F(FfmpegStreamTest, DamageLowersTheScoreAsAWeakSignalWould) {
    struct Case {
        Damage damage;
        std::size_t lightEvery, heavyEvery;
    };
    for (const Case& c : {Case{Damage::TransportError, 100, 5}, Case{Damage::Dropped, 200, 10},
                          Case{Damage::HeaderBitError, 0, 5}, Case{Damage::Truncated, 0, 10}}) {
        SCOPED_TRACE(static_cast<int>(c.damage));
        const Bytes heavy = damaged(programme_, c.damage, c.heavyEvery);
        const TransportStreamStatistics h = stats(heavy);
        EXPECT_GT(h.continuityErrors + h.lostPackets + h.transportErrors + h.malformedPackets + h.syncLosses, 0u);
        EXPECT_LE(quality(heavy), 50u);
        if (c.damage == Damage::Truncated) EXPECT_GT(h.syncLosses, 0u);
        if (!c.lightEvery) continue;
        const Bytes light = damaged(programme_, c.damage, c.lightEvery);
        EXPECT_LT(quality(light), quality(programme_));
        EXPECT_GT(quality(light), 50u);
        if (c.damage == Damage::Dropped) EXPECT_GT(h.continuityErrors, stats(light).continuityErrors);
    }
}

} // namespace
} // namespace tunekit
