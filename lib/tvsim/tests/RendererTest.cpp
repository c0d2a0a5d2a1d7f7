// The video renderer as the video test and the graph see it: its input, its window (owned or its
// own) and its frame statistics.
#include <gtest/gtest.h>

#include "Requirement.h"

#include <cstdlib>

#include "SimTestSupport.h"
#include "tvsim/Filter.h"

namespace tvsim {
namespace {

using tunekit::ComPtr;

// A source that shows the renderer whatever the test wants: a picture or none, at a frame rate.
class PictureFeed final : public SimFilter, public PictureSource {
public:
    explicit PictureFeed(double framesPerSecond) : SimFilter("PictureFeed", GUID_NULL) {
        addPin("Out", PINDIR_OUTPUT, {MediaType::video(720, 480, framesPerSecond)});
    }
    bool hasPicture() const override { return picture; }
    qis::String pictureLabel() const override { return "Channel 7"; }

    bool picture = true;
};

bool looksLike(COLORREF colour, int red, int green, int blue) {
    return std::abs(GetRValue(colour) - red) <= 8 && std::abs(GetGValue(colour) - green) <= 8 &&
           std::abs(GetBValue(colour) - blue) <= 8;
}

class RendererTest : public testing::SimTest {
protected:
    void SetUp() override {
        ASSERT_EQ(renderer.as(window), S_OK);
        ASSERT_EQ(renderer.as(quality), S_OK);
        ASSERT_EQ(renderer->FindPin(L"Input", input.put()), S_OK);
    }

    void TearDown() override {
        releaseFilters();
        if (owner) DestroyWindow(owner);
    }
    // Stops and disconnects both sides, which is what lets the two filters go.
    void releaseFilters() {
        if (renderer) renderer->Stop();
        if (feed) {
            feed->Stop();
            feed->pins()[0]->Disconnect();
            input->Disconnect();
        }
        feed.reset();
        input.reset();
        quality.reset();
        window.reset();
        renderer.reset();
    }

    // Connects a feed straight to the renderer's input, as the graph would after rendering.
    void connect(double framesPerSecond = 25.0) {
        feed = make<PictureFeed>(framesPerSecond);
        ASSERT_EQ(feed->pins()[0]->Connect(input.get(), nullptr), S_OK);
    }

    // One shown top-level window for the whole suite: without a window manager, hiding or
    // destroying a top-level window waits two seconds for one.
    static void SetUpTestSuite() {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = DefWindowProcW;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = kOwnerClass;
        RegisterClassW(&windowClass);
        screen = CreateWindowExW(0, kOwnerClass, L"screen", WS_POPUP | WS_CLIPCHILDREN, 0, 0, 640, 480, nullptr, nullptr,
                                 windowClass.hInstance, nullptr);
        if (screen) ShowWindow(screen, SW_SHOW);
    }
    static void TearDownTestSuite() {
        if (screen) DestroyWindow(screen);
        screen = nullptr;
    }

    // A visible window of the test's own to own the renderer's; false without a display.
    bool makeOwner() {
        if (screen)
            owner = CreateWindowExW(0, kOwnerClass, L"owner", WS_CHILD | WS_VISIBLE | WS_CLIPCHILDREN, 0, 0, 640, 480, screen,
                                    nullptr, GetModuleHandleW(nullptr), nullptr);
        return owner != nullptr;
    }

    int framesDrawn() {
        int frames = -1;
        EXPECT_EQ(quality->get_FramesDrawn(&frames), S_OK);
        return frames;
    }

    ComPtr<IBaseFilter> renderer = testing::create<IBaseFilter>(CLSID_VideoRenderer);
    ComPtr<IVideoWindow> window;
    ComPtr<IQualProp> quality;
    ComPtr<IPin> input;
    ComPtr<PictureFeed> feed;
    HWND owner = nullptr;

