// The digital tests' blocks on the virtual system: the graph toolkit, filter loading, signal
// detection and ATSC tuning; what they log, leave in the graph and how they fail.
#include <algorithm>
#include <climits>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "digital/AtscTuning.h"
#include "digital/ClearQamTest.h"
#include "digital/FilterLoading.h"
#include "digital/GraphToolkit.h"
#include "digital/SignalDetection.h"
#include "frame/ComFactory.h"
#include "qis/Exception.h"
#include "tunekit/ComPtr.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using testing::journalArguments;
using tunekit::ComPtr;

constexpr const char* kPciLocator = R"(PCI\\VEN_14F1&DEV_8852&SUBSYS_71A10070&REV_04\\4&2A9C7E1B&0&00E0)";
constexpr const char* kPciPath =
    R"(\\\\?\\pci#ven_14f1&dev_8852&subsys_71a10070&rev_04#4&2a9c7e1b&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{8b884e32-fbca-11d4-b0a3-00a0c9f21fc7})";
constexpr const char* kUsbLocator = R"(USB\\VID_2040&PID_7070\\4034567890)";
constexpr const char* kUsbPath =
    R"(\\\\?\\usb#vid_2040&pid_7070#4034567890#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{5b0d4ab4-e5bb-4a3a-b0c2-1f1e8f3e3f4d})";
constexpr const char* kOtherPath =
    R"(\\\\?\\pci#ven_1131&dev_7160&subsys_00000000&rev_03#4&1b2e3f4c&0&00e0#{71985f48-1ca1-11d3-9cc8-00c04f7971e0}\\{1a2b3c4d-0000-0000-0000-000000000001})";

std::string tunerMoniker(const std::string& name, const std::string& path, const std::string& filter = "tuner") {
    return R"({"friendlyName": ")" + name + R"(", )" + (path.empty() ? "" : R"("devicePath": ")" + path + R"(", )") +
           R"("filter": ")" + filter + R"("})";
}

// A digital card: `tuners` are the tuner category's monikers, `tuner` the tuner filter's JSON.
std::string digitalCard(const std::string& properties, const std::string& tuners, const std::string& tuner = R"({"kind": "bdaTuner"})",
                        const std::string& extra = "") {
    return R"({"device": {"name": "Digital card", "capabilities": ["VideoCapture", "DigitalTVTuner"], "properties": {)" + properties +
           R"(}},
               "categories": {"BDANetworkProvider": [{"friendlyName": "Microsoft Network Provider", "filter": "provider"}],
                              "BDANetworkTuner": [)" + tuners + R"(],
                              "BDAReceiverComponent": [{"friendlyName": "Receiver", "filter": "receiver"}],
                              "BDATransportInformation": [{"friendlyName": "TIF", "filter": "tif"}]},
               "filters": {"provider": {"kind": "networkProvider"}, "tuner": )" + tuner + R"(,
                           "receiver": {"kind": "bdaReceiver"}, "tif": {"kind": "bdaTransportInformation"},
                           "otherTuner": {"kind": "bdaTuner"}}
               )" + extra + "}";
}

// A graph holding the generic network provider, on the virtual system of one scenario.
class DigitalGraph : public ::testing::Test {
protected:
    // References into one simulation must go before it does.
    virtual void release() {
        tuner_.reset();
        provider_.reset();
        graph_.reset();
    }
    void load(const std::string& scenario) {
        release();
        system_.reset();
        system_ = std::make_unique<testing::SimulatedSystem>(scenario);
        ASSERT_HRESULT_SUCCEEDED(createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_IGraphBuilder, graph_.putVoid()));
        provider_.attach(getNetworkProvider());
        ASSERT_TRUE(provider_);
        ASSERT_HRESULT_SUCCEEDED(graph_->AddFilter(provider_.get(), L"Microsoft Network Provider"));
    }
    bool loadTuner(bool strict) {
        tuner_.reset();
        return LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, tuner_.put(), provider_.get(), true, graph_.get(),
                          system_->device(), strict);
    }
    std::string tunerName() {
        FILTER_INFO info{};
        if (!tuner_ || FAILED(tuner_->QueryFilterInfo(&info))) return "(none)";
        if (info.pGraph) info.pGraph->Release();
        return qis::String(info.achName).utf8();
    }
    void TearDown() override { release(); }

    std::unique_ptr<testing::SimulatedSystem> system_;
    ComPtr<IGraphBuilder> graph_;
    ComPtr<IBaseFilter> provider_;
    ComPtr<IBaseFilter> tuner_;
};

