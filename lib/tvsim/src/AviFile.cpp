#include "AviFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "tvsim/ColourBars.h"

namespace tvsim {
namespace {

constexpr std::int64_t kUnitsPerSecond = 10000000;
constexpr std::int32_t kLargestSide = 8192;

std::int64_t tell(std::FILE* file) {
#ifdef _WIN32
    return _ftelli64(file);
#else
    return ftello(file);
#endif
}

bool seek(std::FILE* file, std::int64_t at) {
#ifdef _WIN32
    return _fseeki64(file, at, SEEK_SET) == 0;
#else
    return fseeko(file, static_cast<off_t>(at), SEEK_SET) == 0;
#endif
}

std::int32_t rows(const AviStream& stream) { return stream.height < 0 ? -stream.height : stream.height; }

struct Rgb {
    int r, g, b;
};

std::uint32_t fourcc(const char* code) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(code[0])) | static_cast<std::uint32_t>(static_cast<unsigned char>(code[1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(code[2])) << 16 | static_cast<std::uint32_t>(static_cast<unsigned char>(code[3])) << 24;
}

// What a bitmap header says of each layout: bits per pixel and compression (0: plain RGB).
std::uint16_t bitCount(PixelLayout layout) { return layout == PixelLayout::Rgb24 ? 24 : layout == PixelLayout::Rgb32 ? 32 : 16; }
std::uint32_t compression(PixelLayout layout) {
    return layout == PixelLayout::Yuy2 ? fourcc("YUY2") : layout == PixelLayout::Uyvy ? fourcc("UYVY") : 0;
}

std::uint32_t rowBytes(const AviStream& stream) {
    const std::int64_t width = stream.width;
    switch (stream.layout) {
    case PixelLayout::Yuy2:
    case PixelLayout::Uyvy: return static_cast<std::uint32_t>((width + 1) / 2 * 4);
    case PixelLayout::Rgb24: return static_cast<std::uint32_t>((width * 24 + 31) / 32 * 4);
    case PixelLayout::Rgb32: return static_cast<std::uint32_t>(width * 4);
    }
    return 0;
}

std::uint32_t frameBytes(const AviStream& stream) {
    return rowBytes(stream) * static_cast<std::uint32_t>(rows(stream));
}

std::uint8_t clampByte(int value) { return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value); }

// ITU-R BT.601 studio range, as capture hardware delivers it.
void toYuv(const Rgb& c, int& y, int& u, int& v) {
    y = (66 * c.r + 129 * c.g + 25 * c.b + 128) / 256 + 16;
    u = (-38 * c.r - 74 * c.g + 112 * c.b + 128) / 256 + 128;
    v = (112 * c.r - 94 * c.g - 18 * c.b + 128) / 256 + 128;
}

void packRow(const std::vector<Rgb>& pixels, PixelLayout layout, std::uint8_t* out) {
    const std::size_t width = pixels.size();
    if (layout == PixelLayout::Yuy2 || layout == PixelLayout::Uyvy) {
        for (std::size_t x = 0; x < width; x += 2) {
            int y0, u0, v0, y1, u1, v1;
            toYuv(pixels[x], y0, u0, v0);
            toYuv(pixels[x + 1 < width ? x + 1 : x], y1, u1, v1);
            const std::uint8_t Y0 = clampByte(y0), Y1 = clampByte(y1), U = clampByte((u0 + u1) / 2), V = clampByte((v0 + v1) / 2);
            std::uint8_t* p = out + x / 2 * 4;
            if (layout == PixelLayout::Yuy2) {
                p[0] = Y0, p[1] = U, p[2] = Y1, p[3] = V;
            } else {
                p[0] = U, p[1] = Y0, p[2] = V, p[3] = Y1;
            }
        }
        return;
    }
    const std::size_t step = layout == PixelLayout::Rgb24 ? 3 : 4;
    for (std::size_t x = 0; x < width; ++x) {
        std::uint8_t* p = out + x * step;
        p[0] = clampByte(pixels[x].b), p[1] = clampByte(pixels[x].g), p[2] = clampByte(pixels[x].r);
        if (step == 4) p[3] = 0xFF; // unused by RGB32; opaque for readers that take it as alpha
    }
}

// Frames of one video stream: 75% colour bars over a band that fills from left to right as the
// recording goes on, or black while the upstream filter has no picture.
class FramePainter {
public:
    explicit FramePainter(const AviStream& stream)
        : stream_(stream), width_(stream.width), height_(rows(stream)),
          stride_(rowBytes(stream)), frame_(frameBytes(stream)) {
        std::vector<Rgb> bars(static_cast<std::size_t>(width_)), black(static_cast<std::size_t>(width_), Rgb{0, 0, 0});
        for (std::int32_t x = 0; x < width_; ++x) {
            const BarColour& bar = kColourBars[x * 7 / width_];
            bars[static_cast<std::size_t>(x)] = Rgb{bar.r, bar.g, bar.b};
        }
        barsRow_.assign(stride_, 0);
        blackRow_.assign(stride_, 0);
        packRow(bars, stream.layout, barsRow_.data());
        packRow(black, stream.layout, blackRow_.data());
    }

