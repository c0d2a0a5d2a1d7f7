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

#include "tvsim/Picture.h"

namespace tvsim {
namespace {

constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;

struct Rgb {
    int r, g, b;
};

DWORD fourcc(const char* code) { return MAKEFOURCC(code[0], code[1], code[2], code[3]); }

DWORD rowBytes(const AviStream& stream) {
    const LONG width = stream.bitmap.biWidth;
    switch (stream.layout) {
    case PixelLayout::Yuy2:
    case PixelLayout::Uyvy: return static_cast<DWORD>((width + 1) / 2 * 4);
    case PixelLayout::Rgb24: return static_cast<DWORD>((width * 24 + 31) / 32 * 4);
    case PixelLayout::Rgb32: return static_cast<DWORD>(width * 4);
    }
    return 0;
}

DWORD frameBytes(const AviStream& stream) {
    const LONG height = stream.bitmap.biHeight < 0 ? -stream.bitmap.biHeight : stream.bitmap.biHeight;
    return rowBytes(stream) * static_cast<DWORD>(height);
}

BYTE clampByte(int value) { return static_cast<BYTE>(value < 0 ? 0 : value > 255 ? 255 : value); }

// ITU-R BT.601 studio range, as capture hardware delivers it.
void toYuv(const Rgb& c, int& y, int& u, int& v) {
    y = (66 * c.r + 129 * c.g + 25 * c.b + 128) / 256 + 16;
    u = (-38 * c.r - 74 * c.g + 112 * c.b + 128) / 256 + 128;
    v = (112 * c.r - 94 * c.g - 18 * c.b + 128) / 256 + 128;
}

void packRow(const std::vector<Rgb>& pixels, PixelLayout layout, BYTE* out) {
    const std::size_t width = pixels.size();
    if (layout == PixelLayout::Yuy2 || layout == PixelLayout::Uyvy) {
        for (std::size_t x = 0; x < width; x += 2) {
            int y0, u0, v0, y1, u1, v1;
            toYuv(pixels[x], y0, u0, v0);
            toYuv(pixels[x + 1 < width ? x + 1 : x], y1, u1, v1);
            const BYTE Y0 = clampByte(y0), Y1 = clampByte(y1), U = clampByte((u0 + u1) / 2), V = clampByte((v0 + v1) / 2);
            BYTE* p = out + x / 2 * 4;
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
        BYTE* p = out + x * step;
        p[0] = clampByte(pixels[x].b), p[1] = clampByte(pixels[x].g), p[2] = clampByte(pixels[x].r);
        if (step == 4) p[3] = 0xFF; // unused by RGB32; opaque for readers that take it as alpha
    }
}

// Frames of one video stream: 75% colour bars over a band that fills from left to right as the
// recording goes on, or black while the upstream filter has no picture.
class FramePainter {
public:
    explicit FramePainter(const AviStream& stream)
        : stream_(stream), width_(stream.bitmap.biWidth), height_(stream.bitmap.biHeight < 0 ? -stream.bitmap.biHeight : stream.bitmap.biHeight),
          stride_(rowBytes(stream)), frame_(frameBytes(stream)) {
        std::vector<Rgb> bars(static_cast<std::size_t>(width_)), black(static_cast<std::size_t>(width_), Rgb{0, 0, 0});
        for (LONG x = 0; x < width_; ++x) {
            const BarColour& bar = kColourBars[x * 7 / width_];
            bars[static_cast<std::size_t>(x)] = Rgb{bar.r, bar.g, bar.b};
        }
        barsRow_.assign(stride_, 0);
        blackRow_.assign(stride_, 0);
        packRow(bars, stream.layout, barsRow_.data());
        packRow(black, stream.layout, blackRow_.data());
    }

    const std::vector<BYTE>& paint(std::uint64_t index, std::uint64_t count) {
        const LONG bandTop = height_ * 7 / 8;
        std::vector<BYTE> band(stride_, 0);
        if (stream_.picture) {
            std::vector<Rgb> pixels(static_cast<std::size_t>(width_), Rgb{32, 32, 32});
            const auto filled = static_cast<LONG>(static_cast<std::uint64_t>(width_) * (index + 1) / count);
            for (LONG x = 0; x < filled; ++x) pixels[static_cast<std::size_t>(x)] = {235, 235, 235};
            packRow(pixels, stream_.layout, band.data());
        }
        // Bitmaps with a positive height are stored bottom row first; YUV frames top row first.
        const bool bottomUp = (stream_.layout == PixelLayout::Rgb24 || stream_.layout == PixelLayout::Rgb32) && stream_.bitmap.biHeight > 0;
        for (LONG row = 0; row < height_; ++row) {
            const std::vector<BYTE>& source = !stream_.picture ? blackRow_ : row < bandTop ? barsRow_ : band;
            const LONG stored = bottomUp ? height_ - 1 - row : row;
            std::memcpy(frame_.data() + static_cast<std::size_t>(stored) * stride_, source.data(), stride_);
        }
        return frame_;
    }

private:
    const AviStream& stream_;
    LONG width_;
    LONG height_;
    DWORD stride_;
    std::vector<BYTE> frame_;
    std::vector<BYTE> barsRow_;
    std::vector<BYTE> blackRow_;
};

// Writes little-endian RIFF data and patches chunk sizes once they are known.
class RiffWriter {
public:
    explicit RiffWriter(std::FILE* file) : file_(file) {}

    bool ok() const { return ok_; }
    long long position() const { return _ftelli64(file_); }
    void u16(WORD value) { bytes(&value, sizeof(value)); }
    void u32(DWORD value) { bytes(&value, sizeof(value)); }
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
        if (!ok_ || _fseeki64(file_, sizeAt, SEEK_SET) != 0) {
            ok_ = false;
            return;
        }
        u32(static_cast<DWORD>(end - sizeAt - 4));
        if (_fseeki64(file_, end, SEEK_SET) != 0) ok_ = false;
        if ((end - sizeAt) % 2) bytes("", 1); // chunks are word aligned
    }

private:
    std::FILE* file_;
    bool ok_ = true;
};

// Flags of the AVI headers (vfw.h).
constexpr DWORD kAviHasIndex = 0x10;
constexpr DWORD kAviIsInterleaved = 0x100;
constexpr DWORD kAviKeyFrame = 0x10;

struct IndexEntry {
    DWORD id;
    DWORD offset;
    DWORD size;
};

// A classic (AVI 1.0) file: hdrl with avih and one strl per stream, movi with the chunks in
// time order (one video frame, then the audio that goes with it), and an idx1 index.

} // namespace

bool writeAvi(std::FILE* file, std::vector<AviStream> streams, REFERENCE_TIME recorded) {
    const AviStream* master = nullptr;
    for (auto& stream : streams)
        if (stream.video && !master) master = &stream;
    REFERENCE_TIME frameTime = master && master->frameTime > 0 ? master->frameTime : 333667;
    // Frames start at 0, T, 2T, ... and every frame that started before the stop is in the file.
    std::uint64_t frames = recorded > 0 ? static_cast<std::uint64_t>((recorded + frameTime - 1) / frameTime) : 0;

    std::uint64_t bytesPerFrame = 0;
    std::vector<DWORD> audioPerFrame(streams.size(), 0);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const AviStream& stream = streams[i];
        if (stream.video) {
            bytesPerFrame += frameBytes(stream) + 24;
        } else {
            const WORD align = stream.wave.nBlockAlign ? stream.wave.nBlockAlign : 1;
            const std::uint64_t blocks = static_cast<std::uint64_t>(stream.wave.nSamplesPerSec) * static_cast<std::uint64_t>(frameTime) / kUnitsPerSecond;
            audioPerFrame[i] = static_cast<DWORD>(blocks * align);
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
    const DWORD largest = [&] {
        DWORD size = 0;
        for (std::size_t i = 0; i < streams.size(); ++i) size = std::max(size, streams[i].video ? frameBytes(streams[i]) : audioPerFrame[i]);
        return size;
    }();
    out.u32(static_cast<DWORD>(frameTime / 10));                                                     // dwMicroSecPerFrame
    out.u32(static_cast<DWORD>(bytesPerFrame * kUnitsPerSecond / static_cast<std::uint64_t>(frameTime))); // dwMaxBytesPerSec
    out.u32(0);                                                                                       // dwPaddingGranularity
    out.u32(kAviHasIndex | kAviIsInterleaved);
    out.u32(static_cast<DWORD>(frames));
    out.u32(0);                                                                                       // dwInitialFrames
    out.u32(static_cast<DWORD>(streams.size()));
    out.u32(largest + 8);
    out.u32(master ? static_cast<DWORD>(master->bitmap.biWidth) : 0);
    out.u32(master ? static_cast<DWORD>(master->bitmap.biHeight < 0 ? -master->bitmap.biHeight : master->bitmap.biHeight) : 0);
    for (int i = 0; i < 4; ++i) out.u32(0);
    out.close(avih);

    for (std::size_t i = 0; i < streams.size(); ++i) {
        const AviStream& stream = streams[i];
        const long long strl = out.open("LIST", "strl");
        const long long strh = out.open("strh");
        out.code(stream.video ? "vids" : "auds");
        out.u32(stream.video && stream.bitmap.biCompression != BI_RGB ? stream.bitmap.biCompression : 0);
        out.u32(0);    // dwFlags
        out.u16(0);    // wPriority
        out.u16(0);    // wLanguage
        out.u32(0);    // dwInitialFrames
        if (stream.video) {
            out.u32(static_cast<DWORD>(frameTime));
            out.u32(static_cast<DWORD>(kUnitsPerSecond));
            out.u32(0);
            out.u32(static_cast<DWORD>(frames));
            out.u32(frameBytes(stream));
            out.u32(0xFFFFFFFF); // dwQuality: default
            out.u32(0);          // dwSampleSize: one frame per chunk
            out.u16(0), out.u16(0);
            out.u16(static_cast<WORD>(stream.bitmap.biWidth));
            out.u16(static_cast<WORD>(stream.bitmap.biHeight < 0 ? -stream.bitmap.biHeight : stream.bitmap.biHeight));
        } else {
            const WORD align = stream.wave.nBlockAlign ? stream.wave.nBlockAlign : 1;
            out.u32(align);
            out.u32(stream.wave.nAvgBytesPerSec);
            out.u32(0);
            out.u32(static_cast<DWORD>(frames * audioPerFrame[i] / align));
            out.u32(audioPerFrame[i]);
            out.u32(0xFFFFFFFF);
            out.u32(align);
            for (int k = 0; k < 4; ++k) out.u16(0);
        }
        out.close(strh);
        const long long strf = out.open("strf");
        if (stream.video) {
            BITMAPINFOHEADER bitmap = stream.bitmap;
            bitmap.biSize = sizeof(BITMAPINFOHEADER);
            bitmap.biSizeImage = frameBytes(stream);
            out.bytes(&bitmap, sizeof(bitmap));
        } else {
            const WAVEFORMATEX& w = stream.wave;
            out.u16(w.wFormatTag), out.u16(w.nChannels), out.u32(w.nSamplesPerSec), out.u32(w.nAvgBytesPerSec);
            out.u16(w.nBlockAlign), out.u16(w.wBitsPerSample), out.u16(0);
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
    std::vector<BYTE> silence;
    for (std::uint64_t frame = 0; frame < frames && out.ok(); ++frame) {
        for (std::size_t i = 0; i < streams.size(); ++i) {
            char id[5];
            std::snprintf(id, sizeof(id), "%02u%s", static_cast<unsigned>(i), streams[i].video ? "dc" : "wb");
            const long long chunkAt = out.position();
            const long long chunk = out.open(id);
            DWORD size = 0;
            if (streams[i].video) {
                const std::vector<BYTE>& picture = painters[i]->paint(frame, frames);
                size = static_cast<DWORD>(picture.size());
                out.bytes(picture.data(), picture.size());
            } else {
                size = audioPerFrame[i];
                silence.assign(size, streams[i].wave.wBitsPerSample == 8 ? 0x80 : 0);
                out.bytes(silence.data(), silence.size());
            }
            out.close(chunk);
            index.push_back({fourcc(id), static_cast<DWORD>(chunkAt - moviType), size});
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
