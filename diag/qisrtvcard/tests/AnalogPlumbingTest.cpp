// Device discovery, the analog capture graph and the video window on the virtual TV system.
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
#include "analog/AnalogPlumbing.h"
#include "analog/GraphHandles.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

using mirt5::TestResult;

std::string moniker(const std::string& friendlyName, const std::string& description = "Virtual card") {
    std::string text = "{";
    if (!friendlyName.empty()) text += R"("friendlyName": ")" + friendlyName + R"(", )";
    return text + R"("description": ")" + description + R"(", "filter": "capture"})";
}

std::string scenarioWith(const std::vector<std::string>& monikers) {
    std::string list;
    for (const auto& m : monikers) list += (list.empty() ? "" : ", ") + m;
    return R"({"device": {"name": "Card under test"},
               "categories": {"VideoInputDevice": [)" + list + R"(]},
               "filters": {"capture": {"kind": "analogCapture"}}})";
}

mirt5::DiagDevice deviceNamed(const std::string& analogName, const std::string& description = "Virtual card") {
    return mirt5::DiagDevice("Card under test", description, mirt5::DeviceCapability::VideoCapture(),
                             {{"AnalogFriendlyName", analogName}});
}

// The calls of one method in journal order, on any object.
std::size_t callsOf(const char* method) { return testing::journalArguments("*", method).size(); }

// ---- device discovery ------------------------------------------------------------------------

class CaptureDeviceDiscovery : public ::testing::Test {
protected:
    TestResult find(const mirt5::DiagDevice& device) {
        probe_.device = device;
        return probe_.run([](const mirt5::DiagDevice& d) {
            const TestResult result = FindCaptureDevice(d, CLSID_VideoInputDeviceCategory);
            g_captureFilter.reset();
            return result;
        });
    }
    // How many monikers were opened before the one that was bound.
    std::size_t boundAfter() const {
        std::size_t storage = 0;
        for (const auto& call : tvsim::Simulation::current().journal().calls()) {
            if (call.method == "BindToStorage") ++storage;
            if (call.method == "BindToObject") return storage;
        }
        return 0;
    }

    testing::Probe probe_;
};

// The card a device names among the category's filters: the moniker bound (counted from 1) or
// the warning given.
TEST_F(CaptureDeviceDiscovery, TheDeviceNamesItsFilterAmongTheCategorysOrNone) {
    const struct {
        std::vector<std::string> monikers;
        const char* analogName;
        const char* description;
        std::size_t bound; // 0: none, NODEVICE
    } cases[] = {
        {{moniker("TV Card"), moniker("TV Card"), moniker("TV Card")}, "TV Card 2", "Virtual card", 2}, // identical cards numbered
        {{moniker("TV Card"), moniker("TV Card"), moniker("TV Card")}, "TV Card 3", "Virtual card", 3},
        {{moniker("TV Card"), moniker("TV Card"), moniker("TV Card")}, "TV Card", "Virtual card", 1},
        {{moniker("TV Card"), moniker(""), moniker("TV Card")}, "TV Card 2", "Virtual card", 3}, // no name, no number
        {{moniker("Other", "Other card"), moniker("Anything")}, "Video Capture Device", "Virtual card", 2}, // by description
        {{moniker("TV Card")}, "Other Card", "Virtual card", 0},
        {{}, "TV Card", "Virtual card", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.analogName + std::string(" among ") + std::to_string(c.monikers.size()));
        testing::SimulatedSystem system(scenarioWith(c.monikers));
        probe_.reporter.events.clear();
        EXPECT_EQ(find(deviceNamed(c.analogName, c.description)), c.bound ? TestResult::PASS() : TestResult::NODEVICE());
        if (c.bound) EXPECT_EQ(boundAfter(), c.bound);
        else EXPECT_THAT(probe_.eventKeys(), ::testing::ElementsAre("warning:WarningDeviceNotFound"));
        EXPECT_EQ(system.liveObjects(), "");
    }
}

// ---- video window ----------------------------------------------------------------------------

using testing::haveDisplay;