// ---- graph toolkit ---------------------------------------------------------------------------

class GraphToolkit : public ::testing::Test {
protected:
    void SetUp() override {
        testing::initialiseCatalogue();
        createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_IGraphBuilder, graph_.putVoid());
        ASSERT_TRUE(graph_);
    }
    ComPtr<IBaseFilter> add(const CLSID& clsid, const wchar_t* name) {
        ComPtr<IBaseFilter> filter;
        createInstance(clsid, nullptr, CLSCTX_ALL, IID_IBaseFilter, filter.putVoid());
        EXPECT_TRUE(filter);
        if (filter) EXPECT_HRESULT_SUCCEEDED(graph_->AddFilter(filter.get(), name));
        return filter;
    }
    ULONG filterCount() {
        ComPtr<IEnumFilters> filters;
        graph_->EnumFilters(filters.put());
        ULONG count = 0;
        for (ComPtr<IBaseFilter> filter; filters->Next(1, filter.put(), nullptr) == S_OK;) ++count;
        return count;
    }
    double seconds() { return std::chrono::duration<double>(tvsim::Simulation::current().elapsed()).count(); }

    testing::SimulatedSystem system_;
    ComPtr<IGraphBuilder> graph_;
};

TEST_F(GraphToolkit, AnUpstreamFilterWithoutAFreeOutputConnectsNothing) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    const ComPtr<IBaseFilter> writer = add(CLSID_FileWriter, L"File Writer");
    testing::LogLines log;
    EXPECT_FALSE(ConnectFilters(renderer.get(), writer.get(), graph_.get()));
    EXPECT_THAT(log.lines(), ElementsAre("IBaseFilter::EnumPins(Upstream)", "Starting in pin connection search",
                                         "IPin::QueryPinInfo(Upstream)", "Checking if not connected try to connect it",
                                         "Completed in pin search"));
}

TEST_F(GraphToolkit, RenderingAFilterWithoutOutputsIsAnImpossibleGraph) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    EXPECT_EQ(testing::assertionOf([&] { renderGraph(renderer.get(), graph_.get()); }), "false");
    EXPECT_EQ(testing::assertionOf([&] { clearqam::renderGraph(renderer.get(), graph_.get()); }), "false");
}

// The count line is logged from as many places into its text as there are filters.
TEST_F(GraphToolkit, RemoveFiltersTakesEveryFilterOutHalfASecondEachWithTheOffsetCountLine) {
    for (const auto& [filters, countLine] : {std::pair{0, "Number of filters to remove: "}, std::pair{3, "ber of filters to remove: "},
                                             std::pair{31, ""}}) {
        SCOPED_TRACE(filters);
        for (int i = 0; i < filters; ++i) add(i == 0 ? CLSID_VideoRenderer : CLSID_FileWriter, L"Filter");
        testing::LogLines log;
        const double started = seconds();
        removeFilters(graph_.get());
        EXPECT_GE(seconds() - started, 0.5 * filters);
        EXPECT_EQ(filterCount(), 0u);
        ASSERT_EQ(log.lines().size(), filters + 1u);
        EXPECT_EQ(log.lines()[0], countLine);
        for (int i = 0; i < filters; ++i)
            EXPECT_THAT(log.lines()[i + 1], HasSubstr("Removed filter #" + std::to_string(i) + " Refcount after release: "));
        EXPECT_EQ(system_.liveObjects().find("VideoRenderer"), std::string::npos) << system_.liveObjects();
    }
}

// ---- filter loading --------------------------------------------------------------------------

using FilterLoading = DigitalGraph;

TEST_F(FilterLoading, WithoutStrictMatchTheFirstTunerThatConnectsWinsWhateverCardItIs) {
    // The first "tuner" is a receiver: its input does not take the provider's output.
    load(digitalCard(R"("DigitalFriendlyName": "My Tuner")", tunerMoniker("Broken Tuner", "", "receiver") + ", " +
                                                               tunerMoniker("Other Card Tuner", kOtherPath, "otherTuner") + ", " +
                                                               tunerMoniker("My Tuner", kPciPath)));
    testing::LogLines log;
    ASSERT_TRUE(loadTuner(false));
    EXPECT_EQ(tunerName(), "Other Card Tuner");
    EXPECT_THAT(journalArguments("FilterGraph", "AddFilter"), ElementsAre("Microsoft Network Provider", "Broken Tuner", "Other Card Tuner"));
    EXPECT_EQ(journalArguments("FilterGraph", "RemoveFilter").size(), 1u) << "the tuner that did not connect is taken out again";
    EXPECT_THAT(log.lines(), Contains("IGraphBuilder::AddFilter -> Broken Tuner"));
    EXPECT_EQ(log.lines().back(), "Found filter");
}

