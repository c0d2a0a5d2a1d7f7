// The system filters a capture graph is built from: Smart Tee, AVI Mux, File Writer and the
// MPEG-2 demultiplexer. The File Writer leaves a real AVI file behind, so that what a capture
// "recorded" can be opened and checked by any player.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <memory>
#include <stdexcept>
#include <tuple>
#include <vector>

#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

constexpr REFERENCE_TIME kUnitsPerSecond = 10000000;
// Transport streams straight from a BDA receiver filter (bdamedia.h).
constexpr GUID kBdaMpeg2Transport = {0xf4aeb342, 0x0329, 0x4fdd, {0xa8, 0xfd, 0x4a, 0xff, 0x49, 0x26, 0xc9, 0x78}};

MediaType makeType(const GUID& major, const GUID& subtype, const GUID& formatType) {
    MediaType type;
    type.major = major;
    type.subtype = subtype;
    type.formatType = formatType;
    return type;
}

bool sameType(const MediaType& a, const MediaType& b) {
    return a.major == b.major && a.subtype == b.subtype && a.formatType == b.formatType && a.format == b.format;
}

// A pin accepts only types it lists field by field, so "any video" is spelt out.
const GUID* const kUncompressedVideo[] = {&MEDIASUBTYPE_YUY2,  &MEDIASUBTYPE_UYVY,   &MEDIASUBTYPE_YV12,  &MEDIASUBTYPE_NV12,
                                          &MEDIASUBTYPE_IYUV,  &MEDIASUBTYPE_Y411,   &MEDIASUBTYPE_Y41P,  &MEDIASUBTYPE_RGB24,
                                          &MEDIASUBTYPE_RGB32, &MEDIASUBTYPE_RGB555, &MEDIASUBTYPE_RGB565};
const GUID* const kMpeg2Streams[] = {&MEDIASUBTYPE_MPEG2_PROGRAM, &MEDIASUBTYPE_MPEG2_TRANSPORT, &MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE,
                                     &kBdaMpeg2Transport};

std::vector<MediaType> streamTypes(std::initializer_list<const GUID*> subtypes) {
    std::vector<MediaType> types;
    for (const GUID* subtype : subtypes)
        for (const GUID* format : {&GUID_NULL, &FORMAT_None}) types.push_back(makeType(MEDIATYPE_Stream, *subtype, *format));
    return types;
}

// ---- pins that come and go ---------------------------------------------------------------------

// A filter whose pin set changes (inputs that appear as others connect, outputs made on request).
// Pins live as long as their filter because clients may still hold them; a pin taken away is
// only no longer listed.
class PinSetFilter : public SimFilter {
public:
    using SimFilter::SimFilter;

    STDMETHODIMP EnumPins(IEnumPins** pins) override {
        refreshPins();
        return callOut("EnumPins", pins, [&] {
            std::vector<ComPtr<IPin>> list;
            for (SimPin* pin : listed_) list.emplace_back(pin);
            *pins = makePinEnumerator(simName() + ".Pins", std::move(list)).detach();
            return S_OK;
        });
    }

    STDMETHODIMP FindPin(LPCWSTR id, IPin** pin) override {
        refreshPins();
        return callOut("FindPin", pin, [&]() -> HRESULT {
            if (!id) return E_POINTER;
            SimPin* found = listedPin(qis::String(id));
            if (!found) return VFW_E_NOT_FOUND;
            *pin = found;
            found->AddRef();
            return S_OK;
        }, qis::String(id ? id : L""));
    }

protected:
    // Brings the pin set up to date with the connections; runs before clients look at the pins.
    virtual void refreshPins() {}

    // Lists a new pin at the end, or in front of `before`.
    SimPin& listPin(qis::String name, PIN_DIRECTION direction, std::vector<MediaType> types, const GUID* category = nullptr,
                    SimPin* before = nullptr) {
        SimPin& pin = addPin(std::move(name), direction, std::move(types), category);
        listed_.insert(std::find(listed_.begin(), listed_.end(), before), &pin);
        return pin;
    }
    // A new pin in the place of `old`, which is no longer listed.
    SimPin& replacePin(SimPin& old, std::vector<MediaType> types) {
        const GUID category = old.category();
        SimPin& pin = addPin(old.name(), old.direction(), std::move(types), category == GUID_NULL ? nullptr : &category);
        for (SimPin*& listed : listed_)
            if (listed == &old) listed = &pin;
        return pin;
    }
    void unlistPin(SimPin& pin) { std::erase(listed_, &pin); }
    SimPin* listedPin(const qis::String& name) const {
        for (SimPin* pin : listed_)
            if (pin->name() == name) return pin;
        return nullptr;
    }
    const std::vector<SimPin*>& listedPins() const { return listed_; }

private:
    std::vector<SimPin*> listed_;
};