    const std::vector<std::uint8_t>& paint(std::uint64_t index, std::uint64_t count) {
        const std::int32_t bandTop = height_ * 7 / 8;
        std::vector<std::uint8_t> band(stride_, 0);
        if (stream_.picture) {
            std::vector<Rgb> pixels(static_cast<std::size_t>(width_), Rgb{32, 32, 32});
            const auto filled = static_cast<std::int32_t>(static_cast<std::uint64_t>(width_) * (index + 1) / count);
            for (std::int32_t x = 0; x < filled; ++x) pixels[static_cast<std::size_t>(x)] = {235, 235, 235};
            packRow(pixels, stream_.layout, band.data());
        }
        // Bitmaps with a positive height are stored bottom row first; YUV frames top row first.
        const bool bottomUp = (stream_.layout == PixelLayout::Rgb24 || stream_.layout == PixelLayout::Rgb32) && stream_.height > 0;
        for (std::int32_t row = 0; row < height_; ++row) {
            const std::vector<std::uint8_t>& source = !stream_.picture ? blackRow_ : row < bandTop ? barsRow_ : band;
            const std::int32_t stored = bottomUp ? height_ - 1 - row : row;
            std::memcpy(frame_.data() + static_cast<std::size_t>(stored) * stride_, source.data(), stride_);
        }
        return frame_;
    }

private:
    const AviStream& stream_;
    std::int32_t width_;
    std::int32_t height_;
    std::uint32_t stride_;
    std::vector<std::uint8_t> frame_;
    std::vector<std::uint8_t> barsRow_;
    std::vector<std::uint8_t> blackRow_;
};

// Writes little-endian RIFF data and patches chunk sizes once they are known.
class RiffWriter {
public:
    explicit RiffWriter(std::FILE* file) : file_(file) {}

    bool ok() const { return ok_; }
    long long position() const { return tell(file_); }
    void u16(std::uint16_t value) {
        const unsigned char le[2] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8)};
        bytes(le, 2);
    }
    void u32(std::uint32_t value) {
        u16(static_cast<std::uint16_t>(value));
        u16(static_cast<std::uint16_t>(value >> 16));
    }
    void code(const char* id) { u32(fourcc(id)); }
    void bytes(const void* data, std::size_t size) {
        if (ok_ && size && std::fwrite(data, 1, size, file_) != size) ok_ = false;
    }
    // Opens a chunk (or a RIFF/LIST with `type`); returns where its size goes.
    long long open(const char* id, const char* type = nullptr) {
        code(id);
        const long long sizeAt = position();
        u32(0);
        if (type) code(type);
        return sizeAt;
    }
    void close(long long sizeAt) {
        const long long end = position();
        if (!ok_ || !seek(file_, sizeAt)) {
            ok_ = false;
            return;
        }
        u32(static_cast<std::uint32_t>(end - sizeAt - 4));
        if (!seek(file_, end)) ok_ = false;
        if ((end - sizeAt) % 2) bytes("", 1); // chunks are word aligned
    }

