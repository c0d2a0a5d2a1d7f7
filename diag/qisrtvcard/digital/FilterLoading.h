#pragma once
// Pulls a BDA filter out of a device category into a graph and wires it to a filter already
// there.

#include "mirt5/DiagDevice.h"
#include "tunekit/DirectShow.h"

namespace qisrtvcard {

// The first filter of the category that binds, joins the graph and connects to pConnectFilter
// (when given) is handed to the caller with one reference. A filter that fails to connect is
// taken out of the graph again before the next is tried.
bool LoadFilter(const GUID& category, IBaseFilter** ppFilter, IBaseFilter* pConnectFilter, bool connectFilterIsUpstream,
                IGraphBuilder* graph);

// The same, and with `strictMatch` a filter must belong to the device under test: by its device
// path against "DeviceLocator" (PCI devices) or by its friendly name against "DigitalFriendlyName".
bool LoadFilter(const GUID& category, IBaseFilter** ppFilter, IBaseFilter* pConnectFilter, bool connectFilterIsUpstream,
                IGraphBuilder* graph, const mirt5::DiagDevice& device, bool strictMatch);

} // namespace qisrtvcard
