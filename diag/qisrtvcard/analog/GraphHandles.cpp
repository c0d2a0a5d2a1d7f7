#include "analog/GraphHandles.h"

#include "analog/SampleCaptureGraphBuilder.h"

namespace qisrtvcard {

tunekit::ComPtr<IGraphBuilder> g_graphManager;
tunekit::ComPtr<IMediaControl> g_mediaControl;
std::unique_ptr<ISampleCaptureGraphBuilder> g_captureBuilder;
tunekit::ComPtr<IBaseFilter> g_captureFilter;
tunekit::ComPtr<IAMTVTuner> g_tvTuner;
HWND g_hwndVideo = nullptr;
tunekit::ComPtr<IVideoWindow> g_videoWindow;
tunekit::ComPtr<IMediaEventEx> g_mediaEvent;
long g_playState = State_Stopped;

} // namespace qisrtvcard
