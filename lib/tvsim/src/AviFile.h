#pragma once
// An AVI file as a recording leaves it: the streams the mux received, painted frames and an
// index, so that what a capture "recorded" can be opened and checked by any player. Portable,
// so that it is also built and fuzzed natively.

#include <cstdint>
#include <cstdio>
#include <vector>

namespace tvsim {

enum class PixelLayout { Yuy2, Uyvy, Rgb24, Rgb32 };

// The PCM format of an audio stream, as a WAVEFORMATEX gives it.
struct AviAudioFormat {
    std::uint16_t formatTag = 1;
    std::uint16_t channels = 0;
    std::uint32_t samplesPerSec = 0;
    std::uint32_t avgBytesPerSec = 0;
    std::uint16_t blockAlign = 0;
    std::uint16_t bitsPerSample = 0;
};

// One stream of the file as the mux received it.
struct AviStream {
    bool video = true;
    std::int32_t width = 0;
    std::int32_t height = 0;      // as the bitmap header gives it: negative for top row first
    std::int64_t frameTime = 0;   // 100 ns units
    PixelLayout layout = PixelLayout::Yuy2;
    bool picture = false;         // upstream shows a picture: colour bars, else black
    AviAudioFormat audio;
};

// Writes `recorded` (100 ns units) of the streams; false when the file could not be written.
bool writeAvi(std::FILE* file, std::vector<AviStream> streams, std::int64_t recorded);

} // namespace tvsim
