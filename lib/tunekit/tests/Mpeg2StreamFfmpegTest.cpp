// The analyzer on transport streams from a real multiplexer (ffmpeg), clean and damaged the
// ways a weak signal damages them.
#include <gtest/gtest.h>

#include "Requirement.h"
#include "TransportStreams.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <tuple>

namespace tunekit {
namespace {

using namespace streams;

// Two seconds of test picture (and tone) made by ffmpeg; empty when ffmpeg cannot be run. (These
// tests are built natively only, beside ffmpeg.)
Bytes makeStream(const std::string& extraArguments) {
    const std::string path = testing::TempDir() + "tunekit_" + std::to_string(std::random_device()()) + ".ts";
    const std::string command = "ffmpeg -hide_banner -loglevel error -nostdin -y -f lavfi -i testsrc=size=320x240:rate=25 " +
                                extraArguments + " -t 2 -c:v mpeg2video -f mpegts \"" + path + "\" >/dev/null 2>&1";
    std::ifstream in;
    if (std::system(command.c_str()) == 0) in.open(path, std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    in.close();
    std::remove(path.c_str());
    return bytes;
}

TransportStreamStatistics stats(const Bytes& bytes) { return analyze(bytes).first; }

// Damage done to every `every`-th packet of a stream.
enum class Damage { TransportError, HeaderBitError, Dropped, Truncated };

Bytes damaged(const Bytes& stream, Damage damage, std::size_t every) {
    std::mt19937 random(42);
    Bytes out;
    for (std::size_t i = 0; i * kPacket < stream.size(); ++i) {
        Bytes packet(stream.begin() + static_cast<std::ptrdiff_t>(i * kPacket), stream.begin() + static_cast<std::ptrdiff_t>((i + 1) * kPacket));
        const bool hit = i % every == every - 1;
        if (hit && damage == Damage::Dropped) continue;
        if (hit && damage == Damage::Truncated) packet.resize(120);
        if (hit && damage == Damage::TransportError) packet[1] |= 0x80;
        const unsigned bit = hit && damage == Damage::HeaderBitError ? random() % 32 : 32;
        if (bit < 32) packet[bit / 8] ^= static_cast<unsigned char>(1u << (bit % 8));
        out.insert(out.end(), packet.begin(), packet.end());
    }
    return out;
}

// Clean streams are usable; light damage lowers the score but leaves the stream usable (above 50),
// heavy damage does not.
TEST(FfmpegStreams, CleanStreamsAreUsableAndDamageLowersTheScoreAsAWeakSignalWould) {
    const Bytes programme = makeStream("-f lavfi -i sine=frequency=440:sample_rate=48000 -c:a mp2");
    QIS_REQUIRE(!programme.empty(), "ffmpeg (Debian: apt-get install ffmpeg), which makes the real streams,");
    ASSERT_EQ(programme.size() % kPacket, 0u);
    ASSERT_GT(programme.size() / kPacket, 500u);
    const Bytes padded = makeStream("-muxrate 3M");
    const TransportStreamStatistics s = stats(programme);
    EXPECT_EQ(s.continuityErrors + s.transportErrors + s.malformedPackets + s.lostPackets, 0u);
    EXPECT_GT(s.pcrPackets, 0u);
    EXPECT_GE(quality(programme), 95u);

    ASSERT_FALSE(padded.empty());
    EXPECT_GT(stats(padded).nullPackets, 0u) << "a constant-rate multiplex is padded";
    EXPECT_GE(quality(padded), 95u);

    // A buffer that merely ends inside a packet is no worse than the packets it holds.
    const Bytes shortened(programme.begin(), programme.end() - 77);
    EXPECT_EQ(stats(shortened).lostPackets, 0u);
    EXPECT_GE(quality(shortened), 95u);

    using Case = std::tuple<Damage, std::size_t, std::size_t>; // damage, every how many packets lightly and heavily
    for (const auto& [damage, lightEvery, heavyEvery] : {Case{Damage::TransportError, 100, 5}, Case{Damage::Dropped, 200, 10},
                                                        Case{Damage::HeaderBitError, 0, 5}, Case{Damage::Truncated, 0, 10}}) {
        SCOPED_TRACE(static_cast<int>(damage));
        const Bytes heavy = damaged(programme, damage, heavyEvery);
        const TransportStreamStatistics h = stats(heavy);
        EXPECT_GT(h.continuityErrors + h.lostPackets + h.transportErrors + h.malformedPackets + h.syncLosses, 0u);
        EXPECT_LE(quality(heavy), 50u);
        if (damage == Damage::Truncated) EXPECT_GT(h.syncLosses, 0u);
        if (!lightEvery) continue;
        const Bytes light = damaged(programme, damage, lightEvery);
        EXPECT_LT(quality(light), quality(programme));
        EXPECT_GT(quality(light), 50u);
        if (damage == Damage::Dropped) EXPECT_GT(h.continuityErrors, stats(light).continuityErrors);
    }
}

} // namespace
} // namespace tunekit
