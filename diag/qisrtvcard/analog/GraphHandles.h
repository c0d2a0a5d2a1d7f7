#pragma once
// The analog tests' module-wide graph handles: one set for the process, since one analog test
// runs at a time. closeInterfaces releases them.

#include <cstddef>
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

// Lets go of whatever a test left in the handles without releasing it, as plain pointers would
// be left. A release later, from a static destructor at process exit, would run after the test
// thread's CoUninitialize, when a driver's code may be unloaded already.
void abandonGraphHandles();
// Releases what was abandoned, as the end of the process would have: for a process that runs
// one test after another in the same apartment, such as a test program. Returns how many.
std::size_t releaseAbandonedGraphHandles();

// Abandons the handles when a test entry returns, on every path.
struct GraphHandlesAbandonedOnReturn {
    GraphHandlesAbandonedOnReturn() = default;
    GraphHandlesAbandonedOnReturn(const GraphHandlesAbandonedOnReturn&) = delete;
    GraphHandlesAbandonedOnReturn& operator=(const GraphHandlesAbandonedOnReturn&) = delete;
    ~GraphHandlesAbandonedOnReturn() { abandonGraphHandles(); }
};

// The graph signals pending events to the video window with this message.
constexpr UINT WM_GRAPHNOTIFY = WM_APP + 1;

} // namespace qisrtvcard
