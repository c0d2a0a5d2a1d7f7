// The video renderer: one video input pin, a real Win32 window that shows what the stream
// carries (colour bars with the channel, or a grey "No signal" screen), and frame statistics
// that follow the simulation's clock while the filter runs.
//
// Unlike the system's renderer, this one makes its window only once an owner is given, so it
// runs on machines without a display; until then the window's properties are only recorded.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tvsim/Filter.h"
#include "tvsim/Objects.h"
#include "tvsim/Picture.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

constexpr wchar_t kWindowClass[] = L"tvsim Video Renderer";
constexpr UINT_PTR kRefreshTimer = 1;
constexpr UINT kRefreshMilliseconds = 250;
constexpr double kDefaultFramesPerSecond = 30.0;
constexpr long kDefaultWidth = 320;
constexpr long kDefaultHeight = 240;
// Styles the system's renderer refuses: they would fight its own sizing and state.
constexpr long kRefusedStyles = WS_DISABLED | WS_HSCROLL | WS_VSCROLL | WS_ICONIC | WS_MINIMIZE | WS_MAXIMIZE;
constexpr long kDefaultStyle = WS_OVERLAPPEDWINDOW | WS_CLIPSIBLINGS | WS_CLIPCHILDREN;

bool isBoolean(long value) { return value == OATRUE || value == OAFALSE; }

HRESULT lastError() {
    const DWORD error = GetLastError();
    return error ? HRESULT_FROM_WIN32(error) : E_FAIL;
}

std::vector<MediaType> acceptedTypes() {
    std::vector<MediaType> types;
    for (const GUID* subtype : {&MEDIASUBTYPE_RGB32, &MEDIASUBTYPE_RGB24, &MEDIASUBTYPE_RGB565, &MEDIASUBTYPE_RGB555,
                                &MEDIASUBTYPE_RGB8, &MEDIASUBTYPE_YUY2, &MEDIASUBTYPE_UYVY, &MEDIASUBTYPE_YVYU,
                                &MEDIASUBTYPE_YV12}) {
        MediaType type;
        type.major = MEDIATYPE_Video;
        type.subtype = *subtype;
        type.formatType = FORMAT_VideoInfo;
        types.push_back(type);
    }
    return types;
}

class VideoRenderer final : public SimFilter, public IVideoWindow, public IQualProp {
public:
    explicit VideoRenderer(Simulation& simulation)
        : SimFilter("VideoRenderer", CLSID_VideoRenderer), simulation_(simulation),
          input_(addPin("Input", PINDIR_INPUT, acceptedTypes())), lastSample_(simulation.elapsed()) {}

    ~VideoRenderer() override { destroyWindow(); }

    // ---- IUnknown: one identity for the filter and its control interfaces ----
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override { return SimFilter::QueryInterface(iid, object); }
    STDMETHODIMP_(ULONG) AddRef() override { return SimFilter::AddRef(); }
    STDMETHODIMP_(ULONG) Release() override { return SimFilter::Release(); }

    // ---- IDispatch of IVideoWindow: scripting is not offered ----
    STDMETHODIMP GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override { return E_NOTIMPL; }

    // ---- IVideoWindow ----
    STDMETHODIMP put_Caption(BSTR text) override {
        return windowCall("put_Caption", [&] {
            caption_ = text ? text : L"";
            if (window_) SetWindowTextW(window_, caption_.c_str());
            return S_OK;
        }, Arguments().with("caption", qis::String(text ? text : L"")));
    }
    STDMETHODIMP get_Caption(BSTR* text) override {
        return windowGet("get_Caption", text, [&] {
            *text = SysAllocString(caption_.c_str());
            return *text ? S_OK : E_OUTOFMEMORY;
        });
    }