// ---- Smart Tee -------------------------------------------------------------------------------

// Splits a capture stream into a capture and a preview stream of the input's type; the outputs
// cannot connect before the input has.
class SmartTee final : public PinSetFilter {
public:
    SmartTee() : PinSetFilter("SmartTee", CLSID_SmartTee) {
        std::vector<MediaType> accepted;
        for (const GUID* subtype : kUncompressedVideo) {
            accepted.push_back(makeType(MEDIATYPE_Video, *subtype, FORMAT_VideoInfo));
            accepted.push_back(makeType(MEDIATYPE_Video, *subtype, FORMAT_VideoInfo2));
        }
        accepted.push_back(makeType(MEDIATYPE_Interleaved, MEDIASUBTYPE_dvsd, FORMAT_DvInfo));
        for (const MediaType& type : streamTypes({&MEDIASUBTYPE_MPEG2_PROGRAM, &MEDIASUBTYPE_MPEG2_TRANSPORT})) accepted.push_back(type);
        input_ = &listPin("Input", PINDIR_INPUT, std::move(accepted));
        capture_ = &listPin("Capture", PINDIR_OUTPUT, {}, &PIN_CATEGORY_CAPTURE);
        preview_ = &listPin("Preview", PINDIR_OUTPUT, {}, &PIN_CATEGORY_PREVIEW);
    }

protected:
    void refreshPins() override {
        std::vector<MediaType> offered;
        if (input_->isConnected()) offered.push_back(input_->connectionType());
        for (SimPin** output : {&capture_, &preview_}) {
            const auto& current = (*output)->types();
            const bool upToDate = current.size() == offered.size() && (offered.empty() || sameType(current[0], offered[0]));
            if (!upToDate && !(*output)->isConnected()) *output = &replacePin(**output, offered);
        }
    }

private:
    SimPin* input_;
    SimPin* capture_;
    SimPin* preview_;
};

// ---- AVI file layout -------------------------------------------------------------------------

enum class PixelLayout { Yuy2, Uyvy, Rgb24, Rgb32 };

struct Rgb {
    int r, g, b;
};

// One stream of the file as the mux received it.
struct AviStream {
    bool video = true;
    BITMAPINFOHEADER bitmap{};
    REFERENCE_TIME frameTime = 0;
    PixelLayout layout = PixelLayout::Yuy2;
    bool picture = false; // upstream shows a picture: colour bars, else black
    WAVEFORMATEX wave{};
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
        static const Rgb kBars[] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0}, {191, 0, 191}, {191, 0, 0}, {0, 0, 191}};
        std::vector<Rgb> bars(static_cast<std::size_t>(width_)), black(static_cast<std::size_t>(width_), Rgb{0, 0, 0});
        for (LONG x = 0; x < width_; ++x) bars[static_cast<std::size_t>(x)] = kBars[x * 7 / width_];
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

// ---- AVI Mux ---------------------------------------------------------------------------------

// Interleaves what its inputs receive into an AVI stream. It starts with one input and adds the
// next as soon as every input is connected.
class AviMux final : public PinSetFilter {
public:
    AviMux() : PinSetFilter("AviMux", CLSID_AviDest) {
        addInput();
        listPin("AVI Out", PINDIR_OUTPUT, {makeType(MEDIATYPE_Stream, MEDIASUBTYPE_Avi, GUID_NULL)});
    }

