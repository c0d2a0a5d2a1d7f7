// The capture graph builder and the filters it builds with: what a capture application sees of
// them through their interfaces, and the AVI file a recording leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "SimTestSupport.h"
#include "qis/System.h"
#include "tvsim/Filter.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

using ::testing::ElementsAre;
using namespace testing;
using tunekit::ComPtr;

// ---- test filters --------------------------------------------------------------------------

MediaType typeOf(GUID major, GUID subtype, GUID format) {
    MediaType type;
    type.major = major, type.subtype = subtype, type.formatType = format;
    return type;
}
const MediaType kAnalogVideo = typeOf(MEDIATYPE_AnalogVideo, MEDIASUBTYPE_AnalogVideo_NTSC_M, FORMAT_AnalogVideo);
const MediaType kProgramStream = typeOf(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM, FORMAT_None);

// IAMStreamConfig of one pin; only its identity matters here.
class PinStreamConfig final : public IAMStreamConfig {
public:
    explicit PinStreamConfig(IPin& pin) : pin_(pin) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return pin_.QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return pin_.AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return pin_.Release(); }
    STDMETHODIMP SetFormat(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP GetFormat(AM_MEDIA_TYPE**) override { return E_NOTIMPL; }
    STDMETHODIMP GetNumberOfCapabilities(int*, int*) override { return E_NOTIMPL; }
    STDMETHODIMP GetStreamCaps(int, AM_MEDIA_TYPE**, BYTE*) override { return E_NOTIMPL; }

private:
    IPin& pin_;
};

// A small capture device: a capture pin (with IAMStreamConfig), optionally a preview pin, an
// analog input fed by the crossbar, and a picture the test switches on and off.
class TestCapture final : public SimFilter, public PictureSource {
public:
    explicit TestCapture(std::vector<MediaType> types, bool previewPin = false) : SimFilter("TestCapture", GUID_NULL) {
        SimPin& capture = addPin("Capture", PINDIR_OUTPUT, types, &PIN_CATEGORY_CAPTURE);
        config_ = std::make_unique<PinStreamConfig>(capture);
        capture.expose(IID_IAMStreamConfig, static_cast<IAMStreamConfig*>(config_.get()));
        if (previewPin) addPin("Preview", PINDIR_OUTPUT, types, &PIN_CATEGORY_PREVIEW);
        addPin("Analog Video In", PINDIR_INPUT, {kAnalogVideo});
    }
    IPin* pin(const char* name) { return findPin(name); }
    bool hasPicture() const override { return picture; }
    qis::String pictureLabel() const override { return "Test picture"; }

    bool picture = true;

private:
    std::unique_ptr<PinStreamConfig> config_;
};

// An upstream filter with an interface of its own, as a crossbar is upstream of a capture filter.
class TestCrossbar final : public SimFilter, public IAMFilterMiscFlags {
public:
    TestCrossbar() : SimFilter("TestCrossbar", GUID_NULL) { addPin("Video Out", PINDIR_OUTPUT, {kAnalogVideo}); }
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }
    STDMETHODIMP_(ULONG) GetMiscFlags() override { return 0; }

protected:
    void* extraInterface(REFIID iid) override {
        return iid == IID_IAMFilterMiscFlags ? static_cast<IAMFilterMiscFlags*>(this) : SimFilter::extraInterface(iid);
    }
};

// ---- helpers -------------------------------------------------------------------------------

std::wstring tempPath(const wchar_t* name) {
    wchar_t directory[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, directory);
    return std::wstring(directory) + name;
}

// The parts of an AVI file a player relies on, read back from disk.
struct AviFile {
    bool riffSizeMatches = false;
    DWORD totalFrames = 0, streams = 0, width = 0, height = 0;
    DWORD scale = 0, rate = 0, length = 0;
    char handler[5] = {};
    BITMAPINFOHEADER format{};
    std::vector<std::vector<BYTE>> frames; // the '00dc' chunks of movi, in order
    std::size_t indexEntries = 0;
    bool indexPointsAtFrames = true;

