#pragma once
// Shared set-up for the module's tests: the catalogue wired as the program wires it, module
// code run inside a framework run (so that events, prompts and percents are recorded), and the
// virtual TV system installed from a scenario.

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "mirt5/DiagModule.h"
#include "mirt5/RecordingReporter.h"

namespace qisrtvcard::testing {

// Runs the module's entry once with --version, so that the framework calls moduleInit as it
// does in the program.
void initialiseCatalogue();

// Writes `text` to a fresh file in the temp directory and returns its path.
std::filesystem::path writeTempFile(const std::string& name, const std::string& text);

// Module code run as the body of a framework run, with every module parameter given
// (`parameters` overrides the defaults below) and the prompts pre-answered.
struct Probe {
    mirt5::DiagDevice device;
    std::map<std::string, std::string> parameters;
    std::vector<qis::String> answers;

    mirt5::TestResult run(const std::function<mirt5::TestResult(const mirt5::DiagDevice&)>& body);
    // Called with each progress text and each percent as the test reports them (to raise a stop
    // at a chosen point).
    std::function<void(const qis::String& text)> onProgress;
    std::function<void(int percent)> onPercent;
    std::function<void()> onPrompt;

    class Reporter : public mirt5::RecordingReporter {
    public:
        explicit Reporter(Probe& probe) : probe_(probe) {}
        void progress(const qis::String& key, const qis::String& text, const mirt5::Variables& variables) override {
            mirt5::RecordingReporter::progress(key, text, variables);
            if (probe_.onProgress) probe_.onProgress(text);
        }
        void promptOpened(const mirt5::Prompt& prompt) override {
            mirt5::RecordingReporter::promptOpened(prompt);
            if (probe_.onPrompt) probe_.onPrompt();
        }
        void percent(int value, bool reset) override {
            mirt5::RecordingReporter::percent(value, reset);
            if (probe_.onPercent) probe_.onPercent(value);
        }

    private:
        Probe& probe_;
    };
    Reporter reporter{*this};
    // The texts of the log records of one category, in order.
    std::vector<std::string> logLines(const char* category) const;
    // Event keys in order, "warning:Key" / "error:Key".
    std::vector<std::string> eventKeys() const;
};

// Parameter values a host would typically give.
std::map<std::string, std::string> defaultParameters();

// The virtual TV system for one scope, from a scenario's JSON text, or the name of a built-in
// scenario (empty: the built-in default).
class SimulatedSystem {
public:
    explicit SimulatedSystem(const std::string& scenarioJson = std::string());
    ~SimulatedSystem();
    const mirt5::DiagDevice& device() const { return system_.device; }
    // The simulation's live objects, one per line, for failure messages; empty when none.
    std::string liveObjects() const;

private:
    mirt5::SimulatedSystem system_;
};

// Makes a method of a simulated object ("*": any) fail, on every call or only on the Nth.
void addFault(const char* object, const char* method, unsigned call = 0, std::uint32_t result = 0x80004005u);
// The journaled arguments of one method, in order ("*": any object); failed calls end in " (failed)".
std::vector<std::string> journalArguments(const char* object, const char* method);
// True when windows can be created (tests that open windows run under xvfb-run).
bool haveDisplay();
// What a test threw as an assertion failure: its condition text, or "(nothing thrown)".
std::string assertionOf(const std::function<void()>& body);

// The records of one log category at debug level, while it lives.
class LogLines {
public:
    explicit LogLines(const char* category = "libTunekit");
    ~LogLines();
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;
    const std::vector<std::string>& lines() const { return lines_; }
    const std::vector<int>& priorities() const { return priorities_; }

private:
    int sink_ = 0;
    std::vector<std::string> lines_;
    std::vector<int> priorities_;
};

} // namespace qisrtvcard::testing
