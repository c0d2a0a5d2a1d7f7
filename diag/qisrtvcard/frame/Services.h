#pragma once
// Small services every test shares.

#include <dshow.h>

namespace qisrtvcard {

// Windows Media Center holds the tuner while it runs.
bool isMediaCenterRunning();

// The telephone country code of the user-interface language, for the analog tuner.
long languageCountryCode();

// Hooks for publishing a graph in the running object table. Publishing is switched off: both
// only trace, and AddGraphToRot leaves the cookie alone. Callers keep calling them so that it
// can be switched on in one place.
HRESULT AddGraphToRot(IUnknown* graph, DWORD* cookie);
void RemoveGraphFromRot(DWORD cookie);

void DeleteMediaType(AM_MEDIA_TYPE* mediaType);

// Answers of the cable-check prompt.
enum RetryAnswer : int {
    RetryAnswerAborted = 0,  // the user cancelled
    RetryAnswerGiveUp = 1,   // the user skipped the retry
    RetryAnswerRetry = 2,    // any other answer, a time-out included
    RetryAnswerNoPrompt = 3, // "CheckTVCable" is off
};

// Asks the user to check the cable before a digital scan is repeated.
int RetryDigitalTestDlg();

// The cable-check box itself; returns the framework's answer (mirt5::MessageBox::Answer*).
// The "MsgBoxTimeout" parameter gives its time-out in seconds.
int askUserToCheckCable();

} // namespace qisrtvcard
