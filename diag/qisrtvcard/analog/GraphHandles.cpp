#include "analog/GraphHandles.h"

#include "analog/SampleCaptureGraphBuilder.h"

#include <vector>

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

namespace {

// What the handles held when they were abandoned. Never destroyed: nothing may release these at
// process exit.
struct Abandoned {
    std::vector<IUnknown*> references;
    std::vector<ISampleCaptureGraphBuilder*> builders;
};
Abandoned& abandoned() {
    static auto* list = new Abandoned;
    return *list;
}

template <class T>
void abandon(tunekit::ComPtr<T>& handle) {
    if (T* p = handle.detach()) abandoned().references.push_back(p);
}

} // namespace

void abandonGraphHandles() {
    abandon(g_graphManager);
    abandon(g_mediaControl);
    if (ISampleCaptureGraphBuilder* builder = g_captureBuilder.release()) abandoned().builders.push_back(builder);
    abandon(g_captureFilter);
    abandon(g_tvTuner);
    abandon(g_videoWindow);
    abandon(g_mediaEvent);
}

std::size_t releaseAbandonedGraphHandles() {
    Abandoned& list = abandoned();
    const std::size_t count = list.references.size() + list.builders.size();
    for (IUnknown* reference : list.references) reference->Release();
    for (ISampleCaptureGraphBuilder* builder : list.builders) delete builder;
    list = Abandoned();
    return count;
}

} // namespace qisrtvcard
