#pragma once
// Steps the analog tests share.

#include "mirt5/TestResult.h"

namespace qisrtvcard {

// Routes the first crossbar input of type PhysConn_Video_Tuner to the first output that accepts
// it (CanRoute exactly S_OK). No crossbar or nothing routable is not an error.
void routeCrossbarToTuner();

// Dispatches every message waiting in this thread's queue, so the video window keeps painting.
void drainMessages();

// Pumps messages without sleeping until the stopwatch reports more than `seconds`.
void pumpMessagesFor(double seconds);

} // namespace qisrtvcard
