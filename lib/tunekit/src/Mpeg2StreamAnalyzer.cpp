#include "tunekit/Mpeg2StreamAnalyzer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace tunekit {
namespace {

constexpr std::size_t kPacket = Mpeg2StreamAnalyzer::kPacketSize;
constexpr unsigned char kSync = Mpeg2StreamAnalyzer::kSyncByte;
constexpr std::size_t kPidCount = 8192;

// Per-PID continuity state in one byte, so the whole table stays in L1.
constexpr unsigned char kCounterKnown = 0x80;
constexpr unsigned char kDuplicateSeen = 0x40;
constexpr unsigned char kCounterMask = 0x0F;

// Scale: every damaged or lost packet weighs five times its share, so 10 % damage reaches 50,
// where the callers stop believing in a picture.
constexpr double kDamageWeight = 5.0;
// Padding is normal in constant-rate multiplexes, often most of one; only when fewer than one
// packet in twenty carries anything is the multiplex too empty to hold a programme.
constexpr double kUsefulShareForFullScore = 0.05;
constexpr double kEmptyMultiplexFactor = 0.1;
// No clock reference anywhere: a decoder cannot pace the picture. A short sample may fall
// between two references, so this costs less than damage does.
constexpr double kNoClockFactor = 0.8;

// First position at or after `from` that starts a whole packet with a sync byte which the next
// packet's sync byte confirms (unless that packet would lie past the end). `size` if none.
std::size_t findSync(const unsigned char* buffer, std::size_t from, std::size_t size) {
    while (size - from >= kPacket) {
        const void* hit = std::memchr(buffer + from, kSync, size - from - kPacket + 1);
        if (hit == nullptr) return size;
        const std::size_t candidate = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - buffer);
        if (candidate + kPacket == size || buffer[candidate + kPacket] == kSync) return candidate;
        from = candidate + 1;
    }
    return size;
}

} // namespace

TransportStreamStatistics Mpeg2StreamAnalyzer::analyze(const unsigned char* buffer, std::size_t size) {
    TransportStreamStatistics stats;
    if (buffer == nullptr) return stats;

    std::array<unsigned char, kPidCount> counters{};
    std::size_t pos = 0;
    bool inSync = false;

    while (size - pos >= kPacket) {
        // In sync the next packet is trusted where it should be; otherwise a lone 0x47 in a
        // payload could fake a packet, so the one after it must agree.
        const bool syncHere = buffer[pos] == kSync &&
                              (inSync || pos + kPacket == size || buffer[pos + kPacket] == kSync);
        if (!syncHere) {
            const std::size_t next = findSync(buffer, pos + 1, size);
            const std::size_t skipped = next - pos;
            const bool found = next < size;
            // Bytes before the first packet, or after the last, may be a cut packet: only
            // whole packet lengths of them count as lost. Inside the stream any gap lost one.
            const bool midStream = stats.packets > 0;
            const std::size_t lost = found && midStream ? (skipped + kPacket - 1) / kPacket : skipped / kPacket;
            if (midStream || lost > 0) ++stats.syncLosses;
            stats.lostPackets += static_cast<unsigned long>(lost);
            if (!found) break;
            pos = next;
        }

        const unsigned char* packet = buffer + pos;
        pos += kPacket;
        inSync = true;
        ++stats.packets;

        const unsigned pid = (static_cast<unsigned>(packet[1] & 0x1F) << 8) | packet[2];
        const unsigned char counter = static_cast<unsigned char>(packet[3] & kCounterMask);
        // The demodulator could not correct this packet. Its header is usually still right, so
        // its counter is taken over without judging it: the damage is counted once, here, and
        // a header that was wrong shows up as a continuity error on the next packet.
        if (packet[1] & 0x80) {
            ++stats.transportErrors;
            if (pid != kNullPid) counters[pid] = static_cast<unsigned char>(kCounterKnown | counter);
            continue;
        }
        if (pid == kNullPid) {
            ++stats.nullPackets;
            continue;
        }
        const unsigned control = (packet[3] >> 4) & 0x3;
        if (control == 0) {
            ++stats.malformedPackets;
            continue;
        }

        bool discontinuity = false;
        if (control & 0x2) {
            const unsigned length = packet[4];
            if (length > (control == 0x2 ? 183u : 182u)) {
                ++stats.malformedPackets;
                continue;
            }
            if (length > 0) {
                const unsigned char flags = packet[5];
                discontinuity = (flags & 0x80) != 0;
                if ((flags & 0x10) && length >= 7) ++stats.pcrPackets;
            }
        }

        unsigned char& state = counters[pid];
        if (!(state & kCounterKnown) || discontinuity) {
            state = static_cast<unsigned char>(kCounterKnown | counter);
            continue;
        }
        const unsigned char last = static_cast<unsigned char>(state & kCounterMask);
        if (!(control & 0x1)) {
            // Without payload the counter must stay where it was.
            if (counter != last) {
                ++stats.continuityErrors;
                state = static_cast<unsigned char>(kCounterKnown | counter);
            }
            continue;
        }
        if (counter == last) {
            // A packet may be sent twice; a third copy is an error.
            if (state & kDuplicateSeen) ++stats.continuityErrors;
            else state = static_cast<unsigned char>(state | kDuplicateSeen);
            continue;
        }
        if (counter != ((last + 1) & kCounterMask)) ++stats.continuityErrors;
        state = static_cast<unsigned char>(kCounterKnown | counter);
    }
    return stats;
}

unsigned long Mpeg2StreamAnalyzer::qualityOf(const TransportStreamStatistics& s) {
    if (s.packets == 0) return 0;
    const double units = static_cast<double>(s.packets) + static_cast<double>(s.lostPackets);
    const double damaged = static_cast<double>(s.lostPackets) + static_cast<double>(s.transportErrors) +
                           static_cast<double>(s.continuityErrors) + static_cast<double>(s.malformedPackets);
    const double integrity = std::clamp(1.0 - kDamageWeight * damaged / units, 0.0, 1.0);

    const double usefulShare = static_cast<double>(s.packets - s.nullPackets) / static_cast<double>(s.packets);
    const double content =
        kEmptyMultiplexFactor + (1.0 - kEmptyMultiplexFactor) * std::min(1.0, usefulShare / kUsefulShareForFullScore);

    const double clock = s.pcrPackets > 0 ? 1.0 : kNoClockFactor;
    return static_cast<unsigned long>(std::lround(100.0 * integrity * content * clock));
}

unsigned long Mpeg2StreamAnalyzer::signalQuality(const unsigned char* buffer, unsigned long size) {
    return qualityOf(analyze(buffer, size));
}

} // namespace tunekit