    // What a player reads first, in one line: stream count, frames counted by the header, the
    // stream, the movi list and the index, frame timing, size and compression.
    std::string summary() const {
        char text[200];
        std::snprintf(text, sizeof text, "%lu stream, frames %lu/%lu/%zu/%zu%s, %lu/%lu s, %lux%lu %.4s/%s%s",
                      streams, totalFrames, length, frames.size(), indexEntries, indexPointsAtFrames ? "" : " (index wrong)",
                      scale, rate, width, height, reinterpret_cast<const char*>(&format.biCompression), handler,
                      riffSizeMatches ? "" : " (RIFF size wrong)");
        return text;
    }

    static DWORD u32(const std::vector<BYTE>& data, std::size_t at) {
        DWORD value = 0;
        if (at + 4 <= data.size()) std::memcpy(&value, data.data() + at, 4);
        return value;
    }
    static bool is(const std::vector<BYTE>& data, std::size_t at, const char* code) {
        return at + 4 <= data.size() && std::memcmp(data.data() + at, code, 4) == 0;
    }

    static AviFile read(const std::wstring& path) {
        std::ifstream in(std::filesystem::path(path), std::ios::binary);
        std::vector<BYTE> data((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        AviFile avi;
        if (!is(data, 0, "RIFF") || !is(data, 8, "AVI ")) return avi;
        avi.riffSizeMatches = u32(data, 4) + 8 == data.size();
        std::size_t moviType = 0;
        std::vector<std::pair<std::size_t, DWORD>> chunks; // offset from the movi type, size
        // Walks the chunks of [from, to), descending into LISTs.
        auto walk = [&](auto& self, std::size_t from, std::size_t to) -> void {
            for (std::size_t at = from; at + 8 <= to;) {
                const DWORD size = u32(data, at + 4);
                const std::size_t body = at + 8;
                if (is(data, at, "LIST")) {
                    if (is(data, body, "movi")) moviType = body;
                    self(self, body + 4, body + size);
                } else if (is(data, at, "avih")) {
                    avi.totalFrames = u32(data, body + 16), avi.streams = u32(data, body + 24);
                    avi.width = u32(data, body + 32), avi.height = u32(data, body + 36);
                } else if (is(data, at, "strh") && is(data, body, "vids")) {
                    std::memcpy(avi.handler, data.data() + body + 4, 4);
                    avi.scale = u32(data, body + 20), avi.rate = u32(data, body + 24), avi.length = u32(data, body + 32);
                } else if (is(data, at, "strf") && size >= sizeof(BITMAPINFOHEADER) && avi.format.biSize == 0) {
                    std::memcpy(&avi.format, data.data() + body, sizeof(BITMAPINFOHEADER));
                } else if (is(data, at, "00dc")) {
                    avi.frames.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(body),
                                            data.begin() + static_cast<std::ptrdiff_t>(body + size));
                    chunks.emplace_back(at - moviType, size);
                } else if (is(data, at, "idx1")) {
                    avi.indexEntries = size / 16;
                    for (std::size_t entry = 0; entry < avi.indexEntries; ++entry) {
                        const std::size_t e = body + entry * 16;
                        const bool matches = entry < chunks.size() && is(data, e, "00dc") &&
                                             u32(data, e + 8) == chunks[entry].first && u32(data, e + 12) == chunks[entry].second;
                        avi.indexPointsAtFrames = avi.indexPointsAtFrames && matches;
                    }
                }
                at = body + size + (size % 2);
            }
        };
        walk(walk, 12, data.size());
        return avi;
    }
};

// ---- fixtures ------------------------------------------------------------------------------

MediaType smallVideo() { return MediaType::video(160, 120, 29.97); }

// A graph with a capture graph builder attached to it, and the test's capture device in it.
class Builder : public testing::SimTest {
protected:
    void SetUp() override { ASSERT_EQ(builder->SetFiltergraph(graph.get()), S_OK); }
    // Lets the graph and everything in it go, as an application ending does.
    void releaseGraph() {
        capture.reset();
        crossbar.reset();
        builder.reset();
        graph.reset();
    }

