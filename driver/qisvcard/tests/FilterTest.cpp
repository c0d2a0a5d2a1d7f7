// The capture filter on its own, as a filter graph meets it: its interfaces and lifetime, what
// it connects to and with which allocator, and the frames it delivers while running.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "CaptureFilter.h"
#include "ClassFactory.h"
#include "MediaTypes.h"
#include "Module.h"

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow();

namespace qisvcard {
namespace {

using tunekit::ComPtr;

ComPtr<IBaseFilter> makeFilter() {
    ComPtr<IBaseFilter> filter;
    filter.attach(new CaptureFilter(cardFromScenario("hybrid")));
    return filter;
}

ComPtr<IPin> pinNamed(IBaseFilter& filter, const wchar_t* name) {
    ComPtr<IPin> pin;
    filter.FindPin(name, pin.put());
    return pin;
}

bool offers(IUnknown& object, REFIID iid) {
    ComPtr<IUnknown> found;
    return SUCCEEDED(object.QueryInterface(iid, found.putVoid())) && found;
}

// A downstream input pin that accepts one subtype and records what it receives.
class Receiver final : public IPin, public IMemInputPin {
public:
    explicit Receiver(GUID accepted, bool ownAllocator) : accepted_(accepted), ownAllocator_(ownAllocator) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown || iid == IID_IPin) *object = static_cast<IPin*>(this);
        else if (iid == IID_IMemInputPin) *object = static_cast<IMemInputPin*>(this);
        else return *object = nullptr, E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
    STDMETHODIMP_(ULONG) Release() override { return --references_; } // lives on the test's stack