private:
    std::FILE* file_;
    bool ok_ = true;
};

// Flags of the AVI headers (vfw.h).
constexpr std::uint32_t kAviHasIndex = 0x10;
constexpr std::uint32_t kAviIsInterleaved = 0x100;
constexpr std::uint32_t kAviKeyFrame = 0x10;

struct IndexEntry {
    std::uint32_t id;
    std::uint32_t offset;
    std::uint32_t size;
};

// A classic (AVI 1.0) file: hdrl with avih and one strl per stream, movi with the chunks in
// time order (one video frame, then the audio that goes with it), and an idx1 index.

} // namespace

bool writeAvi(std::FILE* file, std::vector<AviStream> streams, std::int64_t recorded) {
    // A picture no capture card delivers is left out rather than painted.
    std::erase_if(streams, [](const AviStream& s) {
        return s.video && (s.width <= 0 || s.width > kLargestSide || s.height == 0 || s.height < -kLargestSide || s.height > kLargestSide);
    });
    const AviStream* master = nullptr;
    for (auto& stream : streams)
        if (stream.video && !master) master = &stream;
    std::int64_t frameTime = master && master->frameTime > 0 ? master->frameTime : 333667;
    // Frames start at 0, T, 2T, ... and every frame that started before the stop is in the file.
    std::uint64_t frames = recorded > 0 ? static_cast<std::uint64_t>((recorded + frameTime - 1) / frameTime) : 0;

    std::uint64_t bytesPerFrame = 0;
    std::vector<std::uint32_t> audioPerFrame(streams.size(), 0);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const AviStream& stream = streams[i];
        if (stream.video) {
            bytesPerFrame += frameBytes(stream) + 24;
        } else {
            const std::uint16_t align = stream.audio.blockAlign ? stream.audio.blockAlign : 1;
            const std::uint64_t blocks = static_cast<std::uint64_t>(stream.audio.samplesPerSec) * static_cast<std::uint64_t>(frameTime) / kUnitsPerSecond;
            audioPerFrame[i] = static_cast<std::uint32_t>(blocks * align);
            bytesPerFrame += audioPerFrame[i] + 24;
        }
    }
    // An AVI 1.0 file stays below 1 GB; a longer recording keeps its first part.
    constexpr std::uint64_t kLimit = 1ull << 30;
    if (bytesPerFrame && frames > kLimit / bytesPerFrame) frames = kLimit / bytesPerFrame;

    RiffWriter out(file);
    const long long riff = out.open("RIFF", "AVI ");
    const long long hdrl = out.open("LIST", "hdrl");
    const long long avih = out.open("avih");
    const std::uint32_t largest = [&] {
        std::uint32_t size = 0;
        for (std::size_t i = 0; i < streams.size(); ++i) size = std::max(size, streams[i].video ? frameBytes(streams[i]) : audioPerFrame[i]);
        return size;
    }();
    out.u32(static_cast<std::uint32_t>(frameTime / 10));                                                     // dwMicroSecPerFrame
    out.u32(static_cast<std::uint32_t>(bytesPerFrame * kUnitsPerSecond / static_cast<std::uint64_t>(frameTime))); // dwMaxBytesPerSec
    out.u32(0);                                                                                       // dwPaddingGranularity
    out.u32(kAviHasIndex | kAviIsInterleaved);
    out.u32(static_cast<std::uint32_t>(frames));
    out.u32(0);                                                                                       // dwInitialFrames
    out.u32(static_cast<std::uint32_t>(streams.size()));
    out.u32(largest + 8);
    out.u32(master ? static_cast<std::uint32_t>(master->width) : 0);
    out.u32(master ? static_cast<std::uint32_t>(rows(*master)) : 0);
    for (int i = 0; i < 4; ++i) out.u32(0);
    out.close(avih);

    for (std::size_t i = 0; i < streams.size(); ++i) {
        const AviStream& stream = streams[i];
        const long long strl = out.open("LIST", "strl");
        const long long strh = out.open("strh");
        out.code(stream.video ? "vids" : "auds");
        out.u32(stream.video ? compression(stream.layout) : 0);
        out.u32(0);    // dwFlags
        out.u16(0);    // wPriority
        out.u16(0);    // wLanguage
        out.u32(0);    // dwInitialFrames
        if (stream.video) {
            out.u32(static_cast<std::uint32_t>(frameTime));
            out.u32(static_cast<std::uint32_t>(kUnitsPerSecond));
            out.u32(0);
            out.u32(static_cast<std::uint32_t>(frames));
            out.u32(frameBytes(stream));
            out.u32(0xFFFFFFFF); // dwQuality: default
            out.u32(0);          // dwSampleSize: one frame per chunk
            out.u16(0), out.u16(0);
            out.u16(static_cast<std::uint16_t>(stream.width));
            out.u16(static_cast<std::uint16_t>(rows(stream)));
        } else {
            const std::uint16_t align = stream.audio.blockAlign ? stream.audio.blockAlign : 1;
            out.u32(align);
            out.u32(stream.audio.avgBytesPerSec);
            out.u32(0);
            out.u32(static_cast<std::uint32_t>(frames * audioPerFrame[i] / align));
            out.u32(audioPerFrame[i]);
            out.u32(0xFFFFFFFF);
            out.u32(align);
            for (int k = 0; k < 4; ++k) out.u16(0);
        }
        out.close(strh);
        const long long strf = out.open("strf");
        if (stream.video) {
            // BITMAPINFOHEADER
            out.u32(40);
            out.u32(static_cast<std::uint32_t>(stream.width)), out.u32(static_cast<std::uint32_t>(stream.height));
            out.u16(1), out.u16(bitCount(stream.layout));
            out.u32(compression(stream.layout)), out.u32(frameBytes(stream));
            for (int k = 0; k < 4; ++k) out.u32(0); // resolution and palette: none
        } else {
            // WAVEFORMATEX
            const AviAudioFormat& w = stream.audio;
            out.u16(w.formatTag), out.u16(w.channels), out.u32(w.samplesPerSec), out.u32(w.avgBytesPerSec);
            out.u16(w.blockAlign), out.u16(w.bitsPerSample), out.u16(0);
        }
        out.close(strf);
        out.close(strl);
    }
    out.close(hdrl);

    std::vector<IndexEntry> index;
    index.reserve(static_cast<std::size_t>(frames * streams.size()));
    const long long movi = out.open("LIST", "movi");
    const long long moviType = movi + 4; // idx1 offsets count from the 'movi' type code
    std::vector<std::unique_ptr<FramePainter>> painters;
    for (const auto& stream : streams) painters.push_back(stream.video ? std::make_unique<FramePainter>(stream) : nullptr);
    std::vector<std::uint8_t> silence;
    for (std::uint64_t frame = 0; frame < frames && out.ok(); ++frame) {
        for (std::size_t i = 0; i < streams.size(); ++i) {
            char id[5];
            std::snprintf(id, sizeof(id), "%02u%s", static_cast<unsigned>(i), streams[i].video ? "dc" : "wb");
            const long long chunkAt = out.position();
            const long long chunk = out.open(id);
            std::uint32_t size = 0;
            if (streams[i].video) {
                const std::vector<std::uint8_t>& picture = painters[i]->paint(frame, frames);
                size = static_cast<std::uint32_t>(picture.size());
                out.bytes(picture.data(), picture.size());
            } else {
                size = audioPerFrame[i];
                silence.assign(size, streams[i].audio.bitsPerSample == 8 ? 0x80 : 0);
                out.bytes(silence.data(), silence.size());
            }
            out.close(chunk);
            index.push_back({fourcc(id), static_cast<std::uint32_t>(chunkAt - moviType), size});
        }
    }
    out.close(movi);

    const long long idx1 = out.open("idx1");
    for (const IndexEntry& entry : index) {
        out.u32(entry.id);
        out.u32(kAviKeyFrame);
        out.u32(entry.offset);
        out.u32(entry.size);
    }
    out.close(idx1);
    out.close(riff);
    return out.ok();
}

} // namespace tvsim