    // The AVI file of the recording so far (or of the last one, once stopped).
    bool writeRecording(std::FILE* file) const {
        std::vector<AviStream> streams;
        for (SimPin* pin : listedPins()) {
            if (pin->direction() != PINDIR_INPUT || !pin->isConnected()) continue;
            const MediaType& type = pin->connectionType();
            AviStream stream;
            if (type.major == MEDIATYPE_Video && type.format.size() >= sizeof(VIDEOINFOHEADER)) {
                VIDEOINFOHEADER header;
                std::memcpy(&header, type.format.data(), sizeof(header));
                stream.bitmap = header.bmiHeader;
                stream.frameTime = header.AvgTimePerFrame;
                stream.layout = type.subtype == MEDIASUBTYPE_UYVY    ? PixelLayout::Uyvy
                                : type.subtype == MEDIASUBTYPE_RGB24 ? PixelLayout::Rgb24
                                : type.subtype == MEDIASUBTYPE_RGB32 ? PixelLayout::Rgb32
                                                                     : PixelLayout::Yuy2;
                // The subtype decides how the frames are laid out; the header is made to agree.
                static const std::pair<WORD, DWORD> kBits[] = {{16, MAKEFOURCC('Y', 'U', 'Y', '2')},
                                                               {16, MAKEFOURCC('U', 'Y', 'V', 'Y')}, {24, BI_RGB}, {32, BI_RGB}};
                std::tie(stream.bitmap.biBitCount, stream.bitmap.biCompression) = kBits[static_cast<int>(stream.layout)];
                const LONG height = stream.bitmap.biHeight < 0 ? -stream.bitmap.biHeight : stream.bitmap.biHeight;
                if (stream.bitmap.biWidth <= 0 || stream.bitmap.biWidth > 8192 || height == 0 || height > 8192) continue;
                const PictureSource* source = upstreamPicture(*pin);
                stream.picture = source && source->hasPicture();
            } else if (type.major == MEDIATYPE_Audio && type.format.size() >= sizeof(PCMWAVEFORMAT)) {
                stream.video = false;
                std::memcpy(&stream.wave, type.format.data(), sizeof(PCMWAVEFORMAT));
            } else {
                continue;
            }
            streams.push_back(stream);
        }
        return writeAvi(file, std::move(streams), recorded());
    }

protected:
    void refreshPins() override {
        for (SimPin* pin : listedPins())
            if (pin->direction() == PINDIR_INPUT && !pin->isConnected()) return;
        addInput();
    }

    void stateChanged(FILTER_STATE from, FILTER_STATE to) override {
        const REFERENCE_TIME now = Simulation::current().elapsed().count() / 100;
        if (from == State_Stopped) recorded_ = 0;
        if (from == State_Running) recorded_ += now - runningSince_;
        if (to == State_Running) runningSince_ = now;
    }

private:
    REFERENCE_TIME recorded() const {
        REFERENCE_TIME total = recorded_;
        if (state() == State_Running) total += Simulation::current().elapsed().count() / 100 - runningSince_;
        return total;
    }

    void addInput() {
        std::vector<MediaType> accepted;
        for (const GUID* subtype : {&MEDIASUBTYPE_YUY2, &MEDIASUBTYPE_UYVY, &MEDIASUBTYPE_RGB24, &MEDIASUBTYPE_RGB32})
            accepted.push_back(makeType(MEDIATYPE_Video, *subtype, FORMAT_VideoInfo));
        accepted.push_back(makeType(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, FORMAT_WaveFormatEx));
        char name[16];
        std::snprintf(name, sizeof(name), "Input %02u", ++inputs_);
        // Inputs are listed before the output, as the system mux lists them.
        listPin(name, PINDIR_INPUT, std::move(accepted), nullptr, listedPin("AVI Out"));
    }

    unsigned inputs_ = 0;
    REFERENCE_TIME recorded_ = 0;
    REFERENCE_TIME runningSince_ = 0;
};

// ---- File Writer -----------------------------------------------------------------------------