TEST_F(FilterLoading, StrictMatchOnAUsbDeviceGoesByNameAlone) {
    const std::string locator = std::string(R"("DeviceLocator": ")") + kUsbLocator + "\"";
    load(digitalCard(R"("DigitalFriendlyName": "USB Tuner", )" + locator, tunerMoniker("USB Tuner", kUsbPath)));
    EXPECT_TRUE(loadTuner(true));
    load(digitalCard(R"("DigitalFriendlyName": "Renamed", )" + locator, tunerMoniker("USB Tuner", kUsbPath)));
    testing::LogLines log;
    EXPECT_FALSE(loadTuner(true)) << "a USB locator is never brought into the path's form";
    EXPECT_EQ(log.lines().back(), "Didn't find filter");
}

// A filter that cannot be bound is skipped; an empty category is a failure.
TEST_F(FilterLoading, ATunerThatCannotBeBoundIsSkippedAndNoTunerAtAllFails) {
    load(digitalCard(R"("DigitalFriendlyName": "x")", tunerMoniker("First", kOtherPath, "otherTuner") + ", " + tunerMoniker("Second", kPciPath)));
    testing::addFault("Moniker: First", "BindToObject");
    EXPECT_TRUE(loadTuner(false));
    EXPECT_EQ(tunerName(), "Second");
    load(digitalCard(R"("DigitalFriendlyName": "x")", ""));
    testing::LogLines log;
    EXPECT_FALSE(loadTuner(false));
    EXPECT_THAT(log.lines().back(), "ERROR: ICreateDevEnum::CreateClassEnumerator failed. hr=1");
}

// The broken tuner that did not connect cannot be taken out again.
TEST_F(FilterLoading, AFailedRemovalEndsTheSearch) {
    load(digitalCard(R"("DigitalFriendlyName": "x")", tunerMoniker("Broken Tuner", "", "receiver") + ", " + tunerMoniker("Second", kPciPath)));
    testing::addFault("FilterGraph", "RemoveFilter");
    testing::LogLines log;
    EXPECT_FALSE(loadTuner(false));
    EXPECT_THAT(log.lines().back(), HasSubstr("ERROR: IGraphBuilder::RemoveFilter(pFilter) failed. hr="));
    EXPECT_THAT(journalArguments("FilterGraph", "AddFilter"), ElementsAre("Microsoft Network Provider", "Broken Tuner"));
}

// ---- the sample grabber's stream and the renderer's frame counter --------------------------

