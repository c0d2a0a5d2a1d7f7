#include "frame/RetryPrompt.h"

#include "frame/Catalogue.h"
#include "frame/Trace.h"

namespace qisrtvcard {

int RetryDigitalTestDlg() {
    QISRTV_TRACE("RetryDigitalTestDlg");
    if (!CheckTVCable->value().valueBool()) return RetryAnswerNoPrompt;
    switch (askUserToCheckCable()) {
    case mirt5::MessageBox::AnswerCancel: return RetryAnswerAborted;
    case mirt5::MessageBox::AnswerSkip: return RetryAnswerGiveUp;
    default: return RetryAnswerRetry;
    }
}

int askUserToCheckCable() {
    constexpr unsigned long kMillisecondsPerSecond = 1000;
    constexpr unsigned long kStopPollMilliseconds = 2000;
    return mirt5::DiagModule::createMessageBox(
        mirt5::MessageBox::TypeRetrySkipCancel, CheckCableConnectedMessage->localizedString(),
        CheckCableConnectedTitle->localizedString(), mirt5::MessageBox::OptionDefaultFirst, mirt5::MessageBox::LookWarning,
        nullptr, nullptr, nullptr, MsgBoxTimeout->value().valueUint32() * kMillisecondsPerSecond, kStopPollMilliseconds, true);
}

} // namespace qisrtvcard
