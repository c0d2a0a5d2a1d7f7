#include "ModuleTestSupport.h"

#include <chrono>
#include <fstream>
#include <mutex>
#include <utility>

#include "frame/CountryDialog.h"
#include "analog/GraphHandles.h"
#include "frame/Catalogue.h"
#include "frame/Entry.h"
#include "frame/Simulated.h"
#include "Requirement.h"
#include "qis/Exception.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard::testing {
namespace {

std::function<mirt5::TestResult(const mirt5::DiagDevice&)> g_body;

mirt5::TestResult probeEntry(const mirt5::DiagDevice& device) { return g_body(device); }

mirt5::Test* probeTest() {
    static mirt5::Test* probe = [] {
        initialiseCatalogue();
        auto* test = mirt5::DiagModule::createTest("ModuleProbe", mirt5::DeviceCapability(), probeEntry);
        for (mirt5::Parameter* parameter : mirt5::DiagModule::parameters())
            if (!parameter->isModuleWide()) test->addParameter(parameter);
        return test;
    }();
    return probe;
}

} // namespace

void initialiseCatalogue() {
    static std::once_flag once;
    std::call_once(once, [] {
        char program[] = "qisrtvcard";
        char version[] = "--version";
        char* argv[] = {program, version, nullptr};
        moduleMain(2, argv);
    });
}

std::filesystem::path writeTempFile(const std::string& name, const std::string& text) {
    // Test programs run side by side: each process writes files of its own.
    const auto path = std::filesystem::temp_directory_path() /
                      ("qisrtvcard-test-" + std::to_string(GetCurrentProcessId()) + "-" + name);
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::map<std::string, std::string> defaultParameters() {
    return {{"TVStartChannel", "2"},         {"TVEndChannel", "13"},         {"FMRadioStartChannel", "88.0"},
            {"FMRadioEndChannel", "108.0"},  {"MsgBoxTimeout", "30"},        {"CheckTVCable", "true"},
            {"StopOnSignal", "true"},        {"ChecksPerChannel", "3"},      {"SignalType", "cable"},
            {"DigitalStartChannel", "2"},    {"DigitalEndChannel", "69"},    {"AskCountryCode1", "false"},
            {"AskCountryCode2", "false"},    {"UseMinorChannelTechnique", "false"}};
}

mirt5::TestResult Probe::run(const std::function<mirt5::TestResult(const mirt5::DiagDevice&)>& body) {
    mirt5::RunRequest request;
    request.test = probeTest()->name();
    request.device = device;
    auto values = defaultParameters();
    for (const auto& [name, value] : parameters) values[name] = value;
    for (const auto& [name, value] : values) request.parameters.emplace_back(name, value);
    request.answers = answers;
    g_body = body;
    return mirt5::DiagModule::run(request, reporter);
}

std::vector<std::string> Probe::logLines(const char* category) const {
    std::vector<std::string> lines;
    for (const auto& record : reporter.logs)
        if (!category || record.category == category) lines.push_back(record.text.utf8());
    return lines;
}

std::vector<std::string> Probe::eventKeys() const {
    std::vector<std::string> keys;
    for (const auto& event : reporter.events)
        keys.push_back((event.severity == mirt5::Severity::Warning ? "warning:" : "error:") + event.key.utf8());
    return keys;
}

SimulatedSystem::SimulatedSystem(const std::string& scenarioJson) {
    initialiseCatalogue();
    mirt5::SimulationRequest request;
    // JSON text goes through a file as a host's would; anything else names a built-in scenario.
    if (!scenarioJson.empty() && scenarioJson.front() == '{')
        request.scenario = qis::String(writeTempFile("scenario.json", scenarioJson).string());
    else if (!scenarioJson.empty())
        request.scenario = qis::String(scenarioJson);
    system_ = startSimulatedSystem(request);
}

SimulatedSystem::~SimulatedSystem() = default;

std::string SimulatedSystem::liveObjects() const {
    std::string text;
    if (tvsim::Simulation* simulation = tvsim::Simulation::active())
        for (const auto& object : simulation->liveObjects())
            text += object.name.utf8() + " (" + std::to_string(object.references) + ")\n";
    return text;
}

void addFault(const char* object, const char* method, unsigned call, std::uint32_t result) {
    tvsim::Simulation::current().faults().add({object, method, static_cast<std::int32_t>(result), call});
}

std::vector<std::string> journalArguments(const char* object, const char* method) {
    std::vector<std::string> list;
    for (const auto& call : tvsim::Simulation::current().journal().calls())
        if ((qis::String(object) == "*" || call.object == object) && call.method == method)
            list.push_back(call.arguments.utf8() + (call.injected ? " (failed)" : ""));
    return list;
}

bool haveDisplay() {
    HWND probe = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
    if (!probe) return false;
    DestroyWindow(probe);
    return true;
}

std::string assertionOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const qis::AssertionFailure& failure) {
        return failure.getCondition().utf8();
    }
    return "(nothing thrown)";
}

