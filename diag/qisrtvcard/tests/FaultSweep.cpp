// Fault sweep: every test on its virtual card, run once to learn the COM calls it makes, then
// again with each of those calls failing in turn. Whatever fails, a run must end with a result or
// with one of the assertion failures the module raises on purpose, within bounded time, and
// leave no COM object behind but the ones the design keeps.
//
// QISRTV_SWEEP=full fails every occurrence of every call, with E_OUTOFMEMORY as well as E_FAIL
// (nightly); by default the first two of each method on each object, with E_FAIL: the module tests
// FAILED() only, and the two codes gave the same outcome for every call swept.
// QISRTV_SWEEP_TABLE=FILE writes the outcome table as Markdown.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "Requirement.h"

#include "ModuleTestSupport.h"
#include "frame/TestEntries.h"
#include "qis/Exception.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

const testing::RunCase kCases[] = {
    {"TVSignalTest", "hybrid", AnalogTVSignalTest, {{"TVStartChannel", "4"}, {"TVEndChannel", "6"}}, {"retry", "skip"}},
    {"FMRadioTest", "hybrid", FMRadioSignalTest, {{"FMRadioStartChannel", "88.1"}, {"FMRadioEndChannel", "88.5"}}, {}},
    {"CaptureToScreenTest", "hybrid", CaptureToScreenTest, {}, {}},
    {"CaptureToFileTest", "hybrid", CaptureToFileTest, {}, {}},
    {"DigitalTVSignalTest", "atsc", DigitalTVSignalTest, {{"DigitalStartChannel", "6"}, {"DigitalEndChannel", "7"}}, {"retry"}},
    {"ClearQAMTest", "atsc", ClearQAMTest, {}, {}},
    {"DigitalTVSignalTest", "dvbt", DigitalTVSignalTest, {}, {"44", "retry"}},
    {"DigitalTVSignalTest", "ocur", DigitalTVSignalTest, {{"DigitalStartChannel", "11"}, {"DigitalEndChannel", "12"}}, {"ok", "retry"}},
};

// What the module throws on purpose: the conditions its assertions name, and a plan read past
// its end (the DVB-T tuning step lets one index too many through).
const std::set<std::string> kDesignedAssertions = {
    "SUCCEEDED( hr )", "SUCCEEDED( hr ) && ATSCLocator", "ATSCLocator2", "ATSCTuningSpace", "TuneRequest && SUCCEEDED( hr )",
    "ATSCChannelTuneRequest", "SUCCEEDED( hr ) && BaseFilter", "NetworkProviderFilter", "false", "Tuner", "bRes", "VideoWindow",
    "VideoRenderer", "SUCCEEDED( hr ) && QualProp", "MediaControl", "SUCCEEDED( hr ) && c1 >= 0", "c2 - c1 >= 0", "TR",
    "snapshot", "b", "g_graphManager", "pFilterUpstream", "pFilterDownstream",
    "device.intersectCapability(DeviceCapability::VideoCapture())"};

// Calls that drivers and providers are known to answer with success and a null pointer, which
// the module must survive. (Elsewhere that would break COM's own contract.)
const std::set<std::string> kNullResultMethods = {"BindToObject", "BindToStorage", "GetControlNode", "get_TuneRequest",
                                                  "CreateTuneRequest", "FindInterface"};

const struct {
    const char* name;
    tvsim::FaultKind kind;
    std::uint32_t result;
    bool fullOnly;
} kKinds[] = {{"E_FAIL", tvsim::FaultKind::Fail, 0x80004005u, false},
              {"E_OUTOFMEMORY", tvsim::FaultKind::Fail, 0x8007000Eu, true},
              {"null result", tvsim::FaultKind::NullResult, 0, false}};

constexpr double kMostVirtualSeconds = 4 * 3600.0;
constexpr double kMostWallSeconds = 20.0;
constexpr std::chrono::milliseconds kPollStep{10};

// How one run ended ("PASS", "NOSIGNAL", "assertion: false", ...), and what about it breaks the design.
struct Outcome {
    std::string text, violation;
};

// The table of docs/fault-sweep.md: per test and card, the calls swept and for each kind of fault
// how often each outcome came.
struct TableRow {
    std::string test, scenario;
    std::size_t calls = 0;
    std::map<std::string, std::map<std::string, int>> outcomes;
};
std::vector<TableRow> g_table;