// A sample grabber filter that reports whatever sizes it is told, and a renderer whose frame
// counter reads as scripted: the misbehaving drivers no virtual card plays.
class ScriptedDriver final : public IBaseFilter, public ISampleGrabber, public IQualProp {
public:
    std::vector<long> sizes;  // what each GetCurrentBuffer reports, in order
    std::vector<int> counts;  // what each get_FramesDrawn reports, in order, the last one ever after
    std::size_t sizeCalls = 0, countCalls = 0;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (iid == IID_ISampleGrabber) *out = static_cast<ISampleGrabber*>(this);
        else if (iid == IID_IQualProp) *out = static_cast<IQualProp*>(this);
        else if (iid == IID_IUnknown || iid == IID_IBaseFilter) *out = static_cast<IBaseFilter*>(this);
        else *out = nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP GetCurrentBuffer(long* size, long* buffer) override {
        if (buffer) std::memset(buffer, 0x47, static_cast<std::size_t>(*size)); // no more than it was given
        *size = sizes.at(sizeCalls++);
        return S_OK;
    }
    STDMETHODIMP get_FramesDrawn(int* count) override {
        *count = counts.at(std::min(countCalls++, counts.size() - 1));
        return S_OK;
    }
    // Nothing else is called.
    STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    STDMETHODIMP Stop() override { return E_NOTIMPL; }
    STDMETHODIMP Pause() override { return E_NOTIMPL; }
    STDMETHODIMP Run(REFERENCE_TIME) override { return E_NOTIMPL; }
    STDMETHODIMP GetState(DWORD, FILTER_STATE*) override { return E_NOTIMPL; }
    STDMETHODIMP SetSyncSource(IReferenceClock*) override { return E_NOTIMPL; }
    STDMETHODIMP GetSyncSource(IReferenceClock**) override { return E_NOTIMPL; }
    STDMETHODIMP EnumPins(IEnumPins**) override { return E_NOTIMPL; }
    STDMETHODIMP FindPin(LPCWSTR, IPin**) override { return E_NOTIMPL; }
    STDMETHODIMP QueryFilterInfo(FILTER_INFO*) override { return E_NOTIMPL; }
    STDMETHODIMP JoinFilterGraph(IFilterGraph*, LPCWSTR) override { return E_NOTIMPL; }
    STDMETHODIMP QueryVendorInfo(LPWSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP SetOneShot(BOOL) override { return S_OK; }
    STDMETHODIMP SetMediaType(const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP GetConnectedMediaType(AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    STDMETHODIMP SetBufferSamples(BOOL) override { return S_OK; }
    STDMETHODIMP GetCurrentSample(IMediaSample**) override { return E_NOTIMPL; }
    STDMETHODIMP SetCallback(ISampleGrabberCB*, long) override { return E_NOTIMPL; }
    STDMETHODIMP get_FramesDroppedInRenderer(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AvgFrameRate(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Jitter(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AvgSyncOffset(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_DevSyncOffset(int*) override { return E_NOTIMPL; }
};

// Sizes a grabber misreports: more copied than its buffer holds, a negative copy, a sample
// larger than any stream sample. The buffer is never overrun and nothing is thrown.
TEST(MisreportingGrabber, ReadsNoFurtherThanItsBufferAndNeverThrows) {
    testing::SimulatedSystem system("atsc"); // the virtual clock for the polls
    const struct {
        std::vector<long> sizes;
        long quality;        // what getStreamSignalQuality returns; 0: any quality of a read
        const char* logLine; // the line that says so
    } cases[] = {{{188, 1 << 30}, 0, "Got Data bufferSize: 752"},
                 {{188, -5}, -2, "Failed to get the sample grabber current buffer "},
                 {{0x7fffffff}, -2, "Failed to get the sample grabber current buffer "}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.sizes.back());
        ScriptedDriver grabber;
        grabber.sizes = c.sizes;
        testing::LogLines log;
        long quality = -3;
        EXPECT_NO_THROW(quality = getStreamSignalQuality(&grabber));
        if (c.quality) EXPECT_EQ(quality, c.quality);
        else EXPECT_GE(quality, 0);
        EXPECT_THAT(log.lines(), Contains(HasSubstr(c.logLine)));
    }
}

// Three frames from the first reading to the last; counts that go wrong are assertions, a very
// negative one too rather than an overflow.
TEST(RendererCheck, WantsThreeFramesFromTheFirstReadingToTheLast) {
    testing::SimulatedSystem system("atsc"); // the virtual clock for the polls
    const auto framesFor = [](std::vector<int> counts) {
        ScriptedDriver renderer;
        renderer.counts = std::move(counts);
        return testing::assertionOf([&] { EXPECT_FALSE(FramesBeingRendered(&renderer)); });
    };
    EXPECT_EQ(framesFor({10, 11, 12}), "(nothing thrown)");
    EXPECT_EQ(framesFor({-1}), "SUCCEEDED( hr ) && c1 >= 0");
    EXPECT_EQ(framesFor({10, 9}), "c2 - c1 >= 0");
    EXPECT_EQ(framesFor({5, INT_MIN}), "c2 - c1 >= 0");
    ScriptedDriver three;
    three.counts = {10, 11, 13};
    const double started = std::chrono::duration<double>(tvsim::Simulation::current().elapsed()).count();
    EXPECT_TRUE(FramesBeingRendered(&three));
    EXPECT_NEAR(std::chrono::duration<double>(tvsim::Simulation::current().elapsed()).count() - started, 5.0, 0.01)
        << "after the process's first check, 2.5 s and 2.5 s";
}

} // namespace
} // namespace qisrtvcard
