#pragma once
// Shared set-up for the module's tests: the catalogue wired as the program wires it, module
// code run inside a framework run (so that events, prompts and percents are recorded), and the
// virtual TV system installed from a scenario.

#include <filesystem>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <thread>

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    // The texts of the log records of one category (null: all), in order.
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

// A person at the screen: a thread that waits for the visible dialog with this caption and acts
// on it. A dialog still open after the act is cancelled, so that a failed check cannot hang a run.
class UserAtScreen {
public:
    UserAtScreen(std::wstring caption, std::function<void(HWND dialog)> act);
    ~UserAtScreen(); // the run is over: a dialog never shown is not waited for

private:
    std::atomic<bool> asking_{true};
    std::thread thread_;
};

// The texts of the records of one log category that `body` logs at debug level.
std::vector<std::string> logOf(const std::function<void()>& body, const char* category = "libTunekit");

using Entry = mirt5::TestResult (*)(const mirt5::DiagDevice&);
using Parameters = std::map<std::string, std::string>;
using Answers = std::vector<qis::String>;

// One whole run of a test on a card and what a host sees of it; what a row leaves unset is not
// checked (but the events: none unless listed). `before` runs between loading and running
// (faults, a stop), `more` after the checks. A run that must end in one of the module's
// assertions names its condition in `assertion`; its result and events are then not checked.
struct WholeRun {
    std::string what;
    std::string scenario;
    Entry entry;
    Parameters parameters;
    Answers answers;
    const char* assertion = nullptr;
    mirt5::TestResult result = mirt5::TestResult::PASS();
    std::vector<std::string> events;               // "warning:Key", in order
    std::map<std::string, std::string> variables;  // of the first event
    std::optional<std::vector<std::string>> channels; // the progress lines' "channel"
    std::optional<std::vector<int>> percents;
    std::vector<std::pair<const char*, ::testing::Matcher<const std::string&>>> logged; // category (null: any), a line it holds
    int prompts = -1;
    std::function<void()> before = {}, more = {};
};

// One COM call made to fail and what the run must come to: an assertion with this condition, or
// `result` with the one event `event` (null: none); `logged`, part of a line some log holds.
struct FaultOutcome {
    const char* object;
    const char* method;
    unsigned call;
    const char* assertion;
    mirt5::TestResult result = mirt5::TestResult::PASS();
    const char* event = nullptr;
    const char* logged = nullptr;
};

// A test of the module on a virtual card: `load` a scenario, then `run` an entry on it. The
// tests open windows, so they need a display.
class ModuleRun : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    void load(const std::string& scenario);
    mirt5::TestResult run(Entry entry, Parameters parameters = {}, Answers answers = {});
    // Loads and runs each row at debug log level and checks what it shows. A row takes the
    // scenario, entry and answers it leaves unset, and the parameters it does not give, from `base`.
    void expectRuns(const std::vector<WholeRun>& rows, const WholeRun& base = {});
    // Runs `base` once per fault; `more` checks what else a row shows.
    void expectFaults(const WholeRun& base, const std::vector<FaultOutcome>& rows,
                      const std::function<void(const FaultOutcome&)>& more = {});
    // Raises a stop when the progress line of this channel is reported.
    void stopAt(const std::string& channel);
    // The "channel" variable of each progress line, in order.
    std::vector<std::string> progress() const;
    const mirt5::RecordedEvent& event(std::size_t i) const { return probe_->reporter.events.at(i); }
    std::unique_ptr<SimulatedSystem> system_;
    std::unique_ptr<Probe> probe_;
    double virtualSeconds_ = 0, wallSeconds_ = 0;
};

// One test on one built-in card, as the sweeps run it.
struct RunCase {
    const char* name;
    const char* scenario;
    Entry entry;
    Parameters parameters;
    Answers answers; // before those a sweep adds
};
std::ostream& operator<<(std::ostream& out, const RunCase& c);
std::string caseName(const ::testing::TestParamInfo<RunCase>& info);

// Runs `c` on a fresh system: `body` runs the probe (set up with the case), then the run is ended
// as a process's end would end it, and `ended` sees the system before it goes.
void runCase(const RunCase& c, Probe& probe, const std::function<void()>& body,
             const std::function<void(const SimulatedSystem&)>& ended = {});

} // namespace qisrtvcard::testing