    STDMETHODIMP Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_UNEXPECTED; }
    STDMETHODIMP ReceiveConnection(IPin* from, const AM_MEDIA_TYPE* type) override {
        if (type->subtype != accepted_) return VFW_E_TYPE_NOT_ACCEPTED;
        from_ = ComPtr<IPin>(from);
        subtype_ = type->subtype;
        return S_OK;
    }
    STDMETHODIMP Disconnect() override { from_.reset(); return S_OK; }
    STDMETHODIMP ConnectedTo(IPin** pin) override { *pin = nullptr; return VFW_E_NOT_CONNECTED; }
    STDMETHODIMP ConnectionMediaType(AM_MEDIA_TYPE*) override { return VFW_E_NOT_CONNECTED; }
    STDMETHODIMP QueryPinInfo(PIN_INFO*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryDirection(PIN_DIRECTION* direction) override { *direction = PINDIR_INPUT; return S_OK; }
    STDMETHODIMP QueryId(LPWSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP QueryAccept(const AM_MEDIA_TYPE* type) override { return type->subtype == accepted_ ? S_OK : S_FALSE; }
    STDMETHODIMP EnumMediaTypes(IEnumMediaTypes**) override { return E_NOTIMPL; }
    STDMETHODIMP QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    STDMETHODIMP EndOfStream() override { return S_OK; }
    STDMETHODIMP BeginFlush() override { return S_OK; }
    STDMETHODIMP EndFlush() override { return S_OK; }
    STDMETHODIMP NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    STDMETHODIMP GetAllocator(IMemAllocator** allocator) override {
        *allocator = nullptr;
        if (!ownAllocator_) return VFW_E_NO_ALLOCATOR;
        return CoCreateInstance(CLSID_MemoryAllocator, nullptr, CLSCTX_INPROC_SERVER, IID_IMemAllocator,
                                reinterpret_cast<void**>(allocator));
    }
    STDMETHODIMP NotifyAllocator(IMemAllocator* allocator, BOOL) override {
        allocator->GetProperties(&properties_);
        notified_ = true;
        return S_OK;
    }
    STDMETHODIMP GetAllocatorRequirements(ALLOCATOR_PROPERTIES*) override { return E_NOTIMPL; }
    STDMETHODIMP Receive(IMediaSample* sample) override {
        if (keepSamples_) kept_.push_back(ComPtr<IMediaSample>(sample));
        REFERENCE_TIME start = 0, end = 0;
        sample->GetTime(&start, &end);
        std::lock_guard<std::mutex> lock(mutex_);
        samples_.push_back({start, end, sample->IsDiscontinuity() == S_OK, sample->GetActualDataLength()});
        return S_OK;
    }
    STDMETHODIMP ReceiveMultiple(IMediaSample**, long, long*) override { return E_NOTIMPL; }
    STDMETHODIMP ReceiveCanBlock() override { return S_FALSE; }

    struct Sample {
        REFERENCE_TIME start, end;
        bool discontinuity;
        long bytes;
    };
    std::vector<Sample> samples() {
        std::lock_guard<std::mutex> lock(mutex_);
        return samples_;
    }

    GUID accepted_;
    bool ownAllocator_;
    bool keepSamples_ = false;                // holds every buffer, as a stalled renderer would
    std::vector<ComPtr<IMediaSample>> kept_;
    GUID subtype_ = GUID_NULL;
    ALLOCATOR_PROPERTIES properties_{};
    bool notified_ = false;
    ComPtr<IPin> from_;

private:
    std::atomic<long> references_{1};
    std::mutex mutex_;
    std::vector<Sample> samples_;
};

constexpr long kFrameBytesRgb24 = 720 * 480 * 3;
constexpr long kFrameBytesYuy2 = 720 * 480 * 2;
constexpr REFERENCE_TIME kFramePeriod = 333667; // 29.97 frames/s

TEST(CaptureFilter, AnswersOnlyForWhatItHas) {
    ComPtr<IBaseFilter> filter = makeFilter();
    ComPtr<IPin> capture = pinNamed(*filter.get(), L"Capture");
    ASSERT_TRUE(capture);
    struct Case {
        IUnknown* object;
        IID iid;
        bool offered;
    } cases[] = {
        {filter.get(), IID_IBaseFilter, true},      {filter.get(), IID_IMediaFilter, true},
        {filter.get(), IID_IPersist, true},         {filter.get(), IID_IAMFilterMiscFlags, true},
        {filter.get(), IID_IAMTVTuner, true},       {filter.get(), IID_IAMTuner, true},
        {filter.get(), IID_IAMCrossbar, true},      {filter.get(), IID_IAMStreamConfig, false},
        {filter.get(), IID_IPin, false},            {filter.get(), IID_IKsPropertySet, false},
        {capture.get(), IID_IPin, true},            {capture.get(), IID_IKsPropertySet, true},
        {capture.get(), IID_IAMStreamConfig, true}, {capture.get(), IID_IBaseFilter, false},
        {capture.get(), IID_IMemInputPin, false},
    };
    for (const Case& c : cases) EXPECT_EQ(offers(*c.object, c.iid), c.offered);

    // The tuner is part of the filter: asked for IUnknown it gives the filter's.
    ComPtr<IAMTVTuner> tuner;
    ASSERT_EQ(filter.as(tuner), S_OK);
    ComPtr<IUnknown> viaTuner, viaFilter;
    tuner.as(viaTuner);
    filter.as(viaFilter);
    EXPECT_EQ(viaTuner.get(), viaFilter.get());
}

TEST(CaptureFilter, PinsNameTheirCategory) {
    ComPtr<IBaseFilter> filter = makeFilter();
    for (const auto& [name, category] : {std::pair{L"Capture", PIN_CATEGORY_CAPTURE}, std::pair{L"Preview", PIN_CATEGORY_PREVIEW}}) {
        ComPtr<IKsPropertySet> properties;
        ASSERT_EQ(pinNamed(*filter.get(), name).as(properties), S_OK);
        GUID read = GUID_NULL;
        DWORD size = 0;
        EXPECT_EQ(properties->Get(AMPROPSETID_Pin, AMPROPERTY_PIN_CATEGORY, nullptr, 0, &read, sizeof read, &size), S_OK);
        EXPECT_EQ(read, category);
        EXPECT_EQ(size, sizeof(GUID));
    }
}

TEST(CaptureFilter, TheDllMayUnloadOnlyWhenNothingIsAlive) {
    ASSERT_EQ(DllCanUnloadNow(), S_OK);
    ComPtr<IBaseFilter> filter = makeFilter();
    ComPtr<IEnumPins> pins;
    ASSERT_EQ(filter->EnumPins(pins.put()), S_OK);
    filter.reset();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE); // the enumerator holds the filter
    pins.reset();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
    ClassFactory* factory = new ClassFactory(createCaptureFilter);
    factory->LockServer(TRUE);
    factory->Release();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    ComPtr<IClassFactory> again;
    again.attach(new ClassFactory(createCaptureFilter));
    again->LockServer(FALSE);
    again.reset();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

struct Negotiation {
    GUID accepted;
    bool receiverAllocator;
    HRESULT connected;
    long frameBytes;
};

// Allocators are COM objects: connecting needs COM on the calling thread, as in any graph.
class Connecting : public testing::TestWithParam<Negotiation> {
protected:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    void TearDown() override { CoUninitialize(); }
};

TEST_P(Connecting, AgreesOnATypeAndAnAllocatorOrStaysUnconnected) {
    const Negotiation& n = GetParam();
    ComPtr<IBaseFilter> filter = makeFilter();
    ComPtr<IPin> capture = pinNamed(*filter.get(), L"Capture");
    Receiver receiver(n.accepted, n.receiverAllocator);
    EXPECT_EQ(capture->Connect(&receiver, nullptr), n.connected);
    ComPtr<IPin> peer;
    capture->ConnectedTo(peer.put());
    if (FAILED(n.connected)) {
        EXPECT_FALSE(peer);
        EXPECT_FALSE(receiver.notified_);
        return;
    }
    EXPECT_EQ(peer.get(), static_cast<IPin*>(&receiver));
    EXPECT_EQ(receiver.subtype_, n.accepted);
    EXPECT_TRUE(receiver.notified_);
    EXPECT_GE(receiver.properties_.cBuffers, 4);
    EXPECT_GE(receiver.properties_.cbBuffer, n.frameBytes);
    EXPECT_EQ(capture->Disconnect(), S_OK);
    EXPECT_EQ(capture->Disconnect(), S_FALSE);
}

INSTANTIATE_TEST_SUITE_P(Types, Connecting,
                         testing::Values(Negotiation{MEDIASUBTYPE_RGB24, true, S_OK, kFrameBytesRgb24},
                                         Negotiation{MEDIASUBTYPE_YUY2, false, S_OK, kFrameBytesYuy2},
                                         Negotiation{MEDIASUBTYPE_RGB32, true, VFW_E_NO_ACCEPTABLE_TYPES, 0}));

TEST(CaptureFilter, DeliversTimeStampedFramesWhileRunningAndNoneAfterStop) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        ComPtr<IBaseFilter> filter = makeFilter();
        Receiver receiver(MEDIASUBTYPE_RGB24, true);
        ASSERT_EQ(pinNamed(*filter.get(), L"Capture")->Connect(&receiver, nullptr), S_OK);
        ComPtr<IReferenceClock> clock;
        ASSERT_EQ(CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_IReferenceClock, clock.putVoid()), S_OK);
        ASSERT_EQ(filter->SetSyncSource(clock.get()), S_OK);