// Writes the stream it receives to its file. The file is finished when the graph stops; it is
// written under a temporary name and renamed at the end, so that a failed recording never
// leaves a file that looks complete.
class FileWriter final : public SimFilter, public IFileSinkFilter2 {
public:
    FileWriter() : SimFilter("FileWriter", CLSID_FileWriter) {
        input_ = &addPin("in", PINDIR_INPUT,
                         streamTypes({&MEDIASUBTYPE_Avi, &MEDIASUBTYPE_MPEG2_PROGRAM, &MEDIASUBTYPE_MPEG2_TRANSPORT, &GUID_NULL}));
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    // IFileSinkFilter
    STDMETHODIMP SetFileName(LPCOLESTR name, const AM_MEDIA_TYPE* type) override {
        return call("SetFileName", [&]() -> HRESULT {
            if (!name) return E_POINTER;
            if (!*name) return E_INVALIDARG;
            if (state() != State_Stopped) return VFW_E_NOT_STOPPED;
            fileName_ = name;
            fileType_ = type ? MediaType::from(*type) : MediaType();
            hasFileType_ = type != nullptr;
            return S_OK;
        }, qis::String(name ? name : L""));
    }

    STDMETHODIMP GetCurFile(LPOLESTR* name, AM_MEDIA_TYPE* type) override {
        return call("GetCurFile", [&]() -> HRESULT {
            if (!name) return E_POINTER;
            *name = nullptr;
            if (fileName_.empty()) return E_FAIL;
            if (type) {
                if (hasFileType_) {
                    if (FAILED(fileType_.copyTo(*type))) return E_OUTOFMEMORY;
                } else {
                    ZeroMemory(type, sizeof(*type));
                }
            }
            *name = taskMemString(qis::String(fileName_));
            return *name ? S_OK : E_OUTOFMEMORY;
        });
    }

    // IFileSinkFilter2
    STDMETHODIMP SetMode(DWORD flags) override {
        return call("SetMode", [&]() -> HRESULT {
            if (flags & ~static_cast<DWORD>(AM_FILE_OVERWRITE)) return E_INVALIDARG;
            mode_ = flags;
            return S_OK;
        });
    }
    STDMETHODIMP GetMode(DWORD* flags) override {
        if (!flags) return E_POINTER;
        *flags = mode_;
        return S_OK;
    }

    // The graph's event sink is kept without a reference, as filters keep their graph: the graph
    // may be stopping this filter from its own destructor, when it can no longer be referenced.
    STDMETHODIMP JoinFilterGraph(IFilterGraph* joined, LPCWSTR name) override {
        const HRESULT hr = SimFilter::JoinFilterGraph(joined, name);
        events_ = nullptr;
        ComPtr<IMediaEventSink> events;
        if (SUCCEEDED(hr) && joined && SUCCEEDED(joined->QueryInterface(IID_IMediaEventSink, events.putVoid()))) events_ = events.get();
        return hr;
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IFileSinkFilter) return static_cast<IFileSinkFilter*>(this);
        if (iid == IID_IFileSinkFilter2) return static_cast<IFileSinkFilter2*>(this);
        return SimFilter::extraInterface(iid);
    }

    void stateChanged(FILTER_STATE from, FILTER_STATE to) override {
        if (to == State_Stopped && from != State_Stopped) finishFile();
    }

private:
    void finishFile() {
        if (fileName_.empty() || !input_->isConnected()) return;
        const std::wstring temporary = fileName_ + L".partial";
        bool written = false;
        std::FILE* file = nullptr;
        if (_wfopen_s(&file, temporary.c_str(), L"wb") == 0 && file) {
            const auto* peer = dynamic_cast<const SimPin*>(input_->peer());
            const auto* mux = peer ? dynamic_cast<const AviMux*>(&peer->owner()) : nullptr;
            // Only the AVI Mux is modelled as a stream source; anything else gives an empty file.
            written = mux ? mux->writeRecording(file) : true;
            written = std::fclose(file) == 0 && written;
            written = written && MoveFileExW(temporary.c_str(), fileName_.c_str(), MOVEFILE_REPLACE_EXISTING);
            if (!written) DeleteFileW(temporary.c_str());
        }
        // A failed write is reported to the graph, which passes it on to the application.
        if (!written && events_) events_->Notify(EC_ERRORABORT, static_cast<LONG_PTR>(STG_E_CANTSAVE), 0);
    }

    SimPin* input_;
    IMediaEventSink* events_ = nullptr;
    std::wstring fileName_;
    MediaType fileType_;
    bool hasFileType_ = false;
    DWORD mode_ = 0;
};

// ---- MPEG-2 demultiplexer --------------------------------------------------------------------

class StreamIdEnumerator final : public SimObject<IEnumStreamIdMap> {
public:
    StreamIdEnumerator(qis::String name, std::vector<STREAM_ID_MAP> maps, std::size_t position = 0)
        : SimObject(std::move(name)), maps_(std::move(maps)), position_(position) {}

