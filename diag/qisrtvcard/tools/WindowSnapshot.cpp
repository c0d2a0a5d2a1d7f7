// Shows a test's video window on a virtual card and saves what the screen shows of it as a 24-bit
// BMP: the pictures for the documentation.
//   window_snapshot OUTPUT.bmp [CHANNEL]     the analog window, tuned to a cable channel
//   window_snapshot OUTPUT.bmp --digital     the digital test's window on the ATSC card, channel 7
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "analog/AnalogPlumbing.h"
#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "digital/AtscTuning.h"
#include "digital/ClearQamTest.h"
#include "digital/FilterLoading.h"
#include "digital/GraphToolkit.h"
#include "frame/ComFactory.h"
#include "tunekit/ComValues.h"
#include "frame/Simulated.h"
#include "qis/System.h"

namespace {

using namespace qisrtvcard;

void pumpFor(double seconds) {
    const qis::Stopwatch clock;
    while (clock.elapsedSeconds() < seconds) {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        Sleep(10);
    }
}

// The renderer's own frame counts, as IQualProp reports them, on stdout.
void printRendererStatistics(IGraphBuilder* graph) {
    tunekit::ComPtr<IEnumFilters> filters;
    if (!graph || FAILED(graph->EnumFilters(filters.put()))) return;
    tunekit::ComPtr<IBaseFilter> filter;
    while (filters->Next(1, filter.put(), nullptr) == S_OK) {
        tunekit::ComPtr<IQualProp> quality;
        if (FAILED(filter.as(quality))) continue;
        int drawn = 0, dropped = 0, jitter = 0;
        quality->get_FramesDrawn(&drawn);
        quality->get_FramesDroppedInRenderer(&dropped);
        quality->get_Jitter(&jitter);
        std::printf("renderer: %d frames drawn, %d dropped, jitter %d ms\n", drawn, dropped, jitter);
    }
}

bool saveScreenArea(const RECT& area, const char* path) {
    const int width = area.right - area.left, height = area.bottom - area.top;
    HDC screen = GetDC(nullptr);
    HDC memory = CreateCompatibleDC(screen);
    HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
    HGDIOBJ previous = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, area.left, area.top, SRCCOPY);
    BITMAPINFOHEADER header{sizeof(BITMAPINFOHEADER), width, height, 1, 24, BI_RGB};
    const int stride = (width * 3 + 3) & ~3;
    std::vector<char> pixels(static_cast<std::size_t>(stride) * height);
    GetDIBits(memory, bitmap, 0, height, pixels.data(), reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS);
    SelectObject(memory, previous);
    DeleteObject(bitmap);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);

    BITMAPFILEHEADER file{};
    file.bfType = 0x4D42;
    file.bfOffBits = sizeof(file) + sizeof(header);
    file.bfSize = file.bfOffBits + static_cast<DWORD>(pixels.size());
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(&file), sizeof(file));
    out.write(reinterpret_cast<const char*>(&header), sizeof(header));
    out.write(pixels.data(), static_cast<std::streamsize>(pixels.size()));
    return static_cast<bool>(out);
}

