#include "SimTestSupport.h"

#include <objbase.h>

namespace tvsim::testing {

using tunekit::ComPtr;

SimulationFixture::SimulationFixture(const std::string& json) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    simulation_ = std::make_unique<Simulation>(json.empty() ? loadScenario(kDefaultScenario) : parseScenario(json, "test"));
}

SimulationFixture::~SimulationFixture() {
    simulation_.reset();
    CoUninitialize();
}

std::string SimulationFixture::liveObjects() const {
    std::string text;
    for (const auto& object : simulation_->liveObjects())
        text += object.name.utf8() + " (" + std::to_string(object.references) + ")\n";
    return text;
}

std::vector<Call> SimulationFixture::callsOf(const char* method, const char* object) {
    std::vector<Call> found;
    for (const auto& call : simulation_->journal().calls())
        if (call.method == method && (!object || call.object == object)) found.push_back(call);
    return found;
}

std::vector<std::string> filterNames(IGraphBuilder* graph) {
    std::vector<std::string> names;
    ComPtr<IEnumFilters> filters;
    graph->EnumFilters(filters.put());
    for (ComPtr<IBaseFilter> filter; filters->Next(1, filter.put(), nullptr) == S_OK;) {
        tunekit::FilterInfo info;
        filter->QueryFilterInfo(info.put());
        names.push_back(qis::String(info->achName).utf8());
    }
    return names;
}

std::vector<std::string> pinNames(IBaseFilter* filter) {
    std::vector<std::string> names;
    ComPtr<IEnumPins> pins;
    filter->EnumPins(pins.put());
    for (ComPtr<IPin> pin; pins->Next(1, pin.put(), nullptr) == S_OK;) {
        tunekit::PinInfo info;
        pin->QueryPinInfo(info.put());
        names.push_back(qis::String(info->achName).utf8());
    }
    return names;
}

ComPtr<IPin> pinOf(IBaseFilter* filter, const wchar_t* name) {
    ComPtr<IPin> pin;
    EXPECT_EQ(filter->FindPin(name, pin.put()), S_OK) << qis::String(name).utf8();
    return pin;
}

std::string peerFilterName(IPin* pin) {
    ComPtr<IPin> peer;
    if (FAILED(pin->ConnectedTo(peer.put()))) return "";
    tunekit::PinInfo info;
    peer->QueryPinInfo(info.put());
    tunekit::FilterInfo filterInfo;
    info->pFilter->QueryFilterInfo(filterInfo.put());
    return qis::String(filterInfo->achName).utf8();
}

std::vector<MediaType> typesOf(IPin* pin) {
    std::vector<MediaType> types;
    ComPtr<IEnumMediaTypes> list;
    if (!pin || FAILED(pin->EnumMediaTypes(list.put()))) return types;
    for (AM_MEDIA_TYPE* type = nullptr; list->Next(1, &type, nullptr) == S_OK; type = nullptr) {
        types.push_back(MediaType::from(*type));
        deleteMediaType(type);
    }
    return types;
}

std::vector<GUID> subtypesOf(IPin* pin) {
    std::vector<GUID> subtypes;
    for (const auto& type : typesOf(pin)) subtypes.push_back(type.subtype);
    return subtypes;
}

void deleteMediaType(AM_MEDIA_TYPE* type) {
    if (!type) return;
    freeMediaType(*type);
    CoTaskMemFree(type);
}

void connect(IGraphBuilder* graph, std::initializer_list<Link> links) {
    for (const Link& link : links)
        EXPECT_EQ(graph->Connect(pinOf(link.from, link.output).get(), pinOf(link.to, link.input).get()), S_OK)
            << qis::String(link.output).utf8() << " -> " << qis::String(link.input).utf8();
}

} // namespace tvsim::testing
