// The filter graph manager's semantics on simple test filters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SimTestSupport.h"
#include "tvsim/Filter.h"

namespace tvsim {
namespace {

using ::testing::ElementsAre;
using tunekit::ComPtr;

// A source with one video output, or a sink with one video input.
class TestFilter final : public SimFilter {
public:
    TestFilter(const char* name, PIN_DIRECTION direction, GUID major = MEDIATYPE_Video, GUID subtype = MEDIASUBTYPE_YUY2)
        : SimFilter(name, GUID_NULL) {
        MediaType type = MediaType::video(320, 240, 25.0);
        type.major = major;
        type.subtype = subtype;
        addPin(direction == PINDIR_OUTPUT ? "Out" : "In", direction, {type});
    }
    IPin* pin() { return pins()[0].get(); }
};

ComPtr<IGraphBuilder> newGraph() {
    ComPtr<IGraphBuilder> graph;
    EXPECT_EQ(Simulation::current().createInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                                                   graph.putVoid()),
              S_OK);
    return graph;
}

std::vector<std::string> filterNames(IGraphBuilder* graph) {
    std::vector<std::string> names;
    ComPtr<IEnumFilters> filters;
    graph->EnumFilters(filters.put());
    for (ComPtr<IBaseFilter> filter; filters->Next(1, filter.put(), nullptr) == S_OK;) {
        FILTER_INFO info{};
        filter->QueryFilterInfo(&info);
        if (info.pGraph) info.pGraph->Release();
        names.push_back(qis::String(info.achName).utf8());
    }
    return names;
}

class FilterGraphSemantics : public ::testing::Test {
protected:
    testing::SimulationFixture sim_;
};

TEST_F(FilterGraphSemantics, NamesAreMadeUniqueAndFiltersListMostRecentFirst) {
    auto graph = newGraph();
    auto a = make<TestFilter>("A", PINDIR_OUTPUT), b = make<TestFilter>("B", PINDIR_INPUT);
    EXPECT_EQ(graph->AddFilter(a.get(), L"Capture"), S_OK);
    EXPECT_EQ(graph->AddFilter(b.get(), L"Capture"), VFW_S_DUPLICATE_NAME);
    EXPECT_THAT(filterNames(graph.get()), ElementsAre("Capture 0001", "Capture"));
    ComPtr<IBaseFilter> found;
    EXPECT_EQ(graph->FindFilterByName(L"Capture 0001", found.put()), S_OK);
    EXPECT_EQ(found.get(), static_cast<IBaseFilter*>(b.get()));
    EXPECT_EQ(graph->FindFilterByName(L"Missing", found.put()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(found);
}

TEST_F(FilterGraphSemantics, TheGraphHoldsOneReferencePerFilterUntilRemoved) {
    auto graph = newGraph();
    auto a = make<TestFilter>("A", PINDIR_OUTPUT);
    const ULONG alone = a->references();
    graph->AddFilter(a.get(), L"A");
    EXPECT_EQ(a->references(), alone + 1);
    EXPECT_EQ(graph->RemoveFilter(a.get()), S_OK);
    EXPECT_EQ(a->references(), alone);
    EXPECT_EQ(graph->RemoveFilter(a.get()), E_FAIL);
}

TEST_F(FilterGraphSemantics, ConnectJoinsPinsThatAgreeAndRemoveFilterDisconnectsBothSides) {
    auto graph = newGraph();
    auto source = make<TestFilter>("Source", PINDIR_OUTPUT), sink = make<TestFilter>("Sink", PINDIR_INPUT);
    auto audioSink = make<TestFilter>("AudioSink", PINDIR_INPUT, MEDIATYPE_Audio);
    graph->AddFilter(source.get(), L"Source");
    graph->AddFilter(sink.get(), L"Sink");
    graph->AddFilter(audioSink.get(), L"AudioSink");
    EXPECT_EQ(graph->Connect(source->pin(), audioSink->pin()), VFW_E_CANNOT_CONNECT);
    ASSERT_EQ(graph->Connect(source->pin(), sink->pin()), S_OK);
    EXPECT_EQ(graph->Connect(source->pin(), sink->pin()), VFW_E_ALREADY_CONNECTED);
    ComPtr<IPin> peer;
    EXPECT_EQ(sink->pin()->ConnectedTo(peer.put()), S_OK);
    EXPECT_EQ(peer.get(), source->pin());
    peer.reset();
    EXPECT_EQ(graph->RemoveFilter(sink.get()), S_OK);
    EXPECT_EQ(source->pin()->ConnectedTo(peer.put()), VFW_E_NOT_CONNECTED);
    EXPECT_FALSE(peer);
}

TEST_F(FilterGraphSemantics, PinsOutsideTheGraphCannotBeConnected) {
    auto graph = newGraph();
    auto source = make<TestFilter>("Source", PINDIR_OUTPUT), sink = make<TestFilter>("Sink", PINDIR_INPUT);
    graph->AddFilter(source.get(), L"Source");
    EXPECT_EQ(graph->ConnectDirect(source->pin(), sink->pin(), nullptr), VFW_E_NOT_IN_GRAPH);
}

TEST_F(FilterGraphSemantics, RenderEndsVideoAndAudioInRenderersAndRefusesWhatItCannotRender) {
    auto graph = newGraph();
    auto source = make<TestFilter>("Source", PINDIR_OUTPUT);
    auto audio = make<TestFilter>("Audio", PINDIR_OUTPUT, MEDIATYPE_Audio, MEDIASUBTYPE_PCM);
    auto stream = make<TestFilter>("Stream", PINDIR_OUTPUT, MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM);
    graph->AddFilter(source.get(), L"Source");
    graph->AddFilter(audio.get(), L"Audio");
    graph->AddFilter(stream.get(), L"Stream");
    EXPECT_EQ(graph->Render(source->pin()), S_OK);
    EXPECT_EQ(graph->Render(audio->pin()), S_OK);
    EXPECT_THAT(filterNames(graph.get()), ElementsAre("Default DirectSound Device", "Video Renderer", "Stream", "Audio", "Source"));
    EXPECT_EQ(graph->Render(source->pin()), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(graph->Render(stream->pin()), VFW_E_CANNOT_RENDER);
}

class ConvertingGraph : public ::testing::Test {
protected:
    testing::SimulationFixture sim_{R"({"device": {"name": "d"}, "converters": [
        {"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}]})"};
};

TEST_F(ConvertingGraph, ConnectAndRenderGoThroughARegisteredConverterWhenTypesDoNotAgree) {
    auto graph = newGraph();
    auto mpeg = make<TestFilter>("Mpeg", PINDIR_OUTPUT, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO);
    auto sink = make<TestFilter>("Sink", PINDIR_INPUT);
    auto audio = make<TestFilter>("AudioOut", PINDIR_OUTPUT, MEDIATYPE_Audio, MEDIASUBTYPE_PCM);
    graph->AddFilter(mpeg.get(), L"Mpeg");
    graph->AddFilter(sink.get(), L"Sink");
    graph->AddFilter(audio.get(), L"AudioOut");
    EXPECT_EQ(graph->Connect(mpeg->pin(), sink->pin()), S_OK);
    EXPECT_THAT(filterNames(graph.get()), ElementsAre("MPEG-2 Video Decoder", "AudioOut", "Sink", "Mpeg"));
    // No converter takes audio to video: the attempt leaves nothing behind.
    auto otherSink = make<TestFilter>("OtherSink", PINDIR_INPUT);
    graph->AddFilter(otherSink.get(), L"OtherSink");
    EXPECT_EQ(graph->Connect(audio->pin(), otherSink->pin()), VFW_E_CANNOT_CONNECT);
    EXPECT_THAT(filterNames(graph.get()), ElementsAre("OtherSink", "MPEG-2 Video Decoder", "AudioOut", "Sink", "Mpeg"));
}

TEST_F(ConvertingGraph, RenderOfCompressedVideoInsertsTheDecoder) {
    auto graph = newGraph();
    auto mpeg = make<TestFilter>("Mpeg", PINDIR_OUTPUT, MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO);
    graph->AddFilter(mpeg.get(), L"Mpeg");
    EXPECT_EQ(graph->Render(mpeg->pin()), S_OK);
    EXPECT_THAT(filterNames(graph.get()), ElementsAre("MPEG-2 Video Decoder", "Video Renderer", "Mpeg"));
}

TEST_F(FilterGraphSemantics, StateChangesReachEveryFilterAndRunPassesThroughPause) {
    auto graph = newGraph();
    auto source = make<TestFilter>("Source", PINDIR_OUTPUT);
    graph->AddFilter(source.get(), L"Source");
    ComPtr<IMediaControl> control;
    ASSERT_EQ(graph->QueryInterface(IID_IMediaControl, control.putVoid()), S_OK);
    EXPECT_EQ(control->Run(), S_OK);
    EXPECT_EQ(source->state(), State_Running);
    std::vector<std::string> calls;
    for (const auto& call : Simulation::current().journal().calls())
        if (call.object == "Source") calls.push_back(call.method.utf8());
    EXPECT_THAT(calls, ::testing::IsSupersetOf({"Pause", "Run"}));
    OAFilterState state = 0;
    control->GetState(0, &state);
    EXPECT_EQ(state, State_Running);
    EXPECT_EQ(graph->Disconnect(source->pin()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(control->Stop(), S_OK);
    EXPECT_EQ(source->state(), State_Stopped);
}

TEST_F(FilterGraphSemantics, AFilterThatFailsToRunFailsTheGraphsRun) {
    auto graph = newGraph();
    auto source = make<TestFilter>("Source", PINDIR_OUTPUT);
    graph->AddFilter(source.get(), L"Source");
    FaultRule rule;
    rule.object = "Source";
    rule.method = "Run";
    rule.result = static_cast<std::int32_t>(0x8004020Au); // VFW_E_NO_ALLOCATOR
    Simulation::current().faults().add(rule);
    ComPtr<IMediaControl> control;
    graph->QueryInterface(IID_IMediaControl, control.putVoid());
    EXPECT_EQ(control->Run(), static_cast<HRESULT>(0x8004020Au));
    const auto calls = Simulation::current().journal().calls();
    const auto injected = std::count_if(calls.begin(), calls.end(), [](const Call& c) { return c.injected; });
    EXPECT_EQ(injected, 1);
}

TEST_F(FilterGraphSemantics, VideoWindowCallsFailWithoutARenderer) {
    auto graph = newGraph();
    ComPtr<IVideoWindow> window;
    ASSERT_EQ(graph->QueryInterface(IID_IVideoWindow, window.putVoid()), S_OK);
    EXPECT_EQ(window->put_Visible(OATRUE), E_NOINTERFACE);
}

TEST_F(FilterGraphSemantics, EventsQueueUntilFetchedAndAnEmptyQueueAborts) {
    auto graph = newGraph();
    ComPtr<IMediaEventSink> sink;
    ComPtr<IMediaEventEx> events;
    graph->QueryInterface(IID_IMediaEventSink, sink.putVoid());
    graph->QueryInterface(IID_IMediaEventEx, events.putVoid());
    sink->Notify(EC_COMPLETE, 1, 2);
    long code = 0;
    LONG_PTR p1 = 0, p2 = 0;
    EXPECT_EQ(events->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(events->GetEvent(&code, &p1, &p2, 0), E_ABORT);
}

TEST_F(FilterGraphSemantics, QueryInterfaceAnswersOnlyForTheGraphsInterfacesAndCanBeMadeToFail) {
    auto graph = newGraph();
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(graph->QueryInterface(IID_IAMTVTuner, unknown.putVoid()), E_NOINTERFACE);
    FaultRule rule;
    rule.object = "FilterGraph";
    rule.method = "QueryInterface(IMediaControl)";
    Simulation::current().faults().add(rule);
    EXPECT_EQ(graph->QueryInterface(IID_IMediaControl, unknown.putVoid()), E_FAIL);
    EXPECT_FALSE(unknown);
}

TEST_F(FilterGraphSemantics, UnknownClassesAreNotRegisteredAndEverythingIsReleasedAtTheEnd) {
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(Simulation::current().createInstance(CLSID_DVDNavigator, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                                                    unknown.putVoid()),
              REGDB_E_CLASSNOTREG);
    {
        auto graph = newGraph();
        auto source = make<TestFilter>("Source", PINDIR_OUTPUT), sink = make<TestFilter>("Sink", PINDIR_INPUT);
        graph->AddFilter(source.get(), L"Source");
        graph->AddFilter(sink.get(), L"Sink");
        graph->Connect(source->pin(), sink->pin());
    }
    EXPECT_EQ(sim_.liveObjects(), "");
}

TEST_F(FilterGraphSemantics, SleepsPassInVirtualTime) {
    const auto before = Simulation::current().elapsed();
    qis::System::sleep(600.0);
    EXPECT_GE(Simulation::current().elapsed() - before, std::chrono::seconds(600));
}

} // namespace
} // namespace tvsim