    STDMETHODIMP Next(ULONG count, STREAM_ID_MAP* out, ULONG* received) override {
        return call("Next", [&]() -> HRESULT {
            if (!out || (count > 1 && !received)) return E_POINTER;
            ULONG n = 0;
            while (n < count && position_ < maps_.size()) out[n++] = maps_[position_++];
            if (received) *received = n;
            return n == count ? S_OK : S_FALSE;
        });
    }
    STDMETHODIMP Skip(ULONG count) override {
        const std::size_t left = maps_.size() - position_;
        position_ += count < left ? count : left;
        return count <= left ? S_OK : S_FALSE;
    }
    STDMETHODIMP Reset() override {
        position_ = 0;
        return S_OK;
    }
    STDMETHODIMP Clone(IEnumStreamIdMap** out) override {
        if (!out) return E_POINTER;
        *out = new StreamIdEnumerator(simName(), maps_, position_);
        return S_OK;
    }

private:
    std::vector<STREAM_ID_MAP> maps_;
    std::size_t position_;
};

// The stream-id map of one output pin; it shares the pin's (that is, the filter's) reference
// count, as interfaces of a pin do.
class StreamIdMap final : public IMPEG2StreamIdMap {
public:
    StreamIdMap(SimPin& owner, std::vector<STREAM_ID_MAP> maps) : pin_(owner), maps_(std::move(maps)) {}

    const SimPin& pin() const { return pin_; }
    const std::vector<STREAM_ID_MAP>& maps() const { return maps_; }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return pin_.QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return pin_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return pin_.Release(); }

    STDMETHODIMP MapStreamId(ULONG streamId, DWORD content, ULONG substream, int offset) override {
        return journaledCall(journalName(), "MapStreamId", [&]() -> HRESULT {
            // Program-stream ids are the PES stream ids 0xBC..0xFF.
            if (streamId < 0xBC || streamId > 0xFF || content > MPEG2_PROGRAM_SYSTEM_HEADER) return E_INVALIDARG;
            std::erase_if(maps_, [&](const STREAM_ID_MAP& map) { return map.stream_id == streamId; });
            maps_.push_back({streamId, content, substream, offset});
            return S_OK;
        }, qis::String::number(static_cast<unsigned long>(streamId)));
    }

    STDMETHODIMP UnmapStreamId(ULONG count, ULONG* streamIds) override {
        return journaledCall(journalName(), "UnmapStreamId", [&]() -> HRESULT {
            if (count && !streamIds) return E_POINTER;
            for (ULONG i = 0; i < count; ++i)
                if (std::none_of(maps_.begin(), maps_.end(), [&](const STREAM_ID_MAP& map) { return map.stream_id == streamIds[i]; }))
                    return E_INVALIDARG;
            for (ULONG i = 0; i < count; ++i)
                std::erase_if(maps_, [&](const STREAM_ID_MAP& map) { return map.stream_id == streamIds[i]; });
            return S_OK;
        });
    }

    STDMETHODIMP EnumStreamIdMap(IEnumStreamIdMap** out) override {
        return journaledCallOut(journalName(), "EnumStreamIdMap", out, [&] {
            *out = make<StreamIdEnumerator>(journalName() + ".StreamIdMap", maps_).detach();
            return S_OK;
        });
    }

private:
    qis::String journalName() const { return pin_.owner().simName() + "." + pin_.name(); }

    SimPin& pin_;
    std::vector<STREAM_ID_MAP> maps_;
};

