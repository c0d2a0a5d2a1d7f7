#include "mirt5/HostOutput.h"

#include <algorithm>
#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "Answers.h"

namespace mirt5 {
namespace {

const char* severityName(Severity severity) { return severity == Severity::Warning ? "warning" : "error"; }

// Only the framework's boxes are answered with words; a module's own prompt returns a number of
// its own (a country code, say), which must not read as a box answer that happens to share it.
bool isMessageBox(const Prompt& prompt) { return prompt.kind == "messageBox"; }

qis::String answerName(const Prompt& prompt, int code) {
    return isMessageBox(prompt) ? answers::nameOf(code) : qis::String::number(code);
}

qis::String variableList(const Variables& variables) {
    qis::String text;
    for (const auto& [name, value] : variables) text += (text.isEmpty() ? "" : ", ") + name + "=" + value;
    return text;
}

// The percent as a bar of this many cells, and the widest live line: one more column and a
// console wraps it, and a wrapped line can no longer be redrawn in place.
constexpr int kBarCells = 20;
constexpr std::size_t kLiveLineColumns = 79;

// UTF-8 text cut to at most `columns` characters (one column each, near enough for a status line).
std::string fitted(const std::string& text, std::size_t columns) {
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool starts = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
        if (starts && characters++ == columns) return text.substr(0, i);
    }
    return text;
}

std::size_t characterCount(const std::string& text) {
    std::size_t characters = 0;
    for (unsigned char c : text) characters += (c & 0xC0) != 0x80;
    return characters;
}

std::string bar(int percent) {
    const int filled = std::clamp(percent, 0, 100) * kBarCells / 100;
    std::string text = "[" + std::string(filled, '#') + std::string(kBarCells - filled, '.') + "] ";
    const std::string number = std::to_string(std::clamp(percent, 0, 100));
    return text + std::string(3 - number.size(), ' ') + number + "%";
}

class HumanReporter final : public Reporter {
public:
    HumanReporter(std::ostream& out, int logLevel, bool liveLine) : out_(out), logLevel_(logLevel), live_(liveLine) {}

    void started(const qis::String& test, const DiagDevice& device) override {
        line("start " + test + " on \"" + device.name() + "\"");
    }
    void percent(int value, bool reset) override {
        if (!live_) return line(reset ? qis::String("percent reset") : "percent " + qis::String::number(value));
        std::lock_guard lock(mutex_);
        percent_ = reset ? 0 : value;
        redraw();
    }
    void progress(const qis::String&, const qis::String& text, const Variables&) override {
        if (!live_) return line("progress " + text);
        std::lock_guard lock(mutex_);
        progressText_ = text.utf8();
        redraw();
    }
    void event(Severity severity, const qis::String& key, const qis::String& text, const Variables& variables,
               const qis::String& file, int sourceLine) override {
        qis::String vars = variableList(variables);
        line(qis::String(severityName(severity)) + " " + key + ": " + text + (vars.isEmpty() ? "" : " [" + vars + "]") +
             " (" + file + ":" + qis::String::number(sourceLine) + ")");
    }
    void promptOpened(const Prompt& prompt) override {
        qis::String timeout = prompt.timeoutMs ? " (time-out " + qis::String::number(prompt.timeoutMs / 1000.0) + " s)" : "";
        line("prompt " + prompt.title + ": " + prompt.text + timeout);
        if (!isMessageBox(prompt)) return;
        qis::String choices;
        for (int code : answers::choicesFor(prompt.type)) {
            const qis::String name = answers::nameOf(code);
            choices += (choices.isEmpty() ? "" : ", ") + name + " (" + name.substring(0, 1) + ")";
        }
        line("answer with: " + choices);
    }
    void promptAnswered(const Prompt& prompt, const PromptAnswer& answer) override {
        line("answer " + answerName(prompt, answer.code) + " (" + answer.source + ")");
    }
    void log(const qis::LogRecord& record) override {
        if (record.priority < logLevel_) return;
        line("log " + qis::String::number(record.priority) + " " + record.category + ": " + record.text);
    }
    void finished(TestResult result, const qis::String& detail) override {
        {
            std::lock_guard lock(mutex_);
            active_ = false; // the result is the last line; no bar below it
        }
        line("result " + qis::String(result.name()) + " " + qis::String::number(result.value()) +
             (detail.isEmpty() ? "" : ": " + detail));
    }

private:
    // Every other line goes above the live one: clear it, write the line, draw it again below.
    void line(const qis::String& text) {
        std::lock_guard lock(mutex_);
        erase();
        out_ << text << '\n';
        if (active_) redraw();
        out_.flush();
    }
    void redraw() {
        active_ = true;
        erase();
        const std::string text = fitted(bar(percent_) + (progressText_.empty() ? "" : "  " + progressText_), kLiveLineColumns);
        out_ << text;
        out_.flush();
        shownColumns_ = characterCount(text);
    }
    void erase() {
        if (shownColumns_ == 0) return;
        out_ << '\r' << std::string(shownColumns_, ' ') << '\r';
        shownColumns_ = 0;
    }