    // Adds a capture device offering `types` on its capture pin.
    void addCapture(std::vector<MediaType> types = {smallVideo()}, bool previewPin = false) {
        capture = make<TestCapture>(std::move(types), previewPin);
        ASSERT_EQ(graph->AddFilter(capture.get(), L"Video Capture"), S_OK);
    }
    void addCrossbarUpstream() {
        crossbar = make<TestCrossbar>();
        ASSERT_EQ(graph->AddFilter(crossbar.get(), L"Crossbar"), S_OK);
        ASSERT_EQ(graph->ConnectDirect(crossbar->pins()[0].get(), capture->pin("Analog Video In"), nullptr), S_OK);
    }
    HRESULT render(const GUID* category, const GUID* type, IUnknown* source, IBaseFilter* sink = nullptr) {
        return builder->RenderStream(category, type, source, nullptr, sink);
    }
    ComPtr<IBaseFilter> aviMux(const std::wstring& file) {
        ComPtr<IBaseFilter> mux;
        EXPECT_EQ(builder->SetOutputFileName(&MEDIASUBTYPE_Avi, file.c_str(), mux.put(), nullptr), S_OK);
        return mux;
    }
    // Runs the graph for `seconds` of virtual time, then stops it unless told to leave it running.
    void runFor(double seconds, bool stop = true) {
        auto control = query<IMediaControl>(graph);
        ASSERT_EQ(control->Run(), S_OK);
        qis::System::sleep(seconds);
        if (stop) ASSERT_EQ(control->Stop(), S_OK);
    }
    std::vector<std::string> filters() { return filterNames(graph.get()); }