class FaultSweep : public ::testing::TestWithParam<testing::RunCase> {
protected:
    static void SetUpTestSuite() {
        testing::initialiseCatalogue();
        // ".\capture.avi" goes to a directory of its own.
        const auto directory = std::filesystem::temp_directory_path() / ("qisrtvcard-sweep-" + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directories(directory);
        previous_ = std::filesystem::current_path();
        std::filesystem::current_path(directory);
    }
    static void TearDownTestSuite() {
        std::filesystem::current_path(previous_);
        const char* path = std::getenv("QISRTV_SWEEP_TABLE");
        if (!path) return;
        std::ofstream out(path);
        out << "| Test | Card | Calls swept | Fault | Outcomes |\n|---|---|---|---|---|\n";
        for (const TableRow& row : g_table)
            for (const auto& [kind, outcomes] : row.outcomes) {
                std::string list;
                for (const auto& [text, count] : outcomes) list += (list.empty() ? "" : ", ") + text + " " + std::to_string(count);
                out << "| " << row.test << " | " << row.scenario << " | " << row.calls << " | " << kind << " | " << list << " |\n";
            }
    }
    void SetUp() override { QIS_REQUIRE(testing::haveDisplay(), "a display (run under xvfb-run)"); }

    // One run of the case on a fresh system, with `fault` when given; `calls` gets the calls it
    // made as object, method and occurrence.
    Outcome runOnce(const testing::RunCase& c, const tvsim::FaultRule* fault, std::vector<tvsim::FaultRule>* calls) {
        testing::Probe probe;
        Outcome outcome;
        bool threw = true;
        testing::runCase(
            c, probe,
            [&] {
                if (fault) tvsim::Simulation::current().faults().add(*fault);
                // The sweep asks only how a run ends, so a busy wait need not poll every virtual
                // millisecond: each poll of the capture tests' message pump is a call to Wine.
                tvsim::Simulation::current().clock().setPollStep(kPollStep);
                const auto wallStart = std::chrono::steady_clock::now();
                const auto virtualStart = tvsim::Simulation::current().elapsed();
                try {
                    outcome.text = probe.run(c.entry).name();
                    threw = false;
                } catch (const qis::AssertionFailure& failure) {
                    outcome.text = "assertion: " + failure.getCondition().utf8();
                    if (!kDesignedAssertions.count(failure.getCondition().utf8())) outcome.violation = "an assertion the design does not make";
                } catch (const qis::IndexOutOfBounds&) {
                    outcome.text = "IndexOutOfBounds";
                } catch (const std::exception& e) {
                    outcome.text = std::string("exception: ") + e.what();
                    outcome.violation = "an exception outside the design";
                }
                const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
                const double virtualSeconds = std::chrono::duration<double>(tvsim::Simulation::current().elapsed() - virtualStart).count();
                if (wall > kMostWallSeconds || virtualSeconds > kMostVirtualSeconds) outcome.violation = "took too long";
            },
            [&](const testing::SimulatedSystem& system) {
                // Nothing may stay alive but what the renderer search keeps: one graph reference for
                // each filter it asked for its name, which keeps that graph with its filters.
                const std::string live = system.liveObjects();
                const std::size_t asked = testing::journalArguments("*", "QueryFilterInfo").size();
                if (!threw && outcome.violation.empty() && !live.empty() &&
                    !(asked && live.find("FilterGraph (" + std::to_string(asked) + ")\n") != std::string::npos))
                    outcome.violation = "objects left alive:\n" + live;
                std::map<std::pair<std::string, std::string>, unsigned> seen;
                if (calls)
                    for (const auto& call : tvsim::Simulation::current().journal().calls())
                        calls->push_back({call.object, call.method, 0, ++seen[{call.object.utf8(), call.method.utf8()}]});
            });
        return outcome;
    }

    static std::filesystem::path previous_;
};

std::filesystem::path FaultSweep::previous_;

TEST_P(FaultSweep, EveryFailingCallEndsAsDesigned) {
    const testing::RunCase& c = GetParam();
    std::vector<tvsim::FaultRule> calls;
    const Outcome baseline = runOnce(c, nullptr, &calls);
    ASSERT_EQ(baseline.violation, "");
    ASSERT_EQ(baseline.text, "PASS") << "the card is meant to pass this test";

    TableRow row{c.name, c.scenario};
    const char* mode = std::getenv("QISRTV_SWEEP");
    const bool full = mode && std::string(mode) == "full";
    const unsigned mostOccurrences = full ? ~0u : 2u;
    for (tvsim::FaultRule rule : calls) {
        if (rule.call > mostOccurrences) continue;
        ++row.calls;
        const std::string object = rule.object.utf8(), method = rule.method.utf8();
        for (const auto& kind : kKinds) {
            if (kind.fullOnly && !full) continue;
            if (kind.kind == tvsim::FaultKind::NullResult && !kNullResultMethods.count(method)) continue;
            rule.kind = kind.kind;
            rule.result = static_cast<std::int32_t>(kind.result);
            // Named before it runs, so that a crash in the output says which fault caused it.
            std::printf("sweep: %s::%s #%u (%s)", object.c_str(), method.c_str(), rule.call, kind.name);
            std::fflush(stdout);
            const Outcome outcome = runOnce(c, &rule, nullptr);
            std::printf(" -> %s\n", outcome.text.c_str());
            EXPECT_EQ(outcome.violation, "") << object << "::" << method << " #" << rule.call << " (" << kind.name << ") ended " << outcome.text;
            ++row.outcomes[kind.name][outcome.text];
        }
    }
    g_table.push_back(row);
}

INSTANTIATE_TEST_SUITE_P(AllTests, FaultSweep, ::testing::ValuesIn(kCases), testing::caseName);

} // namespace
} // namespace qisrtvcard