UserAtScreen::UserAtScreen(std::wstring caption, std::function<void(HWND dialog)> act)
    : thread_([this, caption = std::move(caption), act = std::move(act)] {
          const auto waitFor = [](const std::function<bool()>& condition, std::chrono::milliseconds limit) {
              for (const auto end = std::chrono::steady_clock::now() + limit; !condition();) {
                  if (std::chrono::steady_clock::now() > end) return false;
                  std::this_thread::sleep_for(std::chrono::milliseconds(10));
              }
              return true;
          };
          HWND dialog = nullptr;
          const bool shown = waitFor([&] { return !asking_ || ((dialog = FindWindowW(L"#32770", caption.c_str())) && IsWindowVisible(dialog)); },
                                     std::chrono::seconds(20));
          if (!asking_) return;
          const auto cancel = [](HWND window) { SendMessageW(window, WM_COMMAND, MAKEWPARAM(IDCANCEL, BN_CLICKED), 0); };
          if (!shown) {
              ADD_FAILURE() << "no dialog with the caption appeared";
              if (HWND any = FindWindowW(L"#32770", nullptr)) cancel(any);
              return;
          }
          act(dialog);
          if (!waitFor([&] { return !IsWindowVisible(dialog); }, std::chrono::seconds(5))) {
              ADD_FAILURE() << "the dialog stayed open";
              cancel(dialog);
          }
      }) {}

UserAtScreen::~UserAtScreen() {
    asking_ = false;
    thread_.join();
}

std::vector<std::string> logOf(const std::function<void()>& body, const char* category) {
    std::vector<std::string> lines;
    qis::LogFactory::setPriority(qis::LogPriority::Debug);
    const int sink = qis::LogFactory::addSink([&](const qis::LogRecord& record) {
        if (record.category == category) lines.push_back(record.text.utf8());
    });
    body();
    qis::LogFactory::removeSink(sink);
    qis::LogFactory::setPriority(qis::LogPriority::Info);
    return lines;
}

void ModuleRun::SetUp() {
    QIS_REQUIRE(haveDisplay(), "a display (run under xvfb-run)");
    initialiseCatalogue(); // before a test lowers the log level: start-up sets it
    supportedCountryCodes().clear();
}

void ModuleRun::TearDown() {
    probe_.reset();
    system_.reset();
    supportedCountryCodes().clear();
    qis::LogFactory::setPriority(qis::LogPriority::Info);
}

void ModuleRun::load(const std::string& scenario) {
    initialiseCatalogue(); // before a test lowers the log level: start-up sets it
    probe_.reset();
    system_.reset();
    system_ = std::make_unique<SimulatedSystem>(scenario);
    probe_ = std::make_unique<Probe>();
    probe_->device = system_->device();
}

mirt5::TestResult ModuleRun::run(Entry entry, Parameters parameters, Answers answers) {
    probe_->parameters = std::move(parameters);
    probe_->answers = std::move(answers);
    const auto virtualStart = tvsim::Simulation::current().elapsed();
    const auto wallStart = std::chrono::steady_clock::now();
    const mirt5::TestResult result = probe_->run(entry);
    virtualSeconds_ = std::chrono::duration<double>(tvsim::Simulation::current().elapsed() - virtualStart).count();
    wallSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - wallStart).count();
    return result;
}