    ComPtr<IGraphBuilder> graph = create<IGraphBuilder>(CLSID_FilterGraph);
    ComPtr<ICaptureGraphBuilder2> builder = create<ICaptureGraphBuilder2>(CLSID_CaptureGraphBuilder2);
    ComPtr<TestCapture> capture;
    ComPtr<TestCrossbar> crossbar;
};

// ---- the builder and its graph ---------------------------------------------------------------

using BuilderAlone = testing::SimTest;

TEST_F(BuilderAlone, HasNoGraphUntilGivenOneTakesOnlyOneAndMakesItsOwnToWriteAFile) {
    auto builder = create<ICaptureGraphBuilder2>(CLSID_CaptureGraphBuilder2);
    ComPtr<IGraphBuilder> got;
    EXPECT_EQ(builder->GetFiltergraph(got.put()), E_UNEXPECTED);
    auto graph = create<IGraphBuilder>(CLSID_FilterGraph), other = create<IGraphBuilder>(CLSID_FilterGraph);
    EXPECT_EQ(builder->SetFiltergraph(nullptr), E_POINTER);
    EXPECT_EQ(builder->SetFiltergraph(graph.get()), S_OK);
    EXPECT_EQ(builder->SetFiltergraph(other.get()), E_UNEXPECTED);
    ASSERT_EQ(builder->GetFiltergraph(got.put()), S_OK);
    EXPECT_EQ(got.get(), graph.get());

    auto writer = create<ICaptureGraphBuilder2>(CLSID_CaptureGraphBuilder2);
    ComPtr<IBaseFilter> mux;
    ASSERT_EQ(writer->SetOutputFileName(&MEDIASUBTYPE_Avi, tempPath(L"tvsim-own-graph.avi").c_str(), mux.put(), nullptr), S_OK);
    ASSERT_EQ(writer->GetFiltergraph(got.put()), S_OK);
    EXPECT_THAT(filterNames(got.get()), ElementsAre("File Writer", "Mux"));
}

// ---- RenderStream ----------------------------------------------------------------------------

using BuilderRenderStream = Builder;

TEST_F(BuilderRenderStream, StreamsItCannotBuildOrControlFailAndLeaveTheGraphAsItWas) {
    addCapture();
    auto outsider = make<TestCapture>(std::vector<MediaType>{smallVideo()});
    auto renderer = create<IBaseFilter>(CLSID_VideoRenderer);
    const struct { const GUID *category, *type; IUnknown* source; IBaseFilter* sink; HRESULT result; } cases[] = {
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Interleaved, capture.get(), nullptr, E_FAIL}, // types the device does not offer
        {&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Interleaved, capture.get(), nullptr, E_FAIL},
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Stream, capture.get(), nullptr, E_FAIL},
        {&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Stream, capture.get(), nullptr, E_FAIL},
        {&PIN_CATEGORY_CC, nullptr, capture.get(), nullptr, E_FAIL}, // nor a category
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, outsider.get(), nullptr, VFW_E_NOT_IN_GRAPH},
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get(), renderer.get(), VFW_E_NOT_IN_GRAPH},
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, nullptr, nullptr, E_POINTER},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(render(c.category, c.type, c.source, c.sink), c.result);
        EXPECT_THAT(filters(), ElementsAre("Video Capture"));
    }
    EXPECT_EQ(builder->ControlStream(nullptr, nullptr, capture.get(), nullptr, nullptr, 0, 0), E_POINTER);
    EXPECT_EQ(builder->ControlStream(&PIN_CATEGORY_PREVIEW, nullptr, capture.get(), nullptr, nullptr, 0, 0), E_FAIL);
    // The test device's capture pin has no IAMStreamControl.
    EXPECT_EQ(builder->ControlStream(&PIN_CATEGORY_CAPTURE, nullptr, nullptr, nullptr, nullptr, 0, 0), E_NOINTERFACE);
    simulation().faults().add({"VideoRenderer", "CoCreateInstance", static_cast<std::int32_t>(E_OUTOFMEMORY)});
    EXPECT_EQ(render(&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video, capture.get()), E_OUTOFMEMORY);
    EXPECT_THAT(filters(), ElementsAre("Video Capture"));
    auto demux = create<IBaseFilter>(CLSID_MPEG2Demultiplexer); // takes MPEG-2 streams only
    ASSERT_EQ(graph->AddFilter(demux.get(), L"Demux"), S_OK);
    EXPECT_FALSE(SUCCEEDED(render(&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video, capture.get(), demux.get())));
    EXPECT_THAT(filters(), ElementsAre("Demux", "Video Capture"));
    EXPECT_EQ(peerFilterName(capture->pin("Capture")), "");
}

TEST_F(BuilderRenderStream, CaptureWithoutARendererGoesToANewVideoRendererAndTakesThePin) {
    addCapture();
    EXPECT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get()), S_OK);
    EXPECT_THAT(filters(), ElementsAre("Video Renderer", "Video Capture"));
    EXPECT_EQ(peerFilterName(capture->pin("Capture")), "Video Renderer");
    EXPECT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get()), E_FAIL);
}

TEST_F(BuilderRenderStream, PreviewUsesThePreviewPinWhenTheDeviceHasOne) {
    addCapture({smallVideo()}, true);
    EXPECT_EQ(render(&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video, capture.get()), S_OK);
    EXPECT_EQ(peerFilterName(capture->pin("Preview")), "Video Renderer");
    EXPECT_EQ(peerFilterName(capture->pin("Capture")), "");
    EXPECT_THAT(filters(), ElementsAre("Video Renderer", "Video Capture"));
}

TEST_F(BuilderRenderStream, PreviewFromACaptureOnlyDeviceGoesThroughASmartTeeThatThenFeedsTheCapture) {
    addCapture();
    EXPECT_EQ(render(&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video, capture.get()), VFW_S_NOPREVIEWPIN);
    EXPECT_THAT(filters(), ElementsAre("Video Renderer", "Smart Tee", "Video Capture"));
    EXPECT_EQ(peerFilterName(capture->pin("Capture")), "Smart Tee");
    EXPECT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get(), aviMux(tempPath(L"tvsim-tee.avi")).get()), S_OK);
    ComPtr<IBaseFilter> tee;
    ASSERT_EQ(graph->FindFilterByName(L"Smart Tee", tee.put()), S_OK);
    EXPECT_EQ(peerFilterName(pinOf(tee.get(), L"Capture").get()), "Mux");
    EXPECT_EQ(peerFilterName(pinOf(tee.get(), L"Preview").get()), "Video Renderer");
}

