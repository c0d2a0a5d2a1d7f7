#pragma once
// The cable-check prompt the digital tests show before they repeat a scan.

namespace qisrtvcard {

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