class VideoWindowSetup : public ::testing::Test {
protected:
    void SetUp() override {
        QIS_REQUIRE(haveDisplay(), "a display (run under xvfb-run)");
    }
    // Runs `body` after the graph and the window are set up, then tears both down.
    TestResult withWindow(const std::function<void()>& body, const char* className = "VideoWindowTest") {
        return probe_.run([&](const mirt5::DiagDevice&) {
            TestResult result = setupCaptureGraph();
            if (result == TestResult::PASS()) result = setupWindow(className, "Virtual picture");
            if (result == TestResult::PASS()) body();
            closeInterfaces();
            if (g_hwndVideo) DestroyWindow(g_hwndVideo);
            g_hwndVideo = nullptr;
            return result;
        });
    }

    testing::SimulatedSystem system_;
    testing::Probe probe_;
};

// The window sized to the picture with the designed extra border line; size messages before the
// renderer is attached reach only the default procedure; graph events are announced and drained;
// minimising stops the graph and restoring runs it once.
TEST_F(VideoWindowSetup, TheWindowFollowsThePictureAndDrivesTheGraph) {
    EXPECT_EQ(withWindow([] {
                  resizeWindowToFitClient(720, 480);
                  RECT client{};
                  GetClientRect(g_hwndVideo, &client);
                  EXPECT_EQ(client.right, 720);
                  EXPECT_EQ(client.bottom, 480 + GetSystemMetrics(SM_CYBORDER));
                  tunekit::ComPtr<IVideoWindow> attached = std::exchange(g_videoWindow, {});
                  const auto positions = callsOf("SetWindowPosition");
                  SendMessageW(g_hwndVideo, WM_SIZE, SIZE_RESTORED, MAKELPARAM(320, 240));
                  EXPECT_EQ(callsOf("SetWindowPosition"), positions);
                  g_videoWindow = attached;
                  tunekit::ComPtr<IMediaEventSink> sink;
                  ASSERT_EQ(g_graphManager.as(sink), S_OK);
                  sink->Notify(EC_USERABORT, 0, 0);
                  MSG message;
                  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
                  EXPECT_EQ(callsOf("GetEvent"), 2u); // one event, then the empty queue
                  EXPECT_EQ(callsOf("FreeEventParams"), 1u);
                  ShowWindow(g_hwndVideo, SW_SHOW);
                  const auto runs = callsOf("Run");
                  ShowWindow(g_hwndVideo, SW_MINIMIZE);
                  EXPECT_EQ(g_playState, State_Stopped);
                  ShowWindow(g_hwndVideo, SW_RESTORE);
                  EXPECT_EQ(g_playState, State_Running);
                  SetWindowPos(g_hwndVideo, nullptr, 10, 10, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
                  EXPECT_EQ(callsOf("Run"), runs + 1);
              }),
              TestResult::PASS());
}

// A class whose windows refuse to be created: CreateWindowEx fails after the class "exists".
LRESULT CALLBACK refuseCreation(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return message == WM_NCCREATE ? FALSE : DefWindowProcW(window, message, wParam, lParam);
}

TEST_F(VideoWindowSetup, AWindowThatCannotBeCreatedOrRegisteredIsASetupProblem) {
    WNDCLASSW refusing{};
    refusing.lpfnWndProc = refuseCreation;
    refusing.lpszClassName = L"RefusingVideoWindow";
    refusing.hInstance = reinterpret_cast<HINSTANCE>(GetWindowLongPtrW(GetConsoleWindow(), GWLP_HINSTANCE));
    ASSERT_NE(RegisterClassW(&refusing), 0);
    // An empty class name is refused by RegisterClass with an error other than "already exists".
    for (const auto& [className, error] : {std::pair{"RefusingVideoWindow", "CreateWindow failed."}, std::pair{"", "RegisterClass failed."}}) {
        probe_.reporter.events.clear();
        EXPECT_EQ(withWindow([] {}, className), TestResult::INTERNALERROR());
        ASSERT_THAT(probe_.eventKeys(), ::testing::ElementsAre(::testing::StartsWith("warning:")));
        EXPECT_EQ(probe_.reporter.events[0].variables.at("error"), error);
    }
}

} // namespace
} // namespace qisrtvcard