    static constexpr const wchar_t* kOwnerClass = L"tvsim renderer test owner";
    static HWND screen;
};

HWND RendererTest::screen = nullptr;

TEST_F(RendererTest, TheInputTakesVideoOnlyAndWindowCallsRefuseWhatTheSystemRendererRefuses) {
    AM_MEDIA_TYPE audio{};
    audio.majortype = MEDIATYPE_Audio;
    audio.subtype = MEDIASUBTYPE_PCM;
    EXPECT_EQ(input->QueryAccept(&audio), S_FALSE);
    AM_MEDIA_TYPE video{};
    ASSERT_EQ(MediaType::video(720, 480, 29.97).copyTo(video), S_OK);
    EXPECT_EQ(input->QueryAccept(&video), S_OK);
    freeMediaType(video);

    long visible = 0, mode = 0;
    // The window waits for a connected input.
    EXPECT_EQ(window->put_Owner(0), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(window->get_Visible(&visible), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(window->SetWindowPosition(0, 0, 320, 240), VFW_E_NOT_CONNECTED);
    connect();
    EXPECT_EQ(window->get_Visible(&visible), S_OK);
    EXPECT_EQ(visible, OAFALSE);
    EXPECT_EQ(window->put_WindowStyle(WS_CHILD | WS_VSCROLL), E_INVALIDARG);
    EXPECT_EQ(window->put_WindowStyle(WS_MAXIMIZE), E_INVALIDARG);
    EXPECT_EQ(window->put_Visible(1), E_INVALIDARG); // OATRUE is -1
    EXPECT_EQ(window->SetWindowPosition(0, 0, -1, 240), E_INVALIDARG);
    EXPECT_EQ(window->get_Visible(nullptr), E_POINTER);
    EXPECT_EQ(window->get_FullScreenMode(&mode), E_NOTIMPL);
    // An owner that is no window is refused without a crash.
    EXPECT_EQ(window->put_Owner(static_cast<OAHWND>(0xDEAD0)), HRESULT_FROM_WIN32(ERROR_INVALID_WINDOW_HANDLE));
    OAHWND reported = 1;
    EXPECT_EQ(window->get_Owner(&reported), S_OK);
    EXPECT_EQ(reported, 0);
}

TEST_F(RendererTest, WithoutAnOwnerTheWindowIsThePicturesSizeAndKeepsItsSettingsForLater) {
    connect();
    long left = -1, top = -1, width = -1, height = -1, style = 0;
    EXPECT_EQ(window->GetMaxIdealImageSize(&width, &height), VFW_E_WRONG_STATE) << "no resources yet";
    ASSERT_EQ(window->GetWindowPosition(&left, &top, &width, &height), S_OK);
    EXPECT_EQ(width, 720);
    EXPECT_EQ(height, 480);
    EXPECT_EQ(window->SetWindowPosition(10, 20, 300, 200), S_OK);
    EXPECT_EQ(window->put_WindowStyle(WS_CHILD | WS_CLIPSIBLINGS), S_OK);
    ASSERT_EQ(window->GetWindowPosition(&left, &top, &width, &height), S_OK);
    EXPECT_EQ(std::vector<long>({left, top, width, height}), std::vector<long>({10, 20, 300, 200}));
    EXPECT_EQ(window->get_WindowStyle(&style), S_OK);
    EXPECT_EQ(style, WS_CHILD | WS_CLIPSIBLINGS);
    // The ideal size is the native one once the filter has resources.
    ASSERT_EQ(renderer->Pause(), S_OK);
    EXPECT_EQ(window->GetMaxIdealImageSize(&width, &height), S_FALSE);
    EXPECT_EQ(width, 720);
    EXPECT_EQ(height, 480);
}

TEST_F(RendererTest, FramesAreDrawnOnlyWhileRunningWithAPicture) {
    // Nothing upstream: running draws nothing.
    ASSERT_EQ(renderer->Run(0), S_OK);
    qis::System::sleep(1.0);
    EXPECT_EQ(framesDrawn(), 0);
    ASSERT_EQ(renderer->Stop(), S_OK);

    connect(25.0);
    const auto after = [&](double seconds) {
        qis::System::sleep(seconds);
        return framesDrawn();
    };
    EXPECT_EQ(after(2.0), 0) << "stopped";
    ASSERT_EQ(renderer->Run(0), S_OK);
    EXPECT_EQ(after(2.0), 50);
    ASSERT_EQ(renderer->Pause(), S_OK);
    EXPECT_EQ(after(2.0), 50);
    ASSERT_EQ(renderer->Run(0), S_OK);
    feed->picture = false;
    EXPECT_EQ(after(2.0), 50);
    feed->picture = true;
    EXPECT_EQ(after(1.0), 75);
    // Stopping starts the statistics again.
    ASSERT_EQ(renderer->Stop(), S_OK);
    EXPECT_EQ(framesDrawn(), 0);
}

TEST_F(RendererTest, TheFrameRateIsTheConnectionsAndTheAverageIsInHundredths) {
    connect(29.97);
    ASSERT_EQ(renderer->Run(0), S_OK);
    qis::System::sleep(2.0);
    EXPECT_EQ(framesDrawn(), 59); // 59.94 frames, the last not yet complete
    int rate = 0, dropped = -1;
    EXPECT_EQ(quality->get_AvgFrameRate(&rate), S_OK);
    EXPECT_EQ(rate, 2950);
    EXPECT_EQ(quality->get_FramesDroppedInRenderer(&dropped), S_OK);
    EXPECT_EQ(dropped, 0);
    EXPECT_EQ(quality->get_FramesDrawn(nullptr), E_POINTER);
}

// A connected renderer and, on the display, a window of the test's own to own its window.
class RendererWindow : public RendererTest {
protected:
    void SetUp() override {
        RendererTest::SetUp();
        connect();
        QIS_REQUIRE(makeOwner(), "a display (run under xvfb-run)");
    }
    HWND attachToOwner(long width, long height) {
        EXPECT_EQ(window->put_Owner(reinterpret_cast<OAHWND>(owner)), S_OK);
        EXPECT_EQ(window->put_WindowStyle(WS_CHILD), S_OK);
        EXPECT_EQ(window->SetWindowPosition(0, 0, width, height), S_OK);
        EXPECT_EQ(window->put_Visible(OATRUE), S_OK);
        return FindWindowExW(owner, nullptr, nullptr, nullptr);
    }
    static SIZE sizeOf(HWND child) {
        RECT r{};
        GetWindowRect(child, &r);
        return {r.right - r.left, r.bottom - r.top};
    }
    COLORREF pixel(HWND child, int x, int y) {
        UpdateWindow(child);
        HDC dc = GetDC(child);
        const COLORREF colour = GetPixel(dc, x, y);
        ReleaseDC(child, dc);
        return colour;
    }
};

TEST_F(RendererWindow, RunningWithoutAnOwnerShowsATopLevelWindowUnderTheCaption) {
    BSTR caption = SysAllocString(L"Renderer's own window");
    EXPECT_EQ(window->put_Caption(caption), S_OK);
    SysFreeString(caption);
    EXPECT_FALSE(FindWindowW(nullptr, L"Renderer's own window")) << "nothing before the graph runs";
    ASSERT_EQ(renderer->Run(0), S_OK);
    const HWND own = FindWindowW(nullptr, L"Renderer's own window");
    ASSERT_TRUE(own);
    EXPECT_TRUE(IsWindowVisible(own));
    EXPECT_FALSE(GetParent(own));
    EXPECT_FALSE(GetWindowLongPtrW(own, GWL_STYLE) & WS_CHILD);
}

TEST_F(RendererWindow, AnOwnedWindowIsARealVisibleChildOfTheSizeAskedThatFollowsTheRenderer) {
    const HWND child = attachToOwner(320, 240);
    ASSERT_TRUE(child);
    EXPECT_EQ(GetParent(child), owner);
    EXPECT_TRUE(IsWindowVisible(child));
    EXPECT_TRUE(GetWindowLongPtrW(child, GWL_STYLE) & WS_CHILD);
    EXPECT_FALSE(GetWindowLongPtrW(child, GWL_STYLE) & WS_CAPTION);
    EXPECT_EQ(sizeOf(child).cx, 320);
    EXPECT_EQ(sizeOf(child).cy, 240);
    OAHWND reported = 0;
    EXPECT_EQ(window->get_Owner(&reported), S_OK);
    EXPECT_EQ(reinterpret_cast<HWND>(reported), owner);
    EXPECT_EQ(window->SetWindowPosition(10, 10, 200, 100), S_OK);
    EXPECT_EQ(sizeOf(child).cx, 200);
    EXPECT_EQ(sizeOf(child).cy, 100);
    EXPECT_EQ(window->put_Visible(OAFALSE), S_OK);
    EXPECT_FALSE(IsWindowVisible(child));
    EXPECT_EQ(window->put_Owner(0), S_OK);
    EXPECT_FALSE(IsWindow(child));
    EXPECT_FALSE(FindWindowExW(owner, nullptr, nullptr, nullptr));
    // Attached again, releasing the renderer takes the window along.
    const HWND again = attachToOwner(320, 240);
    ASSERT_TRUE(IsWindow(again));
    releaseFilters();
    EXPECT_FALSE(IsWindow(again));
}

TEST_F(RendererWindow, DestroyingTheOwnerFirstLeavesTheRendererUsable) {
    ASSERT_TRUE(attachToOwner(320, 240));
    DestroyWindow(owner);
    owner = nullptr;
    long visible = 0;
    EXPECT_EQ(window->get_Visible(&visible), S_OK);
    EXPECT_EQ(window->put_Owner(0), S_OK);
}

TEST_F(RendererWindow, TheWindowShowsBarsWithAPictureGreyWithoutAndBlackWhenStopped) {
    const HWND child = attachToOwner(350, 240);
    ASSERT_TRUE(child);
    ASSERT_EQ(renderer->Run(0), S_OK);
    // The first bar is grey-white, the second yellow, the last blue.
    EXPECT_TRUE(looksLike(pixel(child, 10, 10), 191, 191, 191));
    EXPECT_TRUE(looksLike(pixel(child, 60, 10), 191, 191, 0));
    EXPECT_TRUE(looksLike(pixel(child, 340, 10), 0, 0, 191));
    feed->picture = false;
    InvalidateRect(child, nullptr, FALSE);
    EXPECT_TRUE(looksLike(pixel(child, 10, 10), 96, 96, 96));
    ASSERT_EQ(renderer->Stop(), S_OK);
    EXPECT_TRUE(looksLike(pixel(child, 10, 10), 0, 0, 0));
}

} // namespace
} // namespace tvsim