TEST_F(BuilderRenderStream, AnMpeg2StreamWithoutARendererGoesToANewDemultiplexer) {
    addCapture({kProgramStream});
    EXPECT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Stream, capture.get()), S_OK);
    EXPECT_EQ(peerFilterName(capture->pin("Capture")), "MPEG-2 Demultiplexer");
}

// ---- FindInterface and FindPin -------------------------------------------------

using BuilderFind = Builder;

TEST_F(BuilderFind, InterfacesAndPinsAreFoundByCategoryAndTypeOrUpAndDownstreamAsTold) {
    addCapture({smallVideo()}, true);
    addCrossbarUpstream();
    ComPtr<IBaseFilter> mux = aviMux(tempPath(L"tvsim-find.avi"));
    const IID& config = IID_IAMStreamConfig, &flags = IID_IAMFilterMiscFlags, &sink = IID_IFileSinkFilter;
    const struct { const GUID *category, *type; IBaseFilter* filter; const IID& iid; HRESULT result; } cases[] = {
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get(), config, S_OK},
        {&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Interleaved, capture.get(), config, E_FAIL}, // no pin of the type: no search
        {&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video, capture.get(), config, E_NOINTERFACE},
        {&PIN_CATEGORY_CAPTURE, nullptr, capture.get(), flags, S_OK}, // the crossbar upstream
        {&LOOK_UPSTREAM_ONLY, nullptr, capture.get(), flags, S_OK},
        {nullptr, nullptr, capture.get(), flags, S_OK},
        {&LOOK_DOWNSTREAM_ONLY, nullptr, capture.get(), flags, E_NOINTERFACE},
        {&LOOK_UPSTREAM_ONLY, nullptr, crossbar.get(), flags, E_NOINTERFACE}, // not the filter itself
        {&PIN_CATEGORY_CAPTURE, nullptr, capture.get(), sink, E_NOINTERFACE}, // the writer is not downstream yet
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        ComPtr<IUnknown> found;
        EXPECT_EQ(builder->FindInterface(c.category, c.type, c.filter, c.iid, found.putVoid()), c.result);
        EXPECT_EQ(static_cast<bool>(found), c.result == S_OK);
        if (c.iid != config || !found) continue;
        ComPtr<IPin> owner;
        ASSERT_EQ(found->QueryInterface(IID_IPin, owner.putVoid()), S_OK);
        EXPECT_EQ(owner.get(), capture->pin("Capture"));
    }
    ComPtr<IPin> pin;
    ASSERT_EQ(builder->FindPin(capture.get(), PINDIR_OUTPUT, nullptr, &MEDIATYPE_Video, TRUE, 1, pin.put()), S_OK);
    EXPECT_EQ(pin.get(), capture->pin("Preview"));
    ASSERT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get(), mux.get()), S_OK);
    ComPtr<IFileSinkFilter> found;
    EXPECT_EQ(builder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, capture.get(), sink, found.putVoid()), S_OK);
    EXPECT_EQ(builder->FindInterface(&LOOK_DOWNSTREAM_ONLY, nullptr, capture.get(), sink, found.putVoid()), S_OK);

    // FindPin counts matching pins, tests a given pin, and can skip connected ones.
    ASSERT_EQ(builder->FindPin(capture.get(), PINDIR_OUTPUT, nullptr, &MEDIATYPE_Video, TRUE, 0, pin.put()), S_OK);
    EXPECT_EQ(pin.get(), capture->pin("Preview"));
    EXPECT_EQ(builder->FindPin(capture.get(), PINDIR_OUTPUT, nullptr, &MEDIATYPE_Video, FALSE, 2, pin.put()), E_FAIL);
    EXPECT_EQ(builder->FindPin(capture->pin("Capture"), PINDIR_OUTPUT, &PIN_CATEGORY_CAPTURE, nullptr, FALSE, 7, pin.put()), S_OK);
    EXPECT_EQ(builder->FindPin(capture->pin("Capture"), PINDIR_OUTPUT, &PIN_CATEGORY_PREVIEW, nullptr, FALSE, 0, pin.put()), E_FAIL);
    EXPECT_EQ(builder->FindPin(capture.get(), PINDIR_OUTPUT, &PIN_CATEGORY_CAPTURE, nullptr, TRUE, 0, pin.put()), E_FAIL);
    EXPECT_EQ(builder->FindPin(capture.get(), PINDIR_OUTPUT, &PIN_CATEGORY_CAPTURE, nullptr, FALSE, 0, pin.put()), S_OK);
}