std::vector<std::string> ModuleRun::progress() const {
    std::vector<std::string> channels;
    for (const auto& line : probe_->reporter.progressLines) channels.push_back(line.variables.at("channel").utf8());
    return channels;
}

void ModuleRun::expectRuns(const std::vector<WholeRun>& rows, const WholeRun& base) {
    for (WholeRun row : rows) {
        if (row.scenario.empty()) row.scenario = base.scenario;
        if (!row.entry) row.entry = base.entry;
        if (row.answers.empty()) row.answers = base.answers;
        row.parameters.insert(base.parameters.begin(), base.parameters.end());
        SCOPED_TRACE(row.what);
        load(row.scenario);
        qis::LogFactory::setPriority(qis::LogPriority::Debug);
        if (row.before) row.before();
        if (row.assertion) {
            EXPECT_EQ(assertionOf([&] { run(row.entry, row.parameters, row.answers); }), row.assertion);
        } else {
            EXPECT_EQ(run(row.entry, row.parameters, row.answers), row.result);
            EXPECT_EQ(probe_->eventKeys(), row.events);
        }
        for (const auto& [name, value] : row.variables)
            if (!probe_->reporter.events.empty()) EXPECT_EQ(event(0).variables.at(qis::String(name)).utf8(), value) << name;
        if (row.channels) EXPECT_EQ(progress(), *row.channels);
        if (row.percents) EXPECT_EQ(probe_->reporter.percents, *row.percents);
        for (const auto& [category, line] : row.logged) EXPECT_THAT(probe_->logLines(category), ::testing::Contains(line));
        if (row.prompts >= 0) EXPECT_EQ(probe_->reporter.prompts.size(), static_cast<std::size_t>(row.prompts));
        if (row.more) row.more();
    }
}

void ModuleRun::expectFaults(const WholeRun& base, const std::vector<FaultOutcome>& rows,
                             const std::function<void(const FaultOutcome&)>& more) {
    std::vector<WholeRun> runs;
    for (const FaultOutcome& row : rows) {
        WholeRun& run = runs.emplace_back(base);
        run.what = std::string(row.object) + "::" + row.method + " #" + std::to_string(row.call);
        run.assertion = row.assertion;
        run.result = row.result;
        if (row.event) run.events = {row.event};
        if (row.logged) run.logged.emplace_back(nullptr, ::testing::HasSubstr(row.logged));
        run.before = [row] { addFault(row.object, row.method, row.call); };
        if (more) run.more = [more, row] { more(row); };
    }
    expectRuns(runs);
}

void ModuleRun::stopAt(const std::string& channel) {
    probe_->onProgress = [channel](const qis::String& text) {
        if (text.endsWith(qis::String(channel))) mirt5::DiagModule::requestStop();
    };
}

std::ostream& operator<<(std::ostream& out, const RunCase& c) { return out << c.name << " on " << c.scenario; }

std::string caseName(const ::testing::TestParamInfo<RunCase>& info) {
    return std::string(info.param.name) + "_" + info.param.scenario;
}

void runCase(const RunCase& c, Probe& probe, const std::function<void()>& body,
             const std::function<void(const SimulatedSystem&)>& ended) {
    supportedCountryCodes().clear();
    SimulatedSystem system(c.scenario);
    probe.device = system.device();
    probe.parameters = c.parameters;
    probe.answers.insert(probe.answers.begin(), c.answers.begin(), c.answers.end());
    // The analog tests abandon what their handles still hold (the tuner always, the rest after
    // an early return): a process runs one test, and its end releases them.
    struct End {
        ~End() {
            releaseAbandonedGraphHandles();
            if (g_hwndVideo) DestroyWindow(std::exchange(g_hwndVideo, nullptr));
        }
    };
    {
        End end;
        body();
    }
    if (ended) ended(system);
}

} // namespace qisrtvcard::testing