        EXPECT_EQ(filter->Pause(), VFW_S_CANT_CUE);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_TRUE(receiver.samples().empty()); // nothing while paused
        REFERENCE_TIME now = 0;
        clock->GetTime(&now);
        ASSERT_EQ(filter->Run(now), S_OK);
        std::this_thread::sleep_for(std::chrono::milliseconds(1000));
        ASSERT_EQ(filter->Stop(), S_OK);
        const auto samples = receiver.samples();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_EQ(receiver.samples().size(), samples.size()); // the thread has ended

        ASSERT_GE(samples.size(), 27u); // one second at 29.97 frames/s, within 10 %
        EXPECT_LE(samples.size(), 33u);
        EXPECT_TRUE(samples.front().discontinuity);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            EXPECT_EQ(samples[i].end - samples[i].start, kFramePeriod);
            EXPECT_EQ(samples[i].bytes, kFrameBytesRgb24);
            if (i) EXPECT_EQ(samples[i].start, samples[i - 1].end);
            if (i) EXPECT_FALSE(samples[i].discontinuity);
        }
        ASSERT_EQ(pinNamed(*filter.get(), L"Capture")->Disconnect(), S_OK);
        ASSERT_EQ(filter->SetSyncSource(nullptr), S_OK);
    }
    CoUninitialize();
}

// Starts `filter` on a new system clock, now.
ComPtr<IReferenceClock> runOnSystemClock(IBaseFilter& filter) {
    ComPtr<IReferenceClock> clock;
    if (FAILED(CoCreateInstance(CLSID_SystemClock, nullptr, CLSCTX_INPROC_SERVER, IID_IReferenceClock, clock.putVoid())))
        return clock;
    filter.SetSyncSource(clock.get());
    REFERENCE_TIME now = 0;
    clock->GetTime(&now);
    filter.Run(now);
    return clock;
}

