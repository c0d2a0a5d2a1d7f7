#include "tunekit/CaptureUtil.h"

#include "tunekit/ComOwners.h"

namespace tunekit {
namespace {

qis::String filterName(IBaseFilter* filter) {
    FilterInfo info;
    if (FAILED(filter->QueryFilterInfo(info.put()))) return "?";
    return qis::String(info->achName);
}

qis::String pinName(IPin* pin, bool withFilter) {
    PinInfo info;
    if (FAILED(pin->QueryPinInfo(info.put()))) return "?";
    const qis::String name(info->achName);
    return withFilter && info->pFilter ? filterName(info->pFilter) + "." + name : name;
}

qis::String pinLine(IPin* pin) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    pin->QueryDirection(&direction);
    qis::String line = qis::String("  [") + (direction == PINDIR_INPUT ? "in" : "out") + "] " + pinName(pin, false);
    ComPtr<IPin> peer;
    if (SUCCEEDED(pin->ConnectedTo(peer.put())) && peer) line += (direction == PINDIR_INPUT ? " <- " : " -> ") + pinName(peer.get(), true);
    return line + "\n";
}

} // namespace

qis::String CaptureUtil::graphToString(IFilterGraph* graph) {
    qis::String text;
    ComPtr<IEnumFilters> filters;
    if (!graph || FAILED(graph->EnumFilters(filters.put())) || !filters) return text;
    for (ComPtr<IBaseFilter> filter; filters->Next(1, filter.put(), nullptr) == S_OK;) {
        text += filterName(filter.get()) + "\n";
        ComPtr<IEnumPins> pins;
        if (FAILED(filter->EnumPins(pins.put())) || !pins) continue;
        for (ComPtr<IPin> pin; pins->Next(1, pin.put(), nullptr) == S_OK;) text += pinLine(pin.get());
    }
    return text;
}

} // namespace tunekit
