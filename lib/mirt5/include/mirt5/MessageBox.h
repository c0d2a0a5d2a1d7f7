#pragma once
// The framework's message-box numbers. Modules pass them as plain integers; these names say
// what each number means to the framework.

namespace mirt5::MessageBox {

// Box types.
constexpr int TypeRetrySkipCancel = 10; // buttons Retry, Skip, Cancel
constexpr int TypeOkCancel = 20;        // buttons OK, Cancel

// Options.
constexpr int OptionDefaultFirst = 40;  // the first button is the default (Enter retries)

// Look and feel.
constexpr int LookWarning = 70;         // a warning icon
constexpr int LookInformation = 71;

// Answers.
constexpr int AnswerOk = 110;
constexpr int AnswerRetry = 140;
constexpr int AnswerCancel = 150;       // the user aborted, or a stop request closed the box
constexpr int AnswerSkip = 220;         // the user gives up on this check
constexpr int AnswerTimeout = 250;      // nobody answered in time

// Called while the box is open, with the callback data; returning true closes it with Cancel.
using Callback = bool (*)(void* data);

} // namespace mirt5::MessageBox