// The ATSC scan's graph tuned to antenna channel 7, in the renderer's own captioned window.
int snapshotDigital(const char* path) {
    mirt5::SimulationRequest request;
    request.scenario = "atsc";
    request.realtime = true;
    const mirt5::SimulatedSystem system = startSimulatedSystem(request);
    using tunekit::ComPtr;
    ComPtr<IGraphBuilder> graph;
    createInstance(CLSID_FilterGraph, nullptr, CLSCTX_ALL, IID_PPV_ARGS(graph.put()));
    ComPtr<IBaseFilter> provider, tuner, receiver, demultiplexer;
    provider.attach(getNetworkProvider());
    ComPtr<ITuner> tuning;
    if (!graph || !provider || FAILED(graph->AddFilter(provider.get(), L"Microsoft Network Provider")) ||
        !LoadFilter(tunekit::KSCATEGORY_BDA_NETWORK_TUNER, tuner.put(), provider.get(), true, graph.get(), system.device, false) ||
        !LoadFilter(tunekit::KSCATEGORY_BDA_RECEIVER_COMPONENT, receiver.put(), tuner.get(), true, graph.get(), system.device, false) ||
        FAILED(createInstance(CLSID_MPEG2Demultiplexer, nullptr, CLSCTX_ALL, IID_PPV_ARGS(demultiplexer.put()))) ||
        FAILED(graph->AddFilter(demultiplexer.get(), L"Demux")) || !ConnectFilters(receiver.get(), demultiplexer.get(), graph.get()) ||
        FAILED(provider.as(tuning))) {
        std::fprintf(stderr, "window_snapshot: the virtual digital card could not be set up\n");
        return 1;
    }
    clearqam::renderGraph(demultiplexer.get(), graph.get());
    ComPtr<IVideoWindow> window;
    ComPtr<IMediaControl> control;
    graph.as(window);
    graph.as(control);
    const wchar_t* caption = L"Digital TV Signal Test";
    const tunekit::Bstr title(caption);
    window->put_Caption(title.get());
    control->Run();
    ComPtr<ITuningSpace> space;
    space.attach(getTuningSpace(tuning.get(), L"ATSC"));
    ComPtr<ITuneRequest> tuneRequest;
    tuneRequest.attach(createTuneRequest(space.get(), 7L));
    tuning->put_TuneRequest(tuneRequest.get());
    window->put_Visible(OATRUE);
    pumpFor(1.5);
    RECT area{};
    HWND shown = FindWindowW(nullptr, caption);
    if (!shown || !GetWindowRect(shown, &area)) {
        std::fprintf(stderr, "window_snapshot: the digital window is not on the screen\n");
        return 1;
    }
    const bool saved = saveScreenArea(area, path);
    control->Stop();
    removeFilters(graph.get());
    return saved ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: window_snapshot OUTPUT.bmp [CHANNEL [--system]]\n");
        return 64;
    }
    if (argc > 2 && std::string(argv[2]) == "--digital") return snapshotDigital(argv[1]);
    const long channel = argc > 2 ? std::atol(argv[2]) : 5;
    // --system: the registered virtual card (qisvcard.dll) and the platform's own renderer.
    const bool onSystem = argc > 3 && std::string(argv[3]) == "--system";
    mirt5::SimulatedSystem system;
    if (onSystem) {
        system.device = mirt5::DiagDevice("Virtual Hybrid TV Card", "Virtual hybrid analog and digital TV tuner",
                                          mirt5::DeviceCapability::VideoCapture(),
                                          {{"AnalogFriendlyName", "Virtual Hybrid TV Capture"}});
    } else {
        mirt5::SimulationRequest request;
        request.realtime = true; // the renderer paints on a wall-clock timer
        system = startSimulatedSystem(request);
    }

    if (setupCaptureGraph() != mirt5::TestResult::PASS() || setupWindow("WindowSnapshot", "Virtual Hybrid TV Card") != mirt5::TestResult::PASS() ||
        FindCaptureDevice(system.device, CLSID_VideoInputDeviceCategory) != mirt5::TestResult::PASS()) {
        std::fprintf(stderr, "window_snapshot: the virtual card could not be set up\n");
        return 1;
    }
    g_graphManager->AddFilter(g_captureFilter.get(), L"Video Capture");
    g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, g_captureFilter.get(), IID_PPV_ARGS(g_tvTuner.put()));
    tunekit::ComPtr<IAMCrossbar> crossbar;
    g_captureBuilder->FindInterface(&PIN_CATEGORY_CAPTURE, nullptr, g_captureFilter.get(), IID_PPV_ARGS(crossbar.put()));
    if (crossbar) crossbar->Route(0, 0);
    if (g_tvTuner) {
        g_tvTuner->put_Mode(AMTUNER_MODE_TV);
        g_tvTuner->put_InputType(0, TunerInputCable);
        g_tvTuner->put_Channel(channel, AMTUNER_SUBCHAN_DEFAULT, AMTUNER_SUBCHAN_DEFAULT);
    }
    g_captureBuilder->RenderStream(&PIN_CATEGORY_PREVIEW, &MEDIATYPE_Video, g_captureFilter.get(), nullptr, nullptr);
    resizeWindowToFitClient(720, 480);
    initVideoWindow();
    g_mediaControl->Run();
    ShowWindow(g_hwndVideo, SW_SHOW);
    SetForegroundWindow(g_hwndVideo);
    pumpFor(onSystem ? 3.0 : 1.5);
    if (onSystem) printRendererStatistics(g_graphManager.get());

    RECT area{};
    GetWindowRect(g_hwndVideo, &area);
    const bool saved = saveScreenArea(area, argv[1]);
    closeInterfaces();
    g_captureFilter.reset();
    g_tvTuner.reset();
    DestroyWindow(g_hwndVideo);
    return saved ? 0 : 1;
}
