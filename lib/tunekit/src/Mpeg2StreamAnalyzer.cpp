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

// The transport packet header (four bytes) and the start of its adaptation field.
constexpr unsigned char kTransportErrorBit = 0x80; // byte 1
constexpr unsigned char kPidHighMask = 0x1F;       // byte 1; byte 2 holds the low eight bits
constexpr unsigned kAdaptationFieldBit = 0x2;      // of adaptation_field_control, byte 3 bits 5-4
constexpr unsigned kPayloadBit = 0x1;
constexpr unsigned kControlShift = 4;
constexpr unsigned kControlMask = 0x3;
constexpr unsigned char kCounterMaskInHeader = 0x0F; // continuity_counter, byte 3 bits 3-0
constexpr unsigned kLongestAdaptationWithPayload = 182;
constexpr unsigned kLongestAdaptationAlone = 183;
constexpr unsigned char kDiscontinuityFlag = 0x80; // adaptation field flags, byte 5
constexpr unsigned char kPcrFlag = 0x10;
constexpr unsigned kShortestFieldWithPcr = 7;

struct Header {
    bool transportError;
    unsigned pid;
    unsigned control; // adaptation_field_control
    unsigned char counter;
};

Header readHeader(const unsigned char* packet) {
    return Header{(packet[1] & kTransportErrorBit) != 0, (static_cast<unsigned>(packet[1] & kPidHighMask) << 8) | packet[2],
                  (static_cast<unsigned>(packet[3]) >> kControlShift) & kControlMask,
                  static_cast<unsigned char>(packet[3] & kCounterMaskInHeader)};
}

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

// In sync the next packet is trusted where it should be; otherwise a lone 0x47 in a payload
// could fake a packet, so the one after it must agree.
bool startsPacket(const unsigned char* buffer, std::size_t pos, std::size_t size, bool inSync) {
    return buffer[pos] == kSync && (inSync || pos + kPacket == size || buffer[pos + kPacket] == kSync);
}

// Skips from `pos` to the next packet, counting what was lost; `size` when none is left.
// Bytes before the first packet or after the last may be a cut packet, so only whole packet
// lengths of them count as lost; inside the stream any gap lost at least one.
std::size_t resynchronise(const unsigned char* buffer, std::size_t pos, std::size_t size, TransportStreamStatistics& stats) {
    const std::size_t next = findSync(buffer, pos + 1, size);
    const std::size_t skipped = next - pos;
    const bool found = next < size;
    const bool midStream = stats.packets > 0;
    const std::size_t lost = found && midStream ? (skipped + kPacket - 1) / kPacket : skipped / kPacket;
    if (midStream || lost > 0) ++stats.syncLosses;
    stats.lostPackets += static_cast<unsigned long>(lost);
    return next;
}

// Reads the adaptation field's flags; false when its length cannot be.
bool readAdaptationField(const unsigned char* packet, unsigned control, bool& discontinuity, TransportStreamStatistics& stats) {
    const unsigned length = packet[4];
    if (length > (control & kPayloadBit ? kLongestAdaptationWithPayload : kLongestAdaptationAlone)) return false;
    if (length > 0) {
        discontinuity = (packet[5] & kDiscontinuityFlag) != 0;
        if ((packet[5] & kPcrFlag) && length >= kShortestFieldWithPcr) ++stats.pcrPackets;
    }
    return true;
}

// Judges a packet's counter against the last one of its PID.
void checkContinuity(unsigned char& state, const Header& header, bool discontinuity, TransportStreamStatistics& stats) {
    const auto take = [&] { state = static_cast<unsigned char>(kCounterKnown | header.counter); };
    if (!(state & kCounterKnown) || discontinuity) return take();
    const unsigned char last = static_cast<unsigned char>(state & kCounterMask);
    if (!(header.control & kPayloadBit)) { // without payload the counter must stay where it was
        if (header.counter != last) {
            ++stats.continuityErrors;
            take();
        }
        return;
    }
    if (header.counter == last) { // a packet may be sent twice; a third copy is an error
        if (state & kDuplicateSeen) ++stats.continuityErrors;
        else state = static_cast<unsigned char>(state | kDuplicateSeen);
        return;
    }
    if (header.counter != ((last + 1) & kCounterMask)) ++stats.continuityErrors;
    take();
}

} // namespace

TransportStreamStatistics Mpeg2StreamAnalyzer::analyze(const unsigned char* buffer, std::size_t size) {
    TransportStreamStatistics stats;
    if (buffer == nullptr) return stats;

    std::array<unsigned char, kPidCount> counters{};
    std::size_t pos = 0;
    bool inSync = false;
    while (size - pos >= kPacket) {
        if (!startsPacket(buffer, pos, size, inSync)) {
            pos = resynchronise(buffer, pos, size, stats);
            if (pos == size) break;
        }
        const unsigned char* packet = buffer + pos;
        pos += kPacket;
        inSync = true;
        ++stats.packets;

        const Header header = readHeader(packet);
        // The demodulator could not correct this packet. Its header is usually still right, so
        // its counter is taken over without judging it: the damage is counted once, here, and
        // a header that was wrong shows up as a continuity error on the next packet.
        if (header.transportError) {
            ++stats.transportErrors;
            if (header.pid != kNullPid) counters[header.pid] = static_cast<unsigned char>(kCounterKnown | header.counter);
            continue;
        }
        if (header.pid == kNullPid) {
            ++stats.nullPackets;
            continue;
        }
        bool discontinuity = false;
        if (header.control == 0 ||
            ((header.control & kAdaptationFieldBit) && !readAdaptationField(packet, header.control, discontinuity, stats))) {
            ++stats.malformedPackets;
            continue;
        }
        checkContinuity(counters[header.pid], header, discontinuity, stats);
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
