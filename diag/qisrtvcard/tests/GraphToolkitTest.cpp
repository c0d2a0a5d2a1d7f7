// The digital tests' graph toolkit on the virtual system: what it logs, what it leaves in the
// graph and how it fails.
#include <algorithm>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ModuleTestSupport.h"
#include "digital/ClearQamTest.h"
#include "digital/GraphToolkit.h"
#include "frame/ComFactory.h"
#include "qis/Exception.h"
#include "tunekit/ComPtr.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using tunekit::ComPtr;

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

TEST_F(GraphToolkit, ConnectFiltersChecksTheUpstreamFilterFirst) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    EXPECT_EQ(testing::assertionOf([&] { ConnectFilters(nullptr, nullptr, graph_.get()); }), "pFilterUpstream");
    EXPECT_EQ(testing::assertionOf([&] { ConnectFilters(renderer.get(), nullptr, graph_.get()); }), "pFilterDownstream");
}

TEST_F(GraphToolkit, AnUpstreamFilterWithoutAFreeOutputConnectsNothing) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    const ComPtr<IBaseFilter> writer = add(CLSID_FileWriter, L"File Writer");
    testing::LogLines log;
    EXPECT_FALSE(ConnectFilters(renderer.get(), writer.get(), graph_.get()));
    EXPECT_THAT(log.lines(), ElementsAre("IBaseFilter::EnumPins(Upstream)", "Starting in pin connection search",
                                         "IPin::QueryPinInfo(Upstream)", "Checking if not connected try to connect it",
                                         "Completed in pin search"));
}

TEST_F(GraphToolkit, PinsThatCannotBeConnectedAreTriedInTurnWithoutAnError) {
    // The multiplexer's AVI stream does not fit the renderer's video input.
    const ComPtr<IBaseFilter> mux = add(CLSID_AviDest, L"AVI Mux");
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    testing::LogLines log;
    EXPECT_FALSE(ConnectFilters(mux.get(), renderer.get(), graph_.get()));
    EXPECT_THAT(log.lines(), Contains("Connecting pins failed."));
    EXPECT_EQ(log.lines().back(), "Completed in pin search");
}

TEST_F(GraphToolkit, RenderingAFilterWithoutOutputsIsAnImpossibleGraph) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    EXPECT_EQ(testing::assertionOf([&] { renderGraph(renderer.get(), graph_.get()); }), "false");
    EXPECT_EQ(testing::assertionOf([&] { clearqam::renderGraph(renderer.get(), graph_.get()); }), "false");
}

TEST_F(GraphToolkit, RemoveFiltersTakesEveryFilterOutHalfASecondEachWithTheOffsetCountLine) {
    add(CLSID_VideoRenderer, L"Video Renderer");
    add(CLSID_AviDest, L"AVI Mux");
    add(CLSID_FileWriter, L"File Writer");
    testing::LogLines log;
    const double started = seconds();
    removeFilters(graph_.get());
    EXPECT_GE(seconds() - started, 1.5);
    EXPECT_EQ(filterCount(), 0u);
    ASSERT_EQ(log.lines().size(), 4u);
    EXPECT_EQ(log.lines()[0], "ber of filters to remove: ") << "three filters move the text three places on";
    EXPECT_THAT(log.lines()[1], HasSubstr("Removed filter #0 Refcount after release: "));
    EXPECT_THAT(log.lines()[3], HasSubstr("Removed filter #2 Refcount after release: "));
    EXPECT_EQ(system_.liveObjects().find("VideoRenderer"), std::string::npos) << system_.liveObjects();
}

TEST_F(GraphToolkit, RemoveFiltersOnAnEmptyGraphLogsTheWholeText) {
    testing::LogLines log;
    removeFilters(graph_.get());
    EXPECT_THAT(log.lines(), ElementsAre("Number of filters to remove: "));
}

TEST_F(GraphToolkit, RemoveFiltersWithMoreFiltersThanTheTextHasLettersLogsAnEmptyLine) {
    for (int i = 0; i < 31; ++i) add(CLSID_FileWriter, L"File Writer");
    testing::LogLines log;
    removeFilters(graph_.get());
    EXPECT_EQ(filterCount(), 0u);
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines()[0], "") << "31 places on is past the end of the text";
}

TEST_F(GraphToolkit, FindFromNameHandsTheCallerAReferenceOrThrows) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    add(CLSID_FileWriter, L"File Writer");
    ComPtr<IBaseFilter> found;
    found.attach(FindFromName(L"Video Renderer", graph_.get()));
    EXPECT_EQ(found.get(), renderer.get());
    EXPECT_EQ(testing::assertionOf([&] { FindFromName(L"video renderer", graph_.get()); }), "false") << "names compare exactly";
}

// A renderer's statistics that answer the frame counts a test lines up, one per reading.
class ScriptedFrames final : public IQualProp {
public:
    explicit ScriptedFrames(std::vector<int> counts) : counts_(std::move(counts)) {}
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
        if (iid != IID_IUnknown && iid != IID_IQualProp) return E_NOINTERFACE;
        *object = static_cast<IQualProp*>(this);
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; } // lives on the test's stack
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP get_FramesDrawn(int* frames) override {
        *frames = counts_.at(std::min(readings_++, counts_.size() - 1));
        return S_OK;
    }
    STDMETHODIMP get_FramesDroppedInRenderer(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AvgFrameRate(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_Jitter(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_AvgSyncOffset(int*) override { return E_NOTIMPL; }
    STDMETHODIMP get_DevSyncOffset(int*) override { return E_NOTIMPL; }

private:
    std::vector<int> counts_;
    std::size_t readings_ = 0;
};

TEST_F(GraphToolkit, FramesBeingRenderedWantsThreeFramesFromTheFirstReadingToTheLast) {
    ScriptedFrames two({10, 11, 12});
    EXPECT_FALSE(FramesBeingRendered(&two));
    ScriptedFrames three({10, 11, 13});
    const double started = seconds();
    EXPECT_TRUE(FramesBeingRendered(&three));
    EXPECT_NEAR(seconds() - started, 5.0, 0.01) << "after the process's first check, 2.5 s and 2.5 s";
    ScriptedFrames negative({-1});
    EXPECT_EQ(testing::assertionOf([&] { FramesBeingRendered(&negative); }), "SUCCEEDED( hr ) && c1 >= 0");
    ScriptedFrames backwards({10, 9});
    EXPECT_EQ(testing::assertionOf([&] { FramesBeingRendered(&backwards); }), "c2 - c1 >= 0");
}

TEST_F(GraphToolkit, FramesBeingRenderedGivesUpAfterTwoAndAHalfSecondsOnAStoppedRenderer) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    ComPtr<IQualProp> quality;
    ASSERT_HRESULT_SUCCEEDED(renderer.as(quality));
    const double started = seconds();
    EXPECT_FALSE(FramesBeingRendered(quality.get()));
    EXPECT_NEAR(seconds() - started, 2.5, 0.01);
}

} // namespace
} // namespace qisrtvcard
