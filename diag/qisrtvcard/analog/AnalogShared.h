#pragma once
// Steps the analog tests share.

#include "frame/Trace.h"
#include "mirt5/TestResult.h"

namespace qisrtvcard {

// The warning of a card that cannot do analog TV or radio, 100 %, and NOTSUPPORTED.
mirt5::TestResult hardwareNotSupported(Caller where = Caller::current());

// The scans' start: the capture filter added to the graph, its TV tuner found and the crossbar
// routed to it. PASS, or hardwareNotSupported's result when there is no filter, the graph
// refuses it (the filter handle is dropped) or it has no tuner.
mirt5::TestResult attachAnalogTuner();

// Routes the first crossbar input of type PhysConn_Video_Tuner to the first output that accepts
// it (CanRoute exactly S_OK). No crossbar or nothing routable is not an error.
void routeCrossbarToTuner();

// Dispatches every message waiting in this thread's queue, so the video window keeps painting.
void drainMessages();

// Pumps messages without sleeping until the stopwatch reports more than `seconds`.
void pumpMessagesFor(double seconds);

} // namespace qisrtvcard
