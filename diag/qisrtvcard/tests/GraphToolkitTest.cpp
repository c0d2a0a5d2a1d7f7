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

TEST_F(GraphToolkit, FindFromNameHandsTheCallerAReferenceOrThrows) {
    const ComPtr<IBaseFilter> renderer = add(CLSID_VideoRenderer, L"Video Renderer");
    add(CLSID_FileWriter, L"File Writer");
    ComPtr<IBaseFilter> found;
    found.attach(FindFromName(L"Video Renderer", graph_.get()));
    EXPECT_EQ(found.get(), renderer.get());
    EXPECT_EQ(testing::assertionOf([&] { FindFromName(L"video renderer", graph_.get()); }), "false") << "names compare exactly";
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