TEST(CaptureFilter, StopsWhileItsThreadWaitsForABufferTheReceiverHolds) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    {
        ComPtr<IBaseFilter> filter = makeFilter();
        Receiver receiver(MEDIASUBTYPE_RGB24, true);
        receiver.keepSamples_ = true;
        ASSERT_EQ(pinNamed(*filter.get(), L"Capture")->Connect(&receiver, nullptr), S_OK);
        ASSERT_TRUE(runOnSystemClock(*filter.get()));
        std::this_thread::sleep_for(std::chrono::milliseconds(500)); // every buffer held after 4 frames
        EXPECT_EQ(receiver.samples().size(), static_cast<std::size_t>(receiver.properties_.cBuffers));
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(filter->Stop(), S_OK);
        EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
        receiver.kept_.clear();
        pinNamed(*filter.get(), L"Capture")->Disconnect();
        filter->SetSyncSource(nullptr);
    }
    CoUninitialize();
}

struct FormatChoice {
    GUID subtype;
    HRESULT set;
    GUID connectedWith; // GUID_NULL: a receiver of RGB24 is then refused
};

class StreamConfig : public testing::TestWithParam<FormatChoice> {
protected:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    void TearDown() override { CoUninitialize(); }
};

// SetFormat narrows what the pin offers to the chosen format; the capabilities list both.
TEST_P(StreamConfig, TheChosenFormatIsTheOneConnected) {
    const FormatChoice& c = GetParam();
    ComPtr<IBaseFilter> filter = makeFilter();
    ComPtr<IPin> capture = pinNamed(*filter.get(), L"Capture");
    ComPtr<IAMStreamConfig> config;
    ASSERT_EQ(capture.as(config), S_OK);
    int count = 0, size = 0;
    ASSERT_EQ(config->GetNumberOfCapabilities(&count, &size), S_OK);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(size, static_cast<int>(sizeof(VIDEO_STREAM_CONFIG_CAPS)));

    AM_MEDIA_TYPE* chosen = nullptr;
    for (int i = 0; i < count; ++i) {
        AM_MEDIA_TYPE* type = nullptr;
        VIDEO_STREAM_CONFIG_CAPS caps{};
        ASSERT_EQ(config->GetStreamCaps(i, &type, reinterpret_cast<BYTE*>(&caps)), S_OK);
        EXPECT_EQ(caps.MaxOutputSize.cx, 720);
        EXPECT_EQ(caps.MaxOutputSize.cy, 480);
        EXPECT_EQ(caps.MinFrameInterval, kFramePeriod);
        if (type->subtype == c.subtype) chosen = type;
        else deleteMediaType(type);
    }
    ASSERT_NE(chosen, nullptr);
    if (c.set == VFW_E_INVALIDMEDIATYPE) reinterpret_cast<VIDEOINFOHEADER*>(chosen->pbFormat)->bmiHeader.biWidth = 640;
    EXPECT_EQ(config->SetFormat(chosen), c.set);
    deleteMediaType(chosen);

    Receiver receiver(MEDIASUBTYPE_RGB24, true);
    EXPECT_EQ(capture->Connect(&receiver, nullptr), c.connectedWith == GUID_NULL ? VFW_E_NO_ACCEPTABLE_TYPES : S_OK);
    if (c.connectedWith != GUID_NULL) {
        AM_MEDIA_TYPE* current = nullptr;
        ASSERT_EQ(config->GetFormat(&current), S_OK);
        EXPECT_EQ(current->subtype, c.connectedWith);
        deleteMediaType(current);
        capture->Disconnect();
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, StreamConfig,
                         testing::Values(FormatChoice{MEDIASUBTYPE_RGB24, S_OK, MEDIASUBTYPE_RGB24},
                                         FormatChoice{MEDIASUBTYPE_YUY2, S_OK, GUID_NULL},
                                         FormatChoice{MEDIASUBTYPE_RGB24, VFW_E_INVALIDMEDIATYPE, MEDIASUBTYPE_RGB24}));

} // namespace
} // namespace qisvcard
