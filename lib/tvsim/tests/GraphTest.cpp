// The filter graph manager's semantics on simple test filters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SimTestSupport.h"
#include "tvsim/Filter.h"

namespace tvsim {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using testing::create;
using testing::filterNames;
using tunekit::ComPtr;

// A source with one output, or a sink with one input, of one type (video by default).
class TestFilter final : public SimFilter {
public:
    TestFilter(const char* name, PIN_DIRECTION direction, GUID major, GUID subtype) : SimFilter(name, GUID_NULL) {
        MediaType type = MediaType::video(320, 240, 25.0);
        type.major = major;
        type.subtype = subtype;
        addPin(direction == PINDIR_OUTPUT ? "Out" : "In", direction, {type});
    }
    IPin* pin() { return pins()[0].get(); }
};

// A graph on a scenario whose only converter decodes MPEG-2 video.
class FilterGraph : public testing::SimTest {
protected:
    FilterGraph() : SimTest(R"({"device": {"name": "d"}, "converters": [
        {"name": "MPEG-2 Video Decoder", "input": "Video/MPEG2_VIDEO", "output": "Video/YUY2"}]})") {}

    // A test filter in the graph under its own name.
    TestFilter* add(const char* name, PIN_DIRECTION direction, GUID major = MEDIATYPE_Video, GUID subtype = MEDIASUBTYPE_YUY2) {
        filters.push_back(make<TestFilter>(name, direction, major, subtype));
        EXPECT_TRUE(SUCCEEDED(graph->AddFilter(filters.back().get(), qis::String(name).wide().c_str())));
        return filters.back().get();
    }

    ComPtr<IGraphBuilder> graph = create<IGraphBuilder>(CLSID_FilterGraph);
    std::vector<ComPtr<TestFilter>> filters;
};

