#include "tvsim/WindowWatch.h"

#include <algorithm>
#include <atomic>

#include "tvsim/Journal.h"

namespace tvsim {
namespace {

// The watch the hook procedures report to; one simulation runs at a time.
std::atomic<WindowWatch*> g_watch{nullptr};

qis::String windowText(HWND window) {
    wchar_t text[256] = {};
    GetWindowTextW(window, text, 256);
    return qis::String(text);
}

qis::String className(HWND window) {
    wchar_t name[128] = {};
    GetClassNameW(window, name, 128);
    return qis::String(name);
}

qis::String ownerOf(HWND window) {
    HWND owner = GetWindow(window, GW_OWNER);
    if (!owner) return "none";
    const qis::String title = windowText(owner);
    return title.isEmpty() ? className(owner) : title;
}

// Top-level windows a person could see: not controls, and not the helper windows COM and the
// input method make for every thread.
bool visibleKind(HWND window) {
    if (GetWindowLongPtrW(window, GWL_STYLE) & WS_CHILD) return false;
    const qis::String name = className(window);
    return name != "OleMainThreadWndClass" && name != "IME";
}

} // namespace

WindowWatch::~WindowWatch() {
    WindowWatch* self = this;
    g_watch.compare_exchange_strong(self, nullptr);
    std::lock_guard lock(mutex_);
    for (HHOOK hook : hooks_) UnhookWindowsHookEx(hook);
}

void WindowWatch::watchThisThread() {
    const DWORD thread = GetCurrentThreadId();
    std::lock_guard lock(mutex_);
    if (std::find(threads_.begin(), threads_.end(), thread) != threads_.end()) return;
    threads_.push_back(thread);
    g_watch = this;
    if (HHOOK hook = SetWindowsHookExW(WH_CALLWNDPROC, &WindowWatch::onMessage, nullptr, thread)) hooks_.push_back(hook);
}

LRESULT CALLBACK WindowWatch::onMessage(int code, WPARAM wParam, LPARAM lParam) {
    if (code == HC_ACTION)
        if (WindowWatch* watch = g_watch.load()) watch->record(*reinterpret_cast<const CWPSTRUCT*>(lParam));
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

void WindowWatch::record(const CWPSTRUCT& message) {
    const char* what = nullptr;
    Arguments arguments;
    switch (message.message) {
    case WM_CREATE: {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(message.lParam);
        if ((create->style & WS_CHILD) || !visibleKind(message.hwnd)) return;
        what = "created";
        arguments.with("class", className(message.hwnd)).with("title", qis::String(create->lpszName ? create->lpszName : L""));
        arguments.with("owner", ownerOf(message.hwnd)).with("width", create->cx).with("height", create->cy);
        break;
    }
    case WM_WINDOWPOSCHANGED: {
        const auto* position = reinterpret_cast<const WINDOWPOS*>(message.lParam);
        if (!visibleKind(message.hwnd)) return;
        if (position->flags & SWP_SHOWWINDOW) what = "shown";
        else if (position->flags & SWP_HIDEWINDOW) what = "hidden";
        else if (!(position->flags & SWP_NOSIZE)) what = "resized";
        else return;
        arguments.with("class", className(message.hwnd)).with("title", windowText(message.hwnd)).with("owner", ownerOf(message.hwnd));
        if (!(position->flags & SWP_NOSIZE)) arguments.with("width", position->cx).with("height", position->cy);
        break;
    }
    case WM_DESTROY:
        if (!visibleKind(message.hwnd)) return;
        what = "destroyed";
        arguments.with("class", className(message.hwnd)).with("title", windowText(message.hwnd));
        break;
    default:
        return;
    }
    journal_.record(makeCall("window", what, arguments, S_OK, false));
}

} // namespace tvsim
