#pragma once
// The ATSC and Clear QAM scans and the graph and tuning helpers they share. Every COM call of
// the scans, their tuning requests, FindFromName and FramesBeingRendered leaves its HRESULT in
// g_clearQamResult; the scans judge their own calls by it.

#include <cstdint>

#include "tunekit/DirectShow.h"

namespace qisrtvcard {

extern HRESULT g_clearQamResult;

namespace clearqam {
// Renders three output pins of the filter (the demultiplexer's video, audio and data); throws
// when it has fewer or a render fails.
bool renderGraph(IBaseFilter* filter, IGraphBuilder* graph);
} // namespace clearqam

// The first of the graph's first 100 filters with this name, with a reference for the caller.
// No such filter is an assertion failure.
IBaseFilter* FindFromName(const wchar_t* name, IFilterGraph* graph);

// True when the renderer draws at least 3 frames across two waits (10 s the first time in the
// process, 2.5 s after), false at once when it drew nothing in the first 2.5 s.
bool FramesBeingRendered(IQualProp* qualProp);

// Picture carrier in kHz of a North American standard cable channel (1 to 135; 0 for others).
std::uint32_t cableChannelFrequency(long channel);

// The tuner's tuning space of this unique name, with a reference for the caller, or null.
ITuningSpace* getTuningSpace(ITuner* tuner, const wchar_t* uniqueName);
// A Clear QAM request: cable channel and program at 256-QAM. Failures throw, never null.
ITuneRequest* createTuneRequest(ITuningSpace* tuningSpace, long channel, long programNumber);
// An ATSC antenna request for a physical channel. Failures throw, never null.
ITuneRequest* createTuneRequest(ITuningSpace* tuningSpace, long physicalChannel);

} // namespace qisrtvcard

#include "mirt5/DiagModule.h"
#include "qis/String.h"

namespace qisrtvcard {

// Builds the ATSC graph (generic network provider, the device's tuner and receiver) and scans
// "DigitalStartChannel" to "DigitalEndChannel". CANNOTRUN when the card has no ATSC path.
mirt5::TestResult ATSCTestWrapper(const mirt5::DiagDevice& device);

// ATSC scan over physical channels, with one offer to check the cable and scan again.
mirt5::TestResult RunATSCTest(IGraphBuilder* graph, IBaseFilter* networkProvider, IBaseFilter* tuner, IBaseFilter* receiver,
                              mirt5::LocalizedString& testingChannel, const qis::String& windowCaption,
                              unsigned long startChannel, unsigned long endChannel);

// Clear QAM scan over cable channels 77 to 130 with programs 1 to 10 on each.
mirt5::TestResult RunClearQAMTest(IGraphBuilder* graph, IBaseFilter* networkProvider, IBaseFilter* tuner, IBaseFilter* receiver,
                                  mirt5::LocalizedString& testingChannel, const qis::String& windowCaption);

} // namespace qisrtvcard
