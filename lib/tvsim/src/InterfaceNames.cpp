#include <array>

#include "tvsim/SimObject.h"

namespace tvsim {
namespace {

struct InterfaceName {
    const IID* iid;
    const char* name;
};

const InterfaceName kNames[] = {
    {&IID_IUnknown, "IUnknown"},
    {&IID_IBaseFilter, "IBaseFilter"},
    {&IID_IMediaFilter, "IMediaFilter"},
    {&IID_IPersist, "IPersist"},
    {&IID_IPin, "IPin"},
    {&IID_IGraphBuilder, "IGraphBuilder"},
    {&IID_IFilterGraph, "IFilterGraph"},
    {&IID_IFilterGraph2, "IFilterGraph2"},
    {&IID_IMediaControl, "IMediaControl"},
    {&IID_IMediaEvent, "IMediaEvent"},
    {&IID_IMediaEventEx, "IMediaEventEx"},
    {&IID_IMediaEventSink, "IMediaEventSink"},
    {&IID_IVideoWindow, "IVideoWindow"},
    {&IID_IQualProp, "IQualProp"},
    {&IID_ICaptureGraphBuilder2, "ICaptureGraphBuilder2"},
    {&IID_ICreateDevEnum, "ICreateDevEnum"},
    {&IID_IPropertyBag, "IPropertyBag"},
    {&IID_IAMTVTuner, "IAMTVTuner"},
    {&IID_IAMTuner, "IAMTuner"},
    {&IID_IAMCrossbar, "IAMCrossbar"},
    {&IID_IAMStreamConfig, "IAMStreamConfig"},
    {&IID_IFileSinkFilter, "IFileSinkFilter"},
    {&IID_IMpeg2Demultiplexer, "IMpeg2Demultiplexer"},
    {&IID_IKsPropertySet, "IKsPropertySet"},
    {&IID_IDispatch, "IDispatch"},
    {&__uuidof(ITuner), "ITuner"},
    {&__uuidof(IFrequencyMap), "IFrequencyMap"},
    {&__uuidof(IBDA_Topology), "IBDA_Topology"},
    {&__uuidof(IBDA_SignalStatistics), "IBDA_SignalStatistics"},
    {&__uuidof(ISampleGrabber), "ISampleGrabber"},
    {&__uuidof(ITuningSpaceContainer), "ITuningSpaceContainer"},
    {&__uuidof(ITuningSpace), "ITuningSpace"},
    {&__uuidof(IATSCTuningSpace), "IATSCTuningSpace"},
    {&__uuidof(IDVBTuningSpace2), "IDVBTuningSpace2"},
    {&__uuidof(ITuneRequest), "ITuneRequest"},
    {&__uuidof(IATSCChannelTuneRequest), "IATSCChannelTuneRequest"},
    {&__uuidof(IDVBTuneRequest), "IDVBTuneRequest"},
    {&__uuidof(ILocator), "ILocator"},
    {&__uuidof(IATSCLocator), "IATSCLocator"},
    {&__uuidof(IATSCLocator2), "IATSCLocator2"},
    {&__uuidof(IDVBTLocator), "IDVBTLocator"},
};

} // namespace

qis::String queryName(REFIID iid) {
    for (const auto& entry : kNames)
        if (*entry.iid == iid) return qis::String("QueryInterface(") + entry.name + ")";
    wchar_t text[40] = {};
    StringFromGUID2(iid, text, 40);
    return "QueryInterface(" + qis::String(text) + ")";
}

} // namespace tvsim
