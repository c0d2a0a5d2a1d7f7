#include "analog/AnalogPlumbing.h"
#include "analog/GraphHandles.h"
#include "analog/SampleCaptureGraphBuilder.h"
#include "frame/Catalogue.h"
#include "frame/Trace.h"
#include "qis/Exception.h"
#include "tunekit/SmartCoInitialize.h"

namespace qisrtvcard {
namespace {

constexpr const char* kRegisterClassFailed = "RegisterClass failed.";
constexpr const char* kCreateWindowFailed = "CreateWindow failed.";
// Also raised when the event interface or its notification fails: the text names the video window.
constexpr const char* kVideoWindowFailed = "IID_IVideoWindow failed.";
constexpr int kIconResource = 100;
constexpr DWORD kWindowStyle = WS_CLIPCHILDREN | WS_DLGFRAME;
constexpr int kInitialWidth = 640;
constexpr int kInitialHeight = 480;

int g_resizeDepth = 0;

mirt5::TestResult windowSetupProblem(const char* error, Caller where = Caller::current()) {
    WarningWindowSetupProblem->setVariable("error", error);
    mirt5::DiagModule::warning(WarningWindowSetupProblem, kSourceFile, lineOf(where));
    tunekit::uninitializeCom();
    return mirt5::TestResult::INTERNALERROR();
}

mirt5::TestResult videoWindowFailed(Caller where = Caller::current()) {
    ErrorCreatingFilterGraph->setVariable("error", kVideoWindowFailed);
    mirt5::DiagModule::error(ErrorCreatingFilterGraph, kSourceFile, lineOf(where));
    return mirt5::TestResult::FAIL();
}

// Minimising stops the graph; any other position change runs it again, once.
void followWindowState() {
    if (!g_mediaControl) return;
    if (IsIconic(g_hwndVideo)) {
        g_mediaControl->Stop();
        g_playState = State_Stopped;
    } else if (g_playState != State_Running) {
        g_mediaControl->Run();
        g_playState = State_Running;
    }
}

} // namespace

mirt5::TestResult setupWindow(const qis::String& className, const qis::String& windowTitle) {
    QISRTV_TRACE("setupWindow");
    const auto instance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(GetConsoleWindow(), GWLP_HINSTANCE));
    const std::wstring classText = className.wide();
    const std::wstring titleText = windowTitle.wide();

    WNDCLASSW windowClass{};
    windowClass.style = 0;
    windowClass.lpfnWndProc = videoWindowProc;
    windowClass.hInstance = instance;
    windowClass.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(kIconResource));
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    windowClass.lpszClassName = classText.c_str();
    // A class an earlier test left registered is used again.
    if (!RegisterClassW(&windowClass) && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        return windowSetupProblem(kRegisterClassFailed);

    g_hwndVideo = CreateWindowExW(0, classText.c_str(), titleText.c_str(), kWindowStyle, CW_USEDEFAULT, CW_USEDEFAULT,
                                  kInitialWidth, kInitialHeight, nullptr, nullptr, instance, nullptr);
    if (!g_hwndVideo) return windowSetupProblem(kCreateWindowFailed);

    QISRTV_ASSERT(g_graphManager, "g_graphManager");
    if (FAILED(g_graphManager.as(g_videoWindow))) return videoWindowFailed();
    HRESULT hr = g_graphManager.as(g_mediaEvent);
    if (SUCCEEDED(hr) && g_mediaEvent)
        hr = g_mediaEvent->SetNotifyWindow(reinterpret_cast<OAHWND>(g_hwndVideo), WM_GRAPHNOTIFY, 0);
    if (FAILED(hr)) return videoWindowFailed();
    return mirt5::TestResult::PASS();
}

LRESULT CALLBACK videoWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_DESTROY:
        PostQuitMessage(0);
        return 0;
    case WM_SIZE:
        if (g_videoWindow) fitRendererToClient();
        break;
    case WM_CLOSE:
        ShowWindow(g_hwndVideo, SW_HIDE);
        closeInterfaces();
        break;
    case WM_WINDOWPOSCHANGED:
        followWindowState();
        break;
    case WM_GRAPHNOTIFY:
        handleGraphEvent();
        break;
    default:
        break;
    }
    if (g_videoWindow)
        g_videoWindow->NotifyOwnerMessage(reinterpret_cast<OAHWND>(window), static_cast<long>(message),
                                          static_cast<LONG_PTR>(wParam), static_cast<LONG_PTR>(lParam));
    return DefWindowProcW(window, message, wParam, lParam);
}

void fitRendererToClient() {
    RECT client{};
    GetClientRect(g_hwndVideo, &client);
    g_videoWindow->SetWindowPosition(0, 0, client.right, client.bottom);
}

HRESULT initVideoWindow() {
    if (!g_videoWindow) return S_OK;
    HRESULT hr = g_videoWindow->put_Owner(reinterpret_cast<OAHWND>(g_hwndVideo));
    if (FAILED(hr)) return hr;
    hr = g_videoWindow->put_WindowStyle(WS_CHILD);
    if (FAILED(hr)) return hr;
    fitRendererToClient();
    return g_videoWindow->put_Visible(OATRUE);
}

void resizeWindowToFitClient(long width, long height) {
    QISRTV_TRACE("Resizing window to fit client");
    struct Depth {
        Depth() { ++g_resizeDepth; }
        ~Depth() { --g_resizeDepth; }
    } depth;

    RECT window{}, client{};
    GetWindowRect(g_hwndVideo, &window);
    GetClientRect(g_hwndVideo, &client);
    const long frameWidth = window.right - client.right - window.left;
    // The extra border line is part of the frame height the window is given.
    const long frameHeight = window.bottom - client.bottom - window.top + GetSystemMetrics(SM_CYBORDER);
    SetWindowPos(g_hwndVideo, nullptr, 0, 0, width + frameWidth, height + frameHeight, SWP_NOMOVE | SWP_NOZORDER);
    if (g_resizeDepth != 1) return;

    // The window may refuse a size (a minimum width, say): check once against the old size and
    // try again once.
    const long oldWidth = window.right - window.left;
    const long oldHeight = window.bottom - window.top;
    const bool widthSettled = width + frameWidth == oldWidth || width <= GetSystemMetrics(SM_CXMIN);
    const bool heightSettled = height + frameHeight == oldHeight;
    if (widthSettled && heightSettled) return;
    resizeWindowToFitClient(width, height);
}

void handleGraphEvent() {
    long code = 0;
    LONG_PTR param1 = 0, param2 = 0;
    while (g_mediaEvent && SUCCEEDED(g_mediaEvent->GetEvent(&code, &param1, &param2, 0)))
        g_mediaEvent->FreeEventParams(code, param1, param2);
}

void closeInterfaces() {
    if (g_mediaControl) g_mediaControl->Stop();
    g_playState = State_Stopped;
    if (g_mediaEvent) g_mediaEvent->SetNotifyWindow(0, WM_GRAPHNOTIFY, 0);
    if (g_videoWindow) {
        g_videoWindow->put_Visible(OAFALSE);
        g_videoWindow->put_Owner(0);
    }
    g_mediaControl.reset();
    g_mediaEvent.reset();
    g_videoWindow.reset();
    g_graphManager.reset();
    g_captureBuilder.reset();
}

} // namespace qisrtvcard
