#pragma once
// Text pictures of a filter graph for the logs.

#include "qis/String.h"
#include "tunekit/DirectShow.h"

namespace tunekit {

class CaptureUtil {
public:
    // One line per filter (in the graph's order) and one per pin, with the pin it is connected
    // to: "Video Capture\n  [out] Capture -> Video Renderer.Input\n". Never fails: what cannot
    // be read is left out.
    static qis::String graphToString(IFilterGraph* graph);
};

} // namespace tunekit
