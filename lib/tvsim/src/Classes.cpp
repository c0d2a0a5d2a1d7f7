#include "tvsim/Classes.h"

#include "tvsim/Bda.h"
#include "tvsim/Converters.h"
#include "tvsim/Objects.h"

namespace tvsim {
namespace {

// Filled in as the simulated objects are written; every other class is "not registered".
const SimClass kClasses[] = {
    {&CLSID_FilterGraph, "FilterGraph", createFilterGraph},
    {&CLSID_CaptureGraphBuilder2, "CaptureGraphBuilder2", createCaptureGraphBuilder},
    {&CLSID_SystemDeviceEnum, "SystemDeviceEnum", createSystemDeviceEnum},
    {&CLSID_VideoRenderer, "VideoRenderer", createVideoRenderer},
    {&CLSID_VideoRendererDefault, "VideoRenderer", createVideoRenderer},
    {&CLSID_SmartTee, "SmartTee", createSmartTee},
    {&CLSID_AviDest, "AviMux", createAviMux},
    {&CLSID_FileWriter, "FileWriter", createFileWriter},
    {&CLSID_MPEG2Demultiplexer, "MPEG2Demultiplexer", createMpeg2Demultiplexer},
    {&CLSID_DSoundRender, "AudioRenderer", createAudioRenderer},
    {&CLSID_SystemTuningSpaces, "SystemTuningSpaces", createSystemTuningSpaces},
    {&CLSID_ATSCLocator, "ATSCLocator", createAtscLocator},
    {&CLSID_DVBTLocator, "DVBTLocator", createDvbtLocator},
    {&CLSID_DVBTuningSpace, "DVBTuningSpace", createDvbTuningSpace},
    {&tunekit::CLSID_ATSCQAMNetworkProvider, "ATSCQAMNetworkProvider", createAtscQamNetworkProvider},
    {&CLSID_DVBTNetworkProvider, "DVBTNetworkProvider", createDvbtNetworkProvider},
    {&tunekit::CLSID_SampleGrabber, "SampleGrabber", createSampleGrabber},
    {&kMpeg2FileWriterClsid, "MPEG2FileWriter", createMpeg2FileWriter, [](const Scenario& s) { return s.mpeg2FileWriter; }},
};

} // namespace

const SimClass* findClass(REFCLSID clsid) {
    for (const auto& simClass : kClasses)
        if (simClass.clsid && *simClass.clsid == clsid) return &simClass;
    return nullptr;
}

} // namespace tvsim
