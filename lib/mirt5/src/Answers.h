#pragma once
// How a prompt gets its answer: a pre-answer from the command line, a line from the host or the
// console, a stop request, or the time-out.

#include <functional>
#include <vector>

#include "mirt5/MessageBox.h"
#include "mirt5/Reporter.h"

namespace mirt5::answers {

inline constexpr const char* kValidAnswers = "retry, skip, cancel, ok, timeout or a whole number";

bool isValid(const qis::String& text);
// The answer a text stands for; texts that are not valid answers give nothing.
std::optional<int> codeOf(const qis::String& text);
PromptAnswer fromText(const qis::String& text, const char* source);
qis::String nameOf(int code);
// The answers a box of this type offers (MessageBox::Type*), in button order.
std::vector<int> choicesFor(int type);

struct Wait {
    const Prompt& prompt;
    LineSource* input;
    MessageBox::Callback callback;
    void* callbackData;
    unsigned long pollIntervalMs;
    std::function<bool()> stopRequested;
};

// A person or host answering takes wall time; with nobody to answer, the box waits out its
// time-out on the framework's clock (virtual under simulation). A box without a time-out that
// nobody can answer is cancelled at once rather than left hanging.
PromptAnswer await(const Wait& wait);

} // namespace mirt5::answers
