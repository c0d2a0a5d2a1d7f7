#include "digital/AttemptLoop.h"

#include "frame/Catalogue.h"
#include "frame/RetryPrompt.h"

namespace qisrtvcard {
namespace {

constexpr const char* kChannelLoopDone = "Completed channel loop";
constexpr const char* kExitAttemptLoop = "Done so exiting attempt loop";
constexpr const char* kNoRetry = "Done due to no prompt and retry setting set or max attempts complete";
constexpr const char* kPrompting = "Prompting user to check cable";
constexpr const char* kPromptCancelled = "Done due to user cancel on prompt";
constexpr const char* kPromptDisabled = "Done due to prompting disabled"; // what the give-up answer logs
constexpr int kMostAttempts = 2;

} // namespace

mirt5::TestResult runAttempts(const std::function<mirt5::TestResult(bool& done)>& scanPass, IVideoWindow* videoWindow,
                              const std::function<void(const qis::String&)>& log) {
    for (int attempt = 0;;) {
        bool done = false;
        const mirt5::TestResult result = scanPass(done);
        log(kChannelLoopDone);
        if (done) {
            log(kExitAttemptLoop);
            return result;
        }
        if (!(CheckTVCable->value().valueBool() && attempt == 0)) {
            log(kNoRetry);
            return result;
        }
        log(kPrompting);
        if (videoWindow) videoWindow->put_Visible(OAFALSE);
        const int answer = askUserToCheckCable();
        if (videoWindow) videoWindow->put_Visible(OATRUE);
        if (answer == mirt5::MessageBox::AnswerCancel) {
            log(kPromptCancelled);
            return mirt5::TestResult::USERABORTED();
        }
        if (answer == mirt5::MessageBox::AnswerSkip) {
            log(kPromptDisabled);
            return result;
        }
        mirt5::DiagModule::resetPercentDone();
        if (++attempt >= kMostAttempts) return result;
    }
}

} // namespace qisrtvcard
