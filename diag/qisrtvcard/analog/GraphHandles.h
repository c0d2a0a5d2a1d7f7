#pragma once
// The analog tests' module-wide graph handles: one set for the process, since one analog test
// runs at a time. closeInterfaces releases them.

#include <memory>

#include "tunekit/ComPtr.h"
#include "tunekit/DirectShow.h"

namespace qisrtvcard {

class ISampleCaptureGraphBuilder;

extern tunekit::ComPtr<IGraphBuilder> g_graphManager;
extern tunekit::ComPtr<IMediaControl> g_mediaControl;
extern std::unique_ptr<ISampleCaptureGraphBuilder> g_captureBuilder;
extern tunekit::ComPtr<IBaseFilter> g_captureFilter;
extern tunekit::ComPtr<IAMTVTuner> g_tvTuner;
extern HWND g_hwndVideo;
extern tunekit::ComPtr<IVideoWindow> g_videoWindow;
extern tunekit::ComPtr<IMediaEventEx> g_mediaEvent;
extern long g_playState;

// The graph signals pending events to the video window with this message.
constexpr UINT WM_GRAPHNOTIFY = WM_APP + 1;

} // namespace qisrtvcard