TEST_F(FilterGraph, NamesAreMadeUniqueAndFiltersListMostRecentFirst) {
    add("Capture", PINDIR_OUTPUT);
    auto second = make<TestFilter>("B", PINDIR_INPUT, MEDIATYPE_Video, MEDIASUBTYPE_YUY2);
    EXPECT_EQ(graph->AddFilter(second.get(), L"Capture"), VFW_S_DUPLICATE_NAME);
    EXPECT_THAT(filterNames(graph.get()), ElementsAre("Capture 0001", "Capture"));
    ComPtr<IBaseFilter> found;
    EXPECT_EQ(graph->FindFilterByName(L"Capture 0001", found.put()), S_OK);
    EXPECT_EQ(found.get(), static_cast<IBaseFilter*>(second.get()));
    EXPECT_EQ(graph->FindFilterByName(L"Missing", found.put()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(found);
}

TEST_F(FilterGraph, TheGraphHoldsOneReferencePerFilterUntilRemoved) {
    auto a = make<TestFilter>("A", PINDIR_OUTPUT, MEDIATYPE_Video, MEDIASUBTYPE_YUY2);
    const ULONG alone = a->references();
    graph->AddFilter(a.get(), L"A");
    EXPECT_EQ(a->references(), alone + 1);
    EXPECT_EQ(graph->RemoveFilter(a.get()), S_OK);
    EXPECT_EQ(a->references(), alone);
    EXPECT_EQ(graph->RemoveFilter(a.get()), E_FAIL);
}

// What Render makes of an output of each type, and whether Connect takes it to an input of a type.
struct Building {
    const char* name;
    GUID major, subtype;
    HRESULT render;
    std::vector<std::string> added; // the filters Render adds, most recent first
    GUID sinkMajor;
    HRESULT connect;
    const char* peer; // what the input is connected to, the start of its name
};

void PrintTo(const Building& c, std::ostream* out) { *out << c.name; }

class FilterGraphBuilding : public FilterGraph, public ::testing::WithParamInterface<Building> {};

TEST_P(FilterGraphBuilding, RendersAndConnectsThroughConvertersOrLeavesNothingBehind) {
    const Building& c = GetParam();
    TestFilter* rendered = add("Rendered", PINDIR_OUTPUT, c.major, c.subtype);
    auto names = filterNames(graph.get());
    EXPECT_EQ(graph->Render(rendered->pin()), c.render);
    names.insert(names.begin(), c.added.begin(), c.added.end());
    EXPECT_EQ(filterNames(graph.get()), names);
    if (c.render == S_OK) EXPECT_EQ(graph->Render(rendered->pin()), VFW_E_ALREADY_CONNECTED);

    TestFilter* source = add("Source", PINDIR_OUTPUT, c.major, c.subtype);
    TestFilter* sink = add("Sink", PINDIR_INPUT, c.sinkMajor);
    names = filterNames(graph.get());
    EXPECT_EQ(graph->Connect(source->pin(), sink->pin()), c.connect);
    EXPECT_THAT(testing::peerFilterName(sink->pin()), ::testing::StartsWith(c.peer));
    if (c.connect == S_OK)
        EXPECT_EQ(graph->Connect(source->pin(), sink->pin()), VFW_E_ALREADY_CONNECTED);
    else
        EXPECT_EQ(filterNames(graph.get()), names);
}

const Building kBuildings[] = {
    {"Video", MEDIATYPE_Video, MEDIASUBTYPE_YUY2, S_OK, {"Video Renderer"}, MEDIATYPE_Video, S_OK, "Source"},
    {"VideoToAudioInput", MEDIATYPE_Video, MEDIASUBTYPE_YUY2, S_OK, {"Video Renderer"}, MEDIATYPE_Audio, VFW_E_CANNOT_CONNECT, ""},
    {"Mpeg2Video", MEDIATYPE_Video, MEDIASUBTYPE_MPEG2_VIDEO, S_OK, {"MPEG-2 Video Decoder", "Video Renderer"}, MEDIATYPE_Video, S_OK,
     "MPEG-2 Video Decoder"},
    {"Audio", MEDIATYPE_Audio, MEDIASUBTYPE_PCM, S_OK, {"Default DirectSound Device"}, MEDIATYPE_Video, VFW_E_CANNOT_CONNECT, ""},
    {"ProgramStream", MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_PROGRAM, VFW_E_CANNOT_RENDER, {}, MEDIATYPE_Video, VFW_E_CANNOT_CONNECT, ""},
};
INSTANTIATE_TEST_SUITE_P(Types, FilterGraphBuilding, ::testing::ValuesIn(kBuildings),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(FilterGraph, RemovingAFilterDisconnectsBothSidesAndPinsOutsideTheGraphDoNotConnect) {
    TestFilter* source = add("Source", PINDIR_OUTPUT);
    TestFilter* sink = add("Sink", PINDIR_INPUT);
    ASSERT_EQ(graph->Connect(source->pin(), sink->pin()), S_OK);
    EXPECT_EQ(graph->RemoveFilter(sink), S_OK);
    ComPtr<IPin> peer;
    EXPECT_EQ(source->pin()->ConnectedTo(peer.put()), VFW_E_NOT_CONNECTED);
    EXPECT_FALSE(peer);
    EXPECT_EQ(graph->ConnectDirect(source->pin(), sink->pin(), nullptr), VFW_E_NOT_IN_GRAPH);
}

TEST_F(FilterGraph, StateChangesReachEveryFilterAndRunPassesThroughPause) {
    TestFilter* source = add("Source", PINDIR_OUTPUT);
    ComPtr<IMediaControl> control;
    ASSERT_EQ(graph.as(control), S_OK);
    EXPECT_EQ(control->Run(), S_OK);
    EXPECT_EQ(source->state(), State_Running);
    EXPECT_FALSE(callsOf("Pause", "Source").empty());
    EXPECT_FALSE(callsOf("Run", "Source").empty());
    OAFilterState state = 0;
    control->GetState(0, &state);
    EXPECT_EQ(state, State_Running);
    EXPECT_EQ(graph->Disconnect(source->pin()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(control->Stop(), S_OK);
    EXPECT_EQ(source->state(), State_Stopped);
}

TEST_F(FilterGraph, AFilterThatFailsToRunFailsTheGraphsRun) {
    add("Source", PINDIR_OUTPUT);
    simulation().faults().add({"Source", "Run", static_cast<std::int32_t>(VFW_E_NO_ALLOCATOR)});
    EXPECT_EQ(testing::query<IMediaControl>(graph)->Run(), VFW_E_NO_ALLOCATOR);
    const auto runs = callsOf("Run", "Source");
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_TRUE(runs[0].injected);
}

TEST_F(FilterGraph, EventsQueueUntilFetchedAndAnEmptyQueueAborts) {
    testing::query<IMediaEventSink>(graph)->Notify(EC_COMPLETE, 1, 2);
    auto events = testing::query<IMediaEventEx>(graph);
    long code = 0;
    LONG_PTR p1 = 0, p2 = 0;
    EXPECT_EQ(events->GetEvent(&code, &p1, &p2, 0), S_OK);
    EXPECT_EQ(code, EC_COMPLETE);
    EXPECT_EQ(events->GetEvent(&code, &p1, &p2, 0), E_ABORT);
}

TEST_F(FilterGraph, InterfacesAndClassesTheSystemLacksAreRefusedAndQueryInterfaceCanBeMadeToFail) {
    ComPtr<IUnknown> unknown;
    EXPECT_EQ(simulation().createInstance(CLSID_DVDNavigator, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, unknown.putVoid()),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(graph->QueryInterface(IID_IAMTVTuner, unknown.putVoid()), E_NOINTERFACE);
    EXPECT_EQ(testing::query<IVideoWindow>(graph)->put_Visible(OATRUE), E_NOINTERFACE) << "no renderer to pass it to";
    simulation().faults().add({"FilterGraph", "QueryInterface(IMediaControl)"});
    EXPECT_EQ(graph->QueryInterface(IID_IMediaControl, unknown.putVoid()), E_FAIL);
    EXPECT_FALSE(unknown);
}

TEST_F(FilterGraph, SleepsPassInVirtualTime) {
    const auto before = simulation().elapsed();
    qis::System::sleep(600.0);
    EXPECT_GE(simulation().elapsed() - before, std::chrono::seconds(600));
}

} // namespace
} // namespace tvsim
