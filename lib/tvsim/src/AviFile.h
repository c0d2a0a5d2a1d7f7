#pragma once
// An AVI file as a recording leaves it: the streams the mux received, painted frames and an
// index, so that what a capture "recorded" can be opened and checked by any player.

#include <cstdio>
#include <vector>

#include "tunekit/DirectShow.h"

namespace tvsim {

enum class PixelLayout { Yuy2, Uyvy, Rgb24, Rgb32 };

// One stream of the file as the mux received it.
struct AviStream {
    bool video = true;
    BITMAPINFOHEADER bitmap{};
    REFERENCE_TIME frameTime = 0;
    PixelLayout layout = PixelLayout::Yuy2;
    bool picture = false; // upstream shows a picture: colour bars, else black
    WAVEFORMATEX wave{};
};

// Writes `recorded` (100 ns units) of the streams; false when the file could not be written.
bool writeAvi(std::FILE* file, std::vector<AviStream> streams, REFERENCE_TIME recorded);

} // namespace tvsim
