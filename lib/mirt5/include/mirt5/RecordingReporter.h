#pragma once
// Keeps everything a host would see of a run, for tests and for hosts that embed the framework.

#include <mutex>
#include <vector>

#include "mirt5/Reporter.h"

namespace mirt5 {

struct RecordedEvent {
    Severity severity;
    qis::String key;
    qis::String text;
    Variables variables;
    qis::String file;
    int line;
};

struct RecordedProgress {
    qis::String key;
    qis::String text;
    Variables variables;
};

class RecordingReporter : public Reporter {
public:
    void started(const qis::String& test, const DiagDevice&) override { std::lock_guard guard(mutex_); startedTest = test; }
    void percent(int value, bool reset) override { std::lock_guard guard(mutex_); percents.push_back(reset ? -1 : value); }
    void progress(const qis::String& key, const qis::String& text, const Variables& variables) override {
        std::lock_guard guard(mutex_);
        progressLines.push_back({key, text, variables});
    }
    void event(Severity severity, const qis::String& key, const qis::String& text, const Variables& variables,
               const qis::String& file, int line) override {
        std::lock_guard guard(mutex_);
        events.push_back({severity, key, text, variables, file, line});
    }
    void promptOpened(const Prompt& prompt) override { std::lock_guard guard(mutex_); prompts.push_back(prompt); }
    void promptAnswered(const Prompt&, const PromptAnswer& answer) override { std::lock_guard guard(mutex_); answers.push_back(answer); }
    void log(const qis::LogRecord& record) override { std::lock_guard guard(mutex_); logs.push_back(record); }
    void finished(TestResult r, const qis::String& detail) override {
        std::lock_guard guard(mutex_);
        result = r;
        finishDetail = detail;
    }

    qis::String startedTest;
    std::vector<int> percents; // -1 marks resetPercentDone
    std::vector<RecordedProgress> progressLines;
    std::vector<RecordedEvent> events;
    std::vector<Prompt> prompts;
    std::vector<PromptAnswer> answers;
    std::vector<qis::LogRecord> logs;
    std::optional<TestResult> result;
    qis::String finishDetail;

private:
    std::mutex mutex_;
};

} // namespace mirt5