    std::ostream& out_;
    int logLevel_;
    bool live_;
    std::mutex mutex_;
    bool active_ = false;
    int percent_ = 0;
    std::string progressText_;
    std::size_t shownColumns_ = 0;
};

class JsonReporter final : public Reporter {
public:
    JsonReporter(std::ostream& out, int logLevel) : out_(out), logLevel_(logLevel) {}

    void started(const qis::String& test, const DiagDevice& device) override {
        write({{"type", "start"}, {"test", test.utf8()}, {"device", device.name().utf8()}});
    }
    void percent(int value, bool reset) override {
        nlohmann::json j = {{"type", "percent"}, {"value", value}};
        if (reset) j["reset"] = true;
        write(j);
    }
    void progress(const qis::String& key, const qis::String& text, const Variables& variables) override {
        write({{"type", "progress"}, {"key", key.utf8()}, {"text", text.utf8()}, {"variables", toJson(variables)}});
    }
    void event(Severity severity, const qis::String& key, const qis::String& text, const Variables& variables,
               const qis::String& file, int line) override {
        write({{"type", "event"},
               {"severity", severityName(severity)},
               {"key", key.utf8()},
               {"text", text.utf8()},
               {"variables", toJson(variables)},
               {"file", file.utf8()},
               {"line", line}});
    }
    void promptOpened(const Prompt& prompt) override {
        nlohmann::json j = {{"type", "prompt"},
                            {"id", prompt.id},
                            {"kind", prompt.kind.utf8()},
                            {"title", prompt.title.utf8()},
                            {"text", prompt.text.utf8()},
                            {"timeoutMs", prompt.timeoutMs},
                            {"answers", choices(prompt)}};
        if (!prompt.choices.empty()) {
            nlohmann::json list = nlohmann::json::array();
            for (const auto& choice : prompt.choices) list.push_back({{"code", choice.code}, {"name", choice.name.utf8()}});
            j["choices"] = std::move(list);
        }
        if (prompt.preselected) j["preselected"] = *prompt.preselected;
        write(j);
    }
    void promptAnswered(const Prompt& prompt, const PromptAnswer& answer) override {
        write({{"type", "answer"},
               {"id", prompt.id},
               {"answer", answerName(prompt, answer.code).utf8()},
               {"code", answer.code},
               {"source", answer.source.utf8()}});
    }
    void log(const qis::LogRecord& record) override {
        if (record.priority < logLevel_) return;
        write({{"type", "log"}, {"priority", record.priority}, {"category", record.category.utf8()}, {"text", record.text.utf8()}});
    }
    void finished(TestResult result, const qis::String& detail) override {
        nlohmann::json j = {{"type", "result"}, {"result", result.name()}, {"code", result.value()}};
        if (!detail.isEmpty()) j["detail"] = detail.utf8();
        write(j);
    }

private:
    static nlohmann::json choices(const Prompt& prompt) {
        nlohmann::json list = nlohmann::json::array();
        if (!isMessageBox(prompt)) return list;
        for (int code : answers::choicesFor(prompt.type)) list.push_back(answers::nameOf(code).utf8());
        return list;
    }
    static nlohmann::json toJson(const Variables& variables) {
        nlohmann::json j = nlohmann::json::object();
        for (const auto& [name, value] : variables) j[name.utf8()] = value.utf8();
        return j;
    }
    void write(const nlohmann::json& j) {
        std::lock_guard lock(mutex_);
        out_ << j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
        out_.flush();
    }
    std::ostream& out_;
    int logLevel_;
    std::mutex mutex_;
};

} // namespace

std::unique_ptr<Reporter> makeHumanReporter(std::ostream& out, int logLevel, bool liveLine) {
    return std::make_unique<HumanReporter>(out, logLevel, liveLine);
}

std::unique_ptr<Reporter> makeJsonReporter(std::ostream& out, int logLevel) {
    return std::make_unique<JsonReporter>(out, logLevel);
}

} // namespace mirt5
