#pragma once
// Quality of an MPEG-2 transport stream sample, judged from the transport layer alone: packet
// sync, transport errors, continuity counters, padding and clock references. It needs no
// decoder, so a tuner test can tell a usable multiplex from noise in one grabbed buffer.
// docs/stream-quality.md describes the scale.

#include <cstddef>

namespace tunekit {

// What one pass over a buffer found. Counts are of whole 188-byte packets unless said otherwise.
struct TransportStreamStatistics {
    unsigned long packets = 0;           // whole packets read while in sync
    unsigned long nullPackets = 0;       // PID 0x1FFF padding
    unsigned long transportErrors = 0;   // transport_error_indicator set
    unsigned long continuityErrors = 0;  // counter jumps, repeated duplicates, counting without payload
    unsigned long malformedPackets = 0;  // reserved adaptation_field_control, impossible adaptation length
    unsigned long pcrPackets = 0;        // packets carrying a program clock reference
    unsigned long syncLosses = 0;        // times the expected sync byte was missing
    unsigned long lostPackets = 0;       // packet-sized stretches skipped while resynchronising
};

class Mpeg2StreamAnalyzer {
public:
    static constexpr std::size_t kPacketSize = 188;
    static constexpr unsigned char kSyncByte = 0x47;
    static constexpr unsigned kNullPid = 0x1FFF;

    // 0 to 100; above 50 means a picture can be expected. Reads only [buffer, buffer + size);
    // a null buffer or one without a whole packet gives 0.
    static unsigned long signalQuality(const unsigned char* buffer, unsigned long size);

    static TransportStreamStatistics analyze(const unsigned char* buffer, std::size_t size);
    static unsigned long qualityOf(const TransportStreamStatistics& statistics);
};

} // namespace tunekit