    STDMETHODIMP put_WindowStyle(long style) override {
        return windowCall("put_WindowStyle", [&] {
            if (style & kRefusedStyles) return E_INVALIDARG;
            // Visibility stays with put_Visible.
            style_ = style & ~WS_VISIBLE;
            if (window_) {
                const LONG_PTR visible = GetWindowLongPtrW(window_, GWL_STYLE) & WS_VISIBLE;
                SetWindowLongPtrW(window_, GWL_STYLE, style_ | visible);
                SetWindowPos(window_, nullptr, 0, 0, 0, 0,
                             SWP_FRAMECHANGED | SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
            }
            return S_OK;
        }, hex(style));
    }
    STDMETHODIMP get_WindowStyle(long* style) override {
        return windowGet("get_WindowStyle", style, [&] {
            *style = window_ ? static_cast<long>(GetWindowLongPtrW(window_, GWL_STYLE)) : style_ | (visible_ ? WS_VISIBLE : 0);
            return S_OK;
        });
    }

    STDMETHODIMP put_WindowStyleEx(long style) override {
        return windowCall("put_WindowStyleEx", [&] {
            styleEx_ = style;
            if (window_) {
                SetWindowLongPtrW(window_, GWL_EXSTYLE, style);
                SetWindowPos(window_, nullptr, 0, 0, 0, 0,
                             SWP_FRAMECHANGED | SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
            }
            return S_OK;
        }, hex(style));
    }
    STDMETHODIMP get_WindowStyleEx(long* style) override {
        return windowGet("get_WindowStyleEx", style, [&] {
            *style = window_ ? static_cast<long>(GetWindowLongPtrW(window_, GWL_EXSTYLE)) : styleEx_;
            return S_OK;
        });
    }

    STDMETHODIMP put_AutoShow(long show) override {
        return windowCall("put_AutoShow", [&] {
            if (!isBoolean(show)) return E_INVALIDARG;
            autoShow_ = show == OATRUE;
            return S_OK;
        });
    }
    STDMETHODIMP get_AutoShow(long* show) override {
        return windowGet("get_AutoShow", show, [&] {
            *show = autoShow_ ? OATRUE : OAFALSE;
            return S_OK;
        });
    }

    STDMETHODIMP put_WindowState(long state) override {
        return windowCall("put_WindowState", [&] {
            if (state < SW_HIDE || state > SW_MAX) return E_INVALIDARG;
            windowState_ = state;
            visible_ = state != SW_HIDE;
            if (window_) ShowWindow(window_, state);
            return S_OK;
        }, qis::String::number(state));
    }
    STDMETHODIMP get_WindowState(long* state) override {
        return windowGet("get_WindowState", state, [&] {
            if (!window_) *state = windowState_;
            else if (IsIconic(window_)) *state = SW_SHOWMINIMIZED;
            else if (IsZoomed(window_)) *state = SW_SHOWMAXIMIZED;
            else *state = (GetWindowLongPtrW(window_, GWL_STYLE) & WS_VISIBLE) ? SW_SHOW : SW_HIDE;
            return S_OK;
        });
    }

    STDMETHODIMP put_BackgroundPalette(long palette) override {
        return windowCall("put_BackgroundPalette", [&] {
            if (!isBoolean(palette)) return E_INVALIDARG;
            backgroundPalette_ = palette;
            return S_OK;
        });
    }
    STDMETHODIMP get_BackgroundPalette(long* palette) override {
        return windowGet("get_BackgroundPalette", palette, [&] {
            *palette = backgroundPalette_;
            return S_OK;
        });
    }

    STDMETHODIMP put_Visible(long visible) override {
        return windowCall("put_Visible", [&] {
            if (!isBoolean(visible)) return E_INVALIDARG;
            show(visible == OATRUE);
            return S_OK;
        }, Arguments().with("visible", visible));
    }
    STDMETHODIMP get_Visible(long* visible) override {
        return windowGet("get_Visible", visible, [&] {
            const bool shown = window_ ? (GetWindowLongPtrW(window_, GWL_STYLE) & WS_VISIBLE) != 0 : visible_;
            *visible = shown ? OATRUE : OAFALSE;
            return S_OK;
        });
    }

    STDMETHODIMP put_Left(long left) override {
        return windowCall("put_Left", [&] {
            RECT r = placement();
            OffsetRect(&r, left - r.left, 0);
            return place(r);
        }, qis::String::number(left));
    }
    STDMETHODIMP get_Left(long* left) override {
        return windowGet("get_Left", left, [&] {
            *left = placement().left;
            return S_OK;
        });
    }
    STDMETHODIMP put_Top(long top) override {
        return windowCall("put_Top", [&] {
            RECT r = placement();
            OffsetRect(&r, 0, top - r.top);
            return place(r);
        }, qis::String::number(top));
    }
    STDMETHODIMP get_Top(long* top) override {
        return windowGet("get_Top", top, [&] {
            *top = placement().top;
            return S_OK;
        });
    }
    STDMETHODIMP put_Width(long width) override {
        return windowCall("put_Width", [&] {
            RECT r = placement();
            r.right = r.left + width;
            return place(r);
        }, qis::String::number(width));
    }
    STDMETHODIMP get_Width(long* width) override {
        return windowGet("get_Width", width, [&] {
            const RECT r = placement();
            *width = r.right - r.left;
            return S_OK;
        });
    }
    STDMETHODIMP put_Height(long height) override {
        return windowCall("put_Height", [&] {
            RECT r = placement();
            r.bottom = r.top + height;
            return place(r);
        }, qis::String::number(height));
    }
    STDMETHODIMP get_Height(long* height) override {
        return windowGet("get_Height", height, [&] {
            const RECT r = placement();
            *height = r.bottom - r.top;
            return S_OK;
        });
    }

    STDMETHODIMP put_Owner(OAHWND owner) override {
        return windowCall("put_Owner", [&] { return attach(reinterpret_cast<HWND>(owner)); },
                          hex(static_cast<long long>(owner)));
    }
    STDMETHODIMP get_Owner(OAHWND* owner) override {
        return windowGet("get_Owner", owner, [&] {
            *owner = reinterpret_cast<OAHWND>(owner_);
            return S_OK;
        });
    }

    STDMETHODIMP put_MessageDrain(OAHWND drain) override {
        return windowCall("put_MessageDrain", [&] {
            drain_ = reinterpret_cast<HWND>(drain);
            return S_OK;
        });
    }
    STDMETHODIMP get_MessageDrain(OAHWND* drain) override {
        return windowGet("get_MessageDrain", drain, [&] {
            *drain = reinterpret_cast<OAHWND>(drain_);
            return S_OK;
        });
    }

    STDMETHODIMP get_BorderColor(long* colour) override {
        return windowGet("get_BorderColor", colour, [&] {
            *colour = borderColour_;
            return S_OK;
        });
    }
    STDMETHODIMP put_BorderColor(long colour) override {
        return windowCall("put_BorderColor", [&] {
            borderColour_ = colour;
            return S_OK;
        });
    }

    // No full-screen mode of its own (the graph would swap in a full-screen renderer).
    STDMETHODIMP get_FullScreenMode(long*) override { return call("get_FullScreenMode", [] { return E_NOTIMPL; }); }
    STDMETHODIMP put_FullScreenMode(long) override { return call("put_FullScreenMode", [] { return E_NOTIMPL; }); }

    STDMETHODIMP SetWindowForeground(long focus) override {
        return windowCall("SetWindowForeground", [&] {
            if (!isBoolean(focus)) return E_INVALIDARG;
            if (window_) {
                SetWindowPos(window_, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | (focus == OATRUE ? 0 : SWP_NOACTIVATE));
                if (focus == OATRUE) SetFocus(window_);
            }
            return S_OK;
        });
    }

    // The owner passes on what a child window would not see itself (palette and display changes).
    STDMETHODIMP NotifyOwnerMessage(OAHWND, long message, LONG_PTR wParam, LONG_PTR lParam) override {
        return windowCall("NotifyOwnerMessage", [&] {
            switch (message) {
            case WM_ACTIVATEAPP:
            case WM_DEVMODECHANGE:
            case WM_DISPLAYCHANGE:
            case WM_PALETTECHANGED:
            case WM_PALETTEISCHANGING:
            case WM_QUERYNEWPALETTE:
            case WM_SYSCOLORCHANGE:
                if (window_) SendMessageW(window_, static_cast<UINT>(message), static_cast<WPARAM>(wParam), lParam);
                break;
            default:
                break;
            }
            return S_OK;
        }, qis::String::number(message));
    }

    STDMETHODIMP SetWindowPosition(long left, long top, long width, long height) override {
        return windowCall("SetWindowPosition", [&] { return place(RECT{left, top, left + width, top + height}); },
                          Arguments(qis::String::number(left) + "," + qis::String::number(top) + "," + qis::String::number(width) + "," +
                                    qis::String::number(height))
                              .with("left", left).with("top", top).with("width", width).with("height", height));
    }
    STDMETHODIMP GetWindowPosition(long* left, long* top, long* width, long* height) override {
        return windowCall("GetWindowPosition", [&] {
            if (!left || !top || !width || !height) return E_POINTER;
            const RECT r = placement();
            *left = r.left;
            *top = r.top;
            *width = r.right - r.left;
            *height = r.bottom - r.top;
            return S_OK;
        });
    }
    STDMETHODIMP GetRestorePosition(long* left, long* top, long* width, long* height) override {
        return windowCall("GetRestorePosition", [&] {
            if (!left || !top || !width || !height) return E_POINTER;
            RECT r = placement();
            WINDOWPLACEMENT where{};
            where.length = sizeof(where);
            if (window_ && GetWindowPlacement(window_, &where)) r = where.rcNormalPosition;
            *left = r.left;
            *top = r.top;
            *width = r.right - r.left;
            *height = r.bottom - r.top;
            return S_OK;
        });
    }

    // The picture has no size limits here: both answer the native size with S_FALSE, and only
    // once the filter has resources (paused or running).
    STDMETHODIMP GetMinIdealImageSize(long* width, long* height) override { return idealSize("GetMinIdealImageSize", width, height); }
    STDMETHODIMP GetMaxIdealImageSize(long* width, long* height) override { return idealSize("GetMaxIdealImageSize", width, height); }

    STDMETHODIMP HideCursor(long hide) override {
        return windowCall("HideCursor", [&] {
            if (!isBoolean(hide)) return E_INVALIDARG;
            cursorHidden_ = hide == OATRUE;
            return S_OK;
        });
    }
    STDMETHODIMP IsCursorHidden(long* hidden) override {
        return windowGet("IsCursorHidden", hidden, [&] {
            *hidden = cursorHidden_ ? OATRUE : OAFALSE;
            return S_OK;
        });
    }

    // ---- IQualProp: statistics since the filter last left the stopped state ----
    STDMETHODIMP get_FramesDroppedInRenderer(int* frames) override {
        return statistic("get_FramesDroppedInRenderer", frames, [] { return 0; });
    }
    STDMETHODIMP get_FramesDrawn(int* frames) override {
        return statistic("get_FramesDrawn", frames, [&] { return static_cast<int>(std::floor(frames_)); });
    }
    // In hundredths of a frame per second, over the time spent running.
    STDMETHODIMP get_AvgFrameRate(int* rate) override {
        return statistic("get_AvgFrameRate", rate, [&] {
            const double seconds = std::chrono::duration<double>(runningTime_).count();
            return seconds > 0 ? static_cast<int>(std::lround(std::floor(frames_) * 100.0 / seconds)) : 0;
        });
    }
    // Milliseconds; a steady source on a quiet machine: small and constant once frames flow.
    STDMETHODIMP get_Jitter(int* jitter) override {
        return statistic("get_Jitter", jitter, [&] { return frames_ >= 1 ? 2 : 0; });
    }
    STDMETHODIMP get_AvgSyncOffset(int* offset) override {
        return statistic("get_AvgSyncOffset", offset, [&] { return frames_ >= 1 ? 3 : 0; });
    }
    STDMETHODIMP get_DevSyncOffset(int* deviation) override {
        return statistic("get_DevSyncOffset", deviation, [&] { return frames_ >= 1 ? 1 : 0; });
    }

protected:
    void* extraInterface(REFIID iid) override {
        if (iid == IID_IVideoWindow) return static_cast<IVideoWindow*>(this);
        if (iid == IID_IQualProp) return static_cast<IQualProp*>(this);
        return SimFilter::extraInterface(iid);
    }

    void stateChanged(FILTER_STATE from, FILTER_STATE to) override {
        sample(from == State_Running);
        // The statistics start again with each run from stopped.
        if (to == State_Stopped) {
            frames_ = 0;
            runningTime_ = {};
        }
        if (from == State_Stopped && autoShow_) show(true);
        if (window_) InvalidateRect(window_, nullptr, FALSE);
    }

private:
    static qis::String hex(long long value) {
        char text[24];
        std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
        return qis::String(text);
    }

    // The system's renderer answers every window method with "not connected" until its input
    // is connected.
    template <class Body>
    HRESULT windowCall(const char* method, Body&& body, const Arguments& arguments = {}) {
        return call(method, [&]() -> HRESULT {
            if (!input_.isConnected()) return VFW_E_NOT_CONNECTED;
            return body();
        }, arguments);
    }
    template <class T, class Body>
    HRESULT windowGet(const char* method, T* out, Body&& body) {
        return windowCall(method, [&]() -> HRESULT { return out ? body() : E_POINTER; });
    }
    template <class Body>
    HRESULT statistic(const char* method, int* out, Body&& value) {
        return call(method, [&]() -> HRESULT {
            if (!out) return E_POINTER;
            sample(state() == State_Running);
            *out = value();
            return S_OK;
        });
    }

    HRESULT idealSize(const char* method, long* width, long* height) {
        return windowCall(method, [&]() -> HRESULT {
            if (!width || !height) return E_POINTER;
            if (state() == State_Stopped) return VFW_E_WRONG_STATE;
            const SIZE size = nativeSize();
            *width = size.cx;
            *height = size.cy;
            return S_FALSE;
        });
    }

    // ---- the picture ----

    const VIDEOINFOHEADER* videoInfo() const {
        const MediaType& type = input_.connectionType();
        if (type.formatType != FORMAT_VideoInfo || type.format.size() < sizeof(VIDEOINFOHEADER)) return nullptr;
        return reinterpret_cast<const VIDEOINFOHEADER*>(type.format.data());
    }

    double framesPerSecond() const {
        const VIDEOINFOHEADER* info = videoInfo();
        return info && info->AvgTimePerFrame > 0 ? 10000000.0 / static_cast<double>(info->AvgTimePerFrame)
                                                 : kDefaultFramesPerSecond;
    }

    SIZE nativeSize() const {
        const VIDEOINFOHEADER* info = videoInfo();
        if (!info || info->bmiHeader.biWidth <= 0 || info->bmiHeader.biHeight == 0) return SIZE{kDefaultWidth, kDefaultHeight};
        return SIZE{info->bmiHeader.biWidth, std::labs(info->bmiHeader.biHeight)};
    }

    bool hasPicture() const {
        const PictureSource* source = upstreamPicture(input_);
        return source && source->hasPicture();
    }

    // Frames are counted when somebody looks (statistics read, state change, repaint): the time
    // since the last look counts with the picture as it is now.
    void sample(bool running) {
        const qis::Nanoseconds now = simulation_.elapsed();
        const qis::Nanoseconds passed = now - lastSample_;
        lastSample_ = now;
        if (!running || passed <= qis::Nanoseconds::zero()) return;
        runningTime_ += passed;
        if (hasPicture()) frames_ += std::chrono::duration<double>(passed).count() * framesPerSecond();
    }

    // ---- the window ----

    static HINSTANCE instance() {
        // The module this code is linked into, whether program or library.
        HMODULE module = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, kWindowClass,
                           &module);
        return module;
    }

    static bool registerClass() {
        WNDCLASSEXW windowClass{};
        windowClass.cbSize = sizeof(windowClass);
        windowClass.lpfnWndProc = &VideoRenderer::windowProcedure;
        windowClass.hInstance = instance();
        windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)); // IDC_ARROW
        windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
        windowClass.lpszClassName = kWindowClass;
        return RegisterClassExW(&windowClass) || GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
    }

    static LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE) {
            const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
            SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
        }
        auto* self = reinterpret_cast<VideoRenderer*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        return self ? self->handle(window, message, wParam, lParam) : DefWindowProcW(window, message, wParam, lParam);
    }

    LRESULT handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        // Mouse and keyboard go to the drain when there is one, so the application sees them.
        if (drain_ && ((message >= WM_MOUSEFIRST && message <= WM_MOUSELAST) || (message >= WM_KEYFIRST && message <= WM_KEYLAST))) {
            PostMessageW(drain_, message, wParam, lParam);
            return 0;
        }
        switch (message) {
        case WM_ERASEBKGND:
            return 1; // painting covers the whole client area
        case WM_PAINT:
            paint(window);
            return 0;
        case WM_TIMER:
            if (wParam != kRefreshTimer) break;
            sample(state() == State_Running);
            if (shownPicture_ != hasPicture() || (shownPicture_ && shownLabel_ != currentLabel()) || shownState_ != state())
                InvalidateRect(window, nullptr, FALSE);
            return 0;
        case WM_SETCURSOR:
            if (cursorHidden_ && LOWORD(lParam) == HTCLIENT) {
                SetCursor(nullptr);
                return TRUE;
            }
            break;
        case WM_NCDESTROY:
            // Destroyed with its owner: nothing left to destroy later.
            SetWindowLongPtrW(window, GWLP_USERDATA, 0);
            if (window == window_) window_ = nullptr;
            break;
        default:
            break;
        }
        return DefWindowProcW(window, message, wParam, lParam);
    }

    qis::String currentLabel() const {
        const PictureSource* source = upstreamPicture(input_);
        return source && source->hasPicture() ? source->pictureLabel() : qis::String();
    }

    void paint(HWND window) {
        PAINTSTRUCT ps{};
        HDC dc = BeginPaint(window, &ps);
        RECT client{};
        GetClientRect(window, &client);
        shownState_ = state();
        shownPicture_ = hasPicture();
        shownLabel_ = currentLabel();
        if (shownState_ == State_Stopped) fillArea(dc, client, RGB(0, 0, 0));
        else paintPicture(dc, client, Picture{shownPicture_, shownLabel_.wide()});
        EndPaint(window, &ps);
    }

    // Where the window is (in its owner's client coordinates) or would be.
    RECT placement() const {
        if (window_) {
            RECT r{};
            GetWindowRect(window_, &r);
            MapWindowPoints(HWND_DESKTOP, GetParent(window_), reinterpret_cast<POINT*>(&r), 2);
            return r;
        }
        if (placed_) return placement_;
        const SIZE size = nativeSize();
        return RECT{0, 0, size.cx, size.cy};
    }

    HRESULT place(const RECT& r) {
        if (r.right < r.left || r.bottom < r.top) return E_INVALIDARG;
        placement_ = r;
        placed_ = true;
        if (window_ && !MoveWindow(window_, r.left, r.top, r.right - r.left, r.bottom - r.top, TRUE)) return lastError();
        return S_OK;
    }

    void show(bool visible) {
        visible_ = visible;
        windowState_ = visible ? SW_SHOW : SW_HIDE;
        // Without an owner the video goes to a window of the renderer's own, as DirectShow's
        // renderer does: the digital tests show their picture there, under their caption.
        if (visible && !window_ && !owner_) createOwnWindow();
        if (window_) ShowWindow(window_, visible ? SW_SHOW : SW_HIDE);
    }

    void createOwnWindow() {
        if (!registerClass()) return;
        const RECT r = placement();
        HWND window = CreateWindowExW(styleEx_, kWindowClass, caption_.c_str(), style_ & ~WS_CHILD, r.left, r.top,
                                      r.right - r.left, r.bottom - r.top, nullptr, nullptr, instance(), this);
        if (!window) return;
        window_ = window;
        SetTimer(window_, kRefreshTimer, kRefreshMilliseconds, nullptr);
    }

    // An owner makes the window (or moves it there) as the owner's child; no owner, no window.
    HRESULT attach(HWND owner) {
        if (!owner) {
            destroyWindow();
            owner_ = nullptr;
            style_ &= ~WS_CHILD;
            return S_OK;
        }
        const long style = (style_ & ~WS_POPUP) | WS_CHILD;
        if (window_) {
            SetWindowLongPtrW(window_, GWL_STYLE, style | (GetWindowLongPtrW(window_, GWL_STYLE) & WS_VISIBLE));
            if (!SetParent(window_, owner)) return lastError();
        } else {
            if (!registerClass()) return lastError();
            const RECT r = placement();
            SetLastError(0);
            HWND window = CreateWindowExW(styleEx_, kWindowClass, caption_.c_str(), style | (visible_ ? WS_VISIBLE : 0),
                                          r.left, r.top, r.right - r.left, r.bottom - r.top, owner, nullptr, instance(), this);
            if (!window) return lastError();
            window_ = window;
            SetTimer(window_, kRefreshTimer, kRefreshMilliseconds, nullptr);
        }
        style_ = style;
        owner_ = owner;
        return S_OK;
    }

    void destroyWindow() {
        if (!window_) return;
        HWND window = window_;
        window_ = nullptr;
        // No more calls into this object, whichever thread ends up destroying the window.
        SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        // Only the creating thread may destroy it; from another thread ask it to close.
        if (!DestroyWindow(window)) PostMessageW(window, WM_CLOSE, 0, 0);
    }

    Simulation& simulation_;
    SimPin& input_;

    HWND window_ = nullptr;
    HWND owner_ = nullptr;
    HWND drain_ = nullptr;
    std::wstring caption_ = L"ActiveMovie Window";
    long style_ = kDefaultStyle;
    long styleEx_ = 0;
    bool visible_ = false;
    long windowState_ = SW_HIDE;
    bool autoShow_ = true;
    long backgroundPalette_ = OAFALSE;
    long borderColour_ = 0;
    bool cursorHidden_ = false;
    RECT placement_{};
    bool placed_ = false;

    FILTER_STATE shownState_ = State_Stopped;
    bool shownPicture_ = false;
    qis::String shownLabel_;

    double frames_ = 0;
    qis::Nanoseconds runningTime_{};
    qis::Nanoseconds lastSample_{};
};

} // namespace

ComPtr<IUnknown> createVideoRenderer(Simulation& simulation) {
    ComPtr<IBaseFilter> renderer(make<VideoRenderer>(simulation));
    return ComPtr<IUnknown>(renderer.get());
}

} // namespace tvsim
