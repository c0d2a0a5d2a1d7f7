#include "Answers.h"

#include <algorithm>
#include <array>

#include "qis/System.h"

namespace mirt5::answers {
namespace {

struct Word {
    const char* shortName;
    const char* name;
    int code;
};
constexpr std::array<Word, 5> kWords = {{{"r", "retry", MessageBox::AnswerRetry},
                                         {"s", "skip", MessageBox::AnswerSkip},
                                         {"c", "cancel", MessageBox::AnswerCancel},
                                         {"o", "ok", MessageBox::AnswerOk},
                                         {"t", "timeout", MessageBox::AnswerTimeout}}};

bool stopOrCallback(const Wait& wait) {
    return wait.stopRequested() || (wait.callback && wait.callback(wait.callbackData));
}

} // namespace

std::optional<int> codeOf(const qis::String& text) {
    const qis::String word = text.trimmed();
    for (const auto& w : kWords)
        if (word.equalsIgnoreCase(w.name) || word.equalsIgnoreCase(w.shortName)) return w.code;
    std::int32_t number = 0;
    if (word.toInt32(number)) return number;
    return std::nullopt;
}

bool isValid(const qis::String& text) { return codeOf(text).has_value(); }

PromptAnswer fromText(const qis::String& text, const char* source) {
    return PromptAnswer{codeOf(text).value_or(MessageBox::AnswerCancel), source};
}

qis::String nameOf(int code) {
    for (const auto& w : kWords)
        if (w.code == code) return w.name;
    return qis::String::number(code);
}

std::vector<int> choicesFor(int type) {
    if (type == MessageBox::TypeOkCancel) return {MessageBox::AnswerOk, MessageBox::AnswerCancel};
    return {MessageBox::AnswerRetry, MessageBox::AnswerSkip, MessageBox::AnswerCancel};
}

PromptAnswer await(const Wait& wait) {
    const unsigned long poll = std::clamp<unsigned long>(wait.pollIntervalMs, 10, 500);
    const bool hasTimeout = wait.prompt.timeoutMs > 0;
    if (!wait.input && !hasTimeout) return PromptAnswer{MessageBox::AnswerCancel, "unattended"};

    qis::Stopwatch clock;
    const auto started = std::chrono::steady_clock::now();
    for (;;) {
        if (stopOrCallback(wait)) return PromptAnswer{MessageBox::AnswerCancel, "stop"};
        if (wait.input) {
            if (const auto line = wait.input->nextLine(std::chrono::milliseconds(poll))) {
                if (const auto code = codeOf(*line))
                    return PromptAnswer{*code, wait.input->isConsole() ? "console" : "host"};
                continue; // not an answer: keep waiting for one
            }
            const auto waited = std::chrono::steady_clock::now() - started;
            if (hasTimeout && waited >= std::chrono::milliseconds(wait.prompt.timeoutMs))
                return PromptAnswer{MessageBox::AnswerTimeout, "timeout"};
        } else {
            if (clock.elapsedMilliseconds() >= wait.prompt.timeoutMs) return PromptAnswer{MessageBox::AnswerTimeout, "timeout"};
            const unsigned long left = wait.prompt.timeoutMs - clock.elapsedMilliseconds();
            qis::System::sleepMilliseconds(std::min(poll, left));
        }
    }
}

} // namespace mirt5::answers
