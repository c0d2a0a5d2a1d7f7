#pragma once
// Wiring, rendering and tearing down the digital tests' filter graphs.

#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// Connects the first free output pin of the upstream filter to the first free input pin of the
// downstream filter that the graph accepts (intelligent connect). Null filters are assertion
// failures; COM failures are logged and give false.
bool ConnectFilters(IBaseFilter* pFilterUpstream, IBaseFilter* pFilterDownstream, IGraphBuilder* graph);

// Renders the filter's first output pin. Failures throw.
bool renderGraph(IBaseFilter* filter, IGraphBuilder* graph);

// Renders output pins of the filter until `target` of them are rendered; throws when the filter
// runs out of pins first or a render fails.
void renderOutputPins(IBaseFilter* filter, IGraphBuilder* graph, int target);

// Takes every filter (up to 1000) out of the graph, half a second each.
void removeFilters(IGraphBuilder* graph);

} // namespace qisrtvcard