// ---- file output -----------------------------------------------------------------------------

class BuilderFileOutput : public Builder {
protected:
    void SetUp() override {
        Builder::SetUp();
        DeleteFileW(file.c_str());
    }
    void TearDown() override {
        releaseGraph();
        DeleteFileW(file.c_str());
    }

    // Records from the capture pin into `file` for `seconds` of virtual time.
    void record(double seconds, bool stop = true) {
        ASSERT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, capture.get(), aviMux(file).get()), S_OK);
        runFor(seconds, stop);
    }

    std::wstring file = tempPath(L"tvsim-capture.avi");
};

TEST_F(BuilderFileOutput, OnlyAnAviFileNameBuildsMuxAndFileWriterAndAFailedWriterTakesTheMuxAwayAgain) {
    ComPtr<IBaseFilter> mux;
    ComPtr<IFileSinkFilter> sink;
    const GUID mpeg2FileWriter = {0x7dc2c665, 0x4033, 0x4caf, {0x92, 0x73, 0xf7, 0xd7, 0x97, 0xfb, 0x24, 0x5c}};
    EXPECT_EQ(builder->SetOutputFileName(&MEDIASUBTYPE_Asf, L"capture.asf", mux.put(), nullptr), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(builder->SetOutputFileName(&mpeg2FileWriter, L".\\capture.avi", mux.put(), nullptr), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(builder->SetOutputFileName(&MEDIASUBTYPE_Avi, L".\\capture.avi", nullptr, nullptr), E_POINTER);
    simulation().faults().add({"FileWriter", "CoCreateInstance", static_cast<std::int32_t>(E_OUTOFMEMORY), 1});
    EXPECT_EQ(builder->SetOutputFileName(&MEDIASUBTYPE_Avi, L".\\capture.avi", mux.put(), nullptr), E_OUTOFMEMORY);
    EXPECT_FALSE(mux);
    EXPECT_THAT(filters(), ElementsAre());

    ASSERT_EQ(builder->SetOutputFileName(&MEDIASUBTYPE_Avi, L".\\capture.avi", mux.put(), sink.put()), S_OK);
    EXPECT_THAT(filters(), ElementsAre("File Writer", "Mux"));
    EXPECT_EQ(peerFilterName(pinOf(mux.get(), L"AVI Out").get()), "File Writer");
    EXPECT_THAT(pinNames(mux.get()), ElementsAre("Input 01", "AVI Out"));
    LPOLESTR name = nullptr;
    ASSERT_EQ(sink->GetCurFile(&name, nullptr), S_OK);
    EXPECT_STREQ(name, L".\\capture.avi");
    CoTaskMemFree(name);
}

TEST_F(BuilderFileOutput, ThreeSecondsOfCaptureMakeAnAviOfNinetyFramesWithAMatchingIndex) {
    addCapture();
    record(3.0);
    const AviFile avi = AviFile::read(file);
    // 29.97 frames a second, at the connection's format.
    EXPECT_EQ(avi.summary(), "1 stream, frames 90/90/90/90, 333667/10000000 s, 160x120 YUY2/YUY2");
    for (const auto& frame : avi.frames) ASSERT_EQ(frame.size(), 160u * 120u * 2u);
    EXPECT_EQ(GetFileAttributesW((file + L".partial").c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(BuilderFileOutput, FramesShowBarsAndProgressWithAPictureBlackWithoutAndReleasingTheRunningGraphFinishesTheFile) {
    addCapture();
    record(1.0);
    const AviFile withPicture = AviFile::read(file);
    ASSERT_EQ(withPicture.frames.size(), 30u);
    const auto luma = [](const std::vector<BYTE>& frame, std::size_t x, std::size_t y) { return frame[(y * 160 + x) * 2]; };
    EXPECT_EQ(luma(withPicture.frames[0], 0, 0), 180);       // 75 % white bar
    EXPECT_LT(luma(withPicture.frames[0], 159, 0), 50);      // blue bar
    EXPECT_LT(luma(withPicture.frames[0], 159, 119), 50);    // progress band not yet full
    EXPECT_GT(luma(withPicture.frames[29], 159, 119), 200); // ... full at the last frame

    // Without a picture, recorded until the running graph is released, which finishes the file.
    capture->picture = false;
    runFor(1.0, false);
    releaseGraph();
    const AviFile black = AviFile::read(file);
    ASSERT_EQ(black.frames.size(), 30u);
    EXPECT_EQ(luma(black.frames[0], 0, 0), 16);
    EXPECT_EQ(luma(black.frames[29], 159, 119), 16);
}

TEST_F(BuilderFileOutput, AFileThatCannotBeWrittenIsNotLeftBehindAndTheGraphIsTold) {
    addCapture();
    file = tempPath(L"no-such-directory\\capture.avi");
    record(0.5);
    EXPECT_EQ(GetFileAttributesW(file.c_str()), INVALID_FILE_ATTRIBUTES);
    long code = 0;
    LONG_PTR param1 = 0, param2 = 0;
    ASSERT_EQ(query<IMediaEventEx>(graph)->GetEvent(&code, &param1, &param2, 0), S_OK);
    EXPECT_EQ(code, EC_ERRORABORT);
    // The same failure while the graph is being released in the running state.
    runFor(0.0, false);
    releaseGraph();
    EXPECT_EQ(GetFileAttributesW(file.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(BuilderFileOutput, TheScenarioCaptureDeviceRecordsAtItsOwnFormat) {
    ComPtr<IBaseFilter> device = createScenarioFilter(simulation(), "hybridCapture", "Virtual Hybrid TV Capture");
    ASSERT_TRUE(device);
    ASSERT_EQ(graph->AddFilter(device.get(), L"Video Capture"), S_OK);
    ComPtr<IBaseFilter> mux = aviMux(file);
    // The device offers video only: the interleaved form fails and the video form is taken.
    EXPECT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Interleaved, device.get(), mux.get()), E_FAIL);
    ASSERT_EQ(render(&PIN_CATEGORY_CAPTURE, &MEDIATYPE_Video, device.get(), mux.get()), S_OK);
    runFor(0.5);
    EXPECT_THAT(AviFile::read(file).summary(), ::testing::StartsWith("1 stream, frames 15/15/15/15, 333667/10000000 s, 720x480 "));
}

TEST_F(BuilderFileOutput, APreallocatedCaptureFileHasTheAskedSizeAndCanBeCopied) {
    ASSERT_EQ(builder->AllocCapFile(file.c_str(), 1 << 20), S_OK);
    WIN32_FILE_ATTRIBUTE_DATA data{};
    ASSERT_TRUE(GetFileAttributesExW(file.c_str(), GetFileExInfoStandard, &data));
    EXPECT_EQ(data.nFileSizeLow, 1u << 20);
    std::wstring copy = file + L".copy";
    EXPECT_EQ(builder->CopyCaptureFile(file.data(), copy.data(), FALSE, nullptr), S_OK);
    EXPECT_NE(GetFileAttributesW(copy.c_str()), INVALID_FILE_ATTRIBUTES);
    DeleteFileW(copy.c_str());
}

// ---- the filters themselves ------------------------------------------------------------------

using BuilderFilters = Builder;

TEST_F(BuilderFilters, TheSmartTeeOffersItsInputsTypeOnlyOnceTheInputIsConnected) {
    addCapture();
    auto tee = create<IBaseFilter>(CLSID_SmartTee);
    ASSERT_EQ(graph->AddFilter(tee.get(), L"Smart Tee"), S_OK);
    EXPECT_THAT(pinNames(tee.get()), ElementsAre("Input", "Capture", "Preview"));
    EXPECT_THAT(subtypesOf(pinOf(tee.get(), L"Preview").get()), ElementsAre());
    ASSERT_EQ(graph->Connect(capture->pin("Capture"), pinOf(tee.get(), L"Input").get()), S_OK);
    EXPECT_THAT(subtypesOf(pinOf(tee.get(), L"Capture").get()), ElementsAre(MEDIASUBTYPE_YUY2));
    EXPECT_THAT(subtypesOf(pinOf(tee.get(), L"Preview").get()), ElementsAre(MEDIASUBTYPE_YUY2));
}

TEST_F(BuilderFilters, TheDemultiplexerMakesMapsAndDeletesNamedOutputPins) {
    auto demux = create<IBaseFilter>(CLSID_MPEG2Demultiplexer);
    ComPtr<IMpeg2Demultiplexer> control;
    ASSERT_EQ(demux.as(control), S_OK);
    AM_MEDIA_TYPE video{};
    video.majortype = MEDIATYPE_Video;
    video.subtype = MEDIASUBTYPE_MPEG2_VIDEO;
    wchar_t name[] = L"MpegVideo";
    ComPtr<IPin> pin, again;
    ASSERT_EQ(control->CreateOutputPin(&video, name, pin.put()), S_OK);
    EXPECT_EQ(control->CreateOutputPin(&video, name, again.put()), VFW_E_DUPLICATE_NAME);
    EXPECT_THAT(pinNames(demux.get()), ElementsAre("MPEG-2 Stream", "MpegVideo"));

    ComPtr<IMPEG2StreamIdMap> map;
    ASSERT_EQ(pin->QueryInterface(IID_IMPEG2StreamIdMap, map.putVoid()), S_OK);
    EXPECT_EQ(map->MapStreamId(0xE0, MPEG2_PROGRAM_ELEMENTARY_STREAM, 0, 0), S_OK);
    EXPECT_EQ(map->MapStreamId(0x10, MPEG2_PROGRAM_ELEMENTARY_STREAM, 0, 0), E_INVALIDARG);
    ComPtr<IEnumStreamIdMap> maps;
    ASSERT_EQ(map->EnumStreamIdMap(maps.put()), S_OK);
    STREAM_ID_MAP entry{};
    ULONG received = 0;
    ASSERT_EQ(maps->Next(1, &entry, &received), S_OK);
    EXPECT_EQ(entry.stream_id, 0xE0u);
    EXPECT_EQ(maps->Next(1, &entry, &received), S_FALSE);
    ULONG unknown = 0xC0;
    EXPECT_EQ(map->UnmapStreamId(1, &unknown), E_INVALIDARG);

    AM_MEDIA_TYPE audio{};
    audio.majortype = MEDIATYPE_Audio;
    audio.subtype = MEDIASUBTYPE_MPEG2_AUDIO;
    ASSERT_EQ(control->SetOutputPinMediaType(name, &audio), S_OK);
    EXPECT_THAT(subtypesOf(pinOf(demux.get(), L"MpegVideo").get()), ElementsAre(MEDIASUBTYPE_MPEG2_AUDIO));
    ASSERT_EQ(control->DeleteOutputPin(name), S_OK);
    EXPECT_THAT(pinNames(demux.get()), ElementsAre("MPEG-2 Stream"));
    EXPECT_EQ(control->DeleteOutputPin(name), VFW_E_NOT_FOUND);
}

} // namespace
} // namespace tvsim
