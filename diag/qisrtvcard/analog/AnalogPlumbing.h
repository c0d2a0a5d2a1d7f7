#pragma once
// Device discovery, the analog capture graph and the video window shared by the analog tests.

#include "mirt5/DiagDevice.h"
#include "mirt5/TestResult.h"
#include "qis/String.h"
#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// Binds the capture filter of the device under test into g_captureFilter.
mirt5::TestResult FindCaptureDevice(const mirt5::DiagDevice& device, const GUID& category);

// COM on this thread, the graph, its media control and the module's capture graph builder.
mirt5::TestResult setupCaptureGraph();

// Registers the window class (once per process in effect), creates the hidden video window and
// attaches the graph's video window and event notification.
mirt5::TestResult setupWindow(const qis::String& className, const qis::String& windowTitle);
LRESULT CALLBACK videoWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
// Makes the renderer a child of the video window and shows it.
HRESULT initVideoWindow();
// Sizes the renderer to the video window's client area.
void fitRendererToClient();
// Sizes the video window so that its client area is width x height.
void resizeWindowToFitClient(long width, long height);
// Empties the graph's event queue.
void handleGraphEvent();
// Stops the graph and releases the shared handles; harmless when they are already gone.
void closeInterfaces();

} // namespace qisrtvcard
