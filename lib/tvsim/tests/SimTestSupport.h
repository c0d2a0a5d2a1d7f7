#pragma once
// Shared by the simulator's tests: a simulation of a scenario given as JSON, with COM set up on
// the test thread, and the look-ups through the COM interfaces that every test file makes.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "tvsim/MediaType.h"
#include "tvsim/Simulation.h"
#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace tvsim::testing {

class SimulationFixture {
public:
    // `json` is a whole scenario; the built-in default when empty.
    explicit SimulationFixture(const std::string& json = std::string());
    ~SimulationFixture();
    Simulation& simulation() { return *simulation_; }
    // Names and counts of objects still alive, one per line (for failure messages).
    std::string liveObjects() const;
    // The journaled calls of `method`, of `object` only when given.
    std::vector<Call> callsOf(const char* method, const char* object = nullptr);

private:
    std::unique_ptr<Simulation> simulation_;
};

// A test with a simulation of its own. Once the fixture's own members are gone, nothing of the
// simulation may be left alive, which is how leaked references show.
class SimTest : public ::testing::Test, public SimulationFixture {
protected:
    explicit SimTest(const std::string& json = std::string()) : SimulationFixture(json) {}
    ~SimTest() override { EXPECT_EQ(liveObjects(), ""); }
};

template <class T>
tunekit::ComPtr<T> create(REFCLSID clsid) {
    tunekit::ComPtr<T> object;
    EXPECT_EQ(Simulation::current().createInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(T), object.putVoid()), S_OK);
    return object;
}

// `from`'s interface T; a failure (and null) when it has none.
template <class T, class U>
tunekit::ComPtr<T> query(const tunekit::ComPtr<U>& from) {
    tunekit::ComPtr<T> to;
    EXPECT_EQ(from.as(to), S_OK) << "no " << typeid(T).name();
    return to;
}

// Names as the graph and the filter list them.
std::vector<std::string> filterNames(IGraphBuilder* graph);
std::vector<std::string> pinNames(IBaseFilter* filter);
tunekit::ComPtr<IPin> pinOf(IBaseFilter* filter, const wchar_t* name);
// The filter on the other side of `pin`, named as in the graph ("" when unconnected).
std::string peerFilterName(IPin* pin);
std::vector<MediaType> typesOf(IPin* pin);
std::vector<GUID> subtypesOf(IPin* pin);
void deleteMediaType(AM_MEDIA_TYPE* type);

// One link of a graph: `from`'s output pin to `to`'s input pin.
struct Link {
    IBaseFilter* from;
    const wchar_t* output;
    IBaseFilter* to;
    const wchar_t* input;
};
void connect(IGraphBuilder* graph, std::initializer_list<Link> links);

} // namespace tvsim::testing