// Splits an MPEG-2 program or transport stream into elementary streams on output pins that the
// application creates and maps. (Only the program-stream mapping, IMPEG2StreamIdMap, is offered.)
class Mpeg2Demultiplexer final : public PinSetFilter, public IMpeg2Demultiplexer {
public:
    Mpeg2Demultiplexer() : PinSetFilter("MPEG2Demultiplexer", CLSID_MPEG2Demultiplexer) {
        std::vector<MediaType> accepted;
        for (const GUID* subtype : kMpeg2Streams)
            for (const MediaType& type : streamTypes({subtype})) accepted.push_back(type);
        input_ = &listPin("MPEG-2 Stream", PINDIR_INPUT, std::move(accepted));
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    STDMETHODIMP CreateOutputPin(AM_MEDIA_TYPE* type, LPWSTR name, IPin** pin) override {
        return callOut("CreateOutputPin", pin, [&]() -> HRESULT {
            if (!type || !name || !*name || std::wcslen(name) >= 128) return E_INVALIDARG;
            if (listedPin(qis::String(name))) return VFW_E_DUPLICATE_NAME;
            SimPin& created = listPin(qis::String(name), PINDIR_OUTPUT, {MediaType::from(*type)});
            expose(created, {});
            *pin = &created;
            created.AddRef();
            return S_OK;
        }, qis::String(name ? name : L""));
    }

    STDMETHODIMP SetOutputPinMediaType(LPWSTR name, AM_MEDIA_TYPE* type) override {
        return call("SetOutputPinMediaType", [&]() -> HRESULT {
            if (!name || !type) return E_POINTER;
            SimPin* pin = outputPin(name);
            if (!pin) return VFW_E_NOT_FOUND;
            // A connected pin would have to be reconnected with the new type; that is not modelled.
            if (pin->isConnected()) return VFW_E_ALREADY_CONNECTED;
            const std::vector<STREAM_ID_MAP> maps = mapOf(*pin).maps();
            expose(replacePin(*pin, {MediaType::from(*type)}), maps);
            return S_OK;
        }, qis::String(name ? name : L""));
    }

    STDMETHODIMP DeleteOutputPin(LPWSTR name) override {
        return call("DeleteOutputPin", [&]() -> HRESULT {
            if (!name) return E_POINTER;
            SimPin* pin = outputPin(name);
            if (!pin) return VFW_E_NOT_FOUND;
            if (state() != State_Stopped) return VFW_E_NOT_STOPPED;
            if (IPin* peer = pin->peer()) peer->Disconnect();
            pin->breakConnection();
            unlistPin(*pin);
            return S_OK;
        }, qis::String(name ? name : L""));
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IMpeg2Demultiplexer) return static_cast<IMpeg2Demultiplexer*>(this);
        return SimFilter::extraInterface(iid);
    }

    // Fed a transport stream by a BDA graph, the demultiplexer makes its own output pins for the
    // program's video and audio and for the tables; a program stream gets pins only on request.
    void refreshPins() override {
        if (transportPins_ || !input_->isConnected()) return;
        const GUID& subtype = input_->connectionType().subtype;
        if (subtype != MEDIASUBTYPE_MPEG2_TRANSPORT && subtype != MEDIASUBTYPE_MPEG2_TRANSPORT_STRIDE && subtype != kBdaMpeg2Transport) return;
        transportPins_ = true;
        listPin("001", PINDIR_OUTPUT, {makeType(MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, FORMAT_MPEG2Video)});
        listPin("002", PINDIR_OUTPUT, {makeType(MEDIATYPE_Audio, MEDIASUBTYPE_MPEG2_AUDIO, FORMAT_WaveFormatEx)});
        listPin("003", PINDIR_OUTPUT, {makeType(MEDIATYPE_MPEG2_SECTIONS, MEDIASUBTYPE_MPEG2DATA, GUID_NULL)});
    }

private:
    SimPin* outputPin(LPCWSTR name) const {
        SimPin* pin = listedPin(qis::String(name));
        return pin && pin->direction() == PINDIR_OUTPUT ? pin : nullptr;
    }

    void expose(SimPin& pin, std::vector<STREAM_ID_MAP> maps) {
        maps_.push_back(std::make_unique<StreamIdMap>(pin, std::move(maps)));
        pin.expose(IID_IMPEG2StreamIdMap, static_cast<IMPEG2StreamIdMap*>(maps_.back().get()));
    }

    StreamIdMap& mapOf(const SimPin& pin) const {
        for (const auto& map : maps_)
            if (&map->pin() == &pin) return *map;
        throw std::logic_error("an output pin without its stream-id map");
    }

    std::vector<std::unique_ptr<StreamIdMap>> maps_; // kept for the filter's life: clients may hold them
    SimPin* input_;
    bool transportPins_ = false;
};

} // namespace

ComPtr<IUnknown> createSmartTee(Simulation&) {
    ComPtr<SmartTee> tee = make<SmartTee>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(tee.get())));
}

ComPtr<IUnknown> createAviMux(Simulation&) {
    ComPtr<AviMux> mux = make<AviMux>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(mux.get())));
}

ComPtr<IUnknown> createFileWriter(Simulation&) {
    ComPtr<FileWriter> writer = make<FileWriter>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(writer.get())));
}

ComPtr<IUnknown> createMpeg2Demultiplexer(Simulation&) {
    ComPtr<Mpeg2Demultiplexer> demux = make<Mpeg2Demultiplexer>();
    return ComPtr<IUnknown>(static_cast<IUnknown*>(static_cast<IBaseFilter*>(demux.get())));
}

} // namespace tvsim
