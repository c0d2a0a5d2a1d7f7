// The host protocol: the command line, the catalogue listing and one test run.
// CLI11 lives in this file only; its header is expensive to compile.
#include <algorithm>
#include <cctype>
#include <csignal>
#include <filesystem>
#include <iostream>

#include <CLI/CLI.hpp>

#include "DeviceListing.h"
#include "HostInput.h"
#include "Listing.h"
#include "mirt5/DeviceFile.h"
#include "mirt5/DiagModule.h"
#include "mirt5/HostOutput.h"
#include "mirt5/Localization.h"
#include "qis/FileSystem.h"
#include "qis/Locale.h"
#include "qis/Log.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <shellapi.h>
#include <stdlib.h>
#endif

namespace mirt5 {
namespace {

struct Invocation {
    std::vector<std::string> args; // UTF-8, program name first
    void (*initCallback)() = nullptr;
    SimulationStarter simulationStarter = nullptr;
    DeviceDiscoverer deviceDiscoverer = nullptr;
};

Invocation& invocation() {
    static Invocation instance;
    return instance;
}

struct Options {
    bool version = false;
    bool list = false;
    bool devices = false;
    std::string out;
    bool force = false;
    bool json = false;
    std::string test;
    std::string device;
    std::vector<std::string> parameters;
    std::vector<std::string> answers;
    std::string locale;
    int logLevel = qis::LogPriority::Info;
    std::string logDir;
    bool simulate = false;
    std::string scenario;
    bool realtime = false;
    std::string journal;
};

const char* kFooter =
    "Examples:\n"
    "  qisrtvcard --list --device card.json              the tests offered for a card\n"
    "  qisrtvcard --test CaptureToScreenTest --device card.json\n"
    "  qisrtvcard --sim atsc --test ClearQAMTest        on a virtual card (hybrid, atsc, dvbt, ocur)\n"
    "  qisrtvcard --devices --out cards                 one device file a card found, for --device\n"
    "\n"
    "Exit codes: the test's result: 0 PASS, 1 FAIL, 2 CANNOTRUN, 3 NODEVICE, 4 NOSIGNAL, 5 NOTSUPPORTED,\n"
    "6 USERABORTED, 7 INTERNALERROR, 8 EXITEDABNORMALLY; 64 for a command line, device file or value\n"
    "that cannot be used. --help, --version, --list and --devices exit with 0.\n"
    "Answers: retry, skip, cancel, ok, timeout or a number, used by the prompts in order.";

qis::String programName() {
    const auto& args = invocation().args;
    if (args.empty() || args.front().empty()) return "qisrtvcard";
    const auto stem = qis::FileSystem::toPath(args.front()).stem().u8string();
    return qis::String(std::string(stem.begin(), stem.end()));
}

std::filesystem::path executableDirectory() {
#ifdef _WIN32
    wchar_t buffer[MAX_PATH * 4];
    const DWORD length = GetModuleFileNameW(nullptr, buffer, static_cast<DWORD>(std::size(buffer)));
    if (length > 0 && length < std::size(buffer)) return std::filesystem::path(buffer).parent_path();
#else
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (!error) return self.parent_path();
#endif
    return std::filesystem::current_path();
}

qis::String systemLocaleTag() {
#ifdef _WIN32
    wchar_t name[LOCALE_NAME_MAX_LENGTH] = {};
    if (LCIDToLocaleName(MAKELCID(GetUserDefaultUILanguage(), SORT_DEFAULT), name, LOCALE_NAME_MAX_LENGTH, 0) > 0)
        return qis::String(name);
#else
    if (const char* lang = std::getenv("LANG")) {
        const std::string tag = std::string(lang).substr(0, std::string(lang).find('.'));
        if (!tag.empty() && tag != "C" && tag != "POSIX") return qis::String(tag);
    }
#endif
    return "en";
}

// First Ctrl+C asks the test to stop; a second one ends the process the usual way.
extern "C" void onInterrupt(int) {
    DiagModule::requestStop();
    std::signal(SIGINT, SIG_DFL);
}

std::pair<qis::String, qis::String> splitParameter(const std::string& text) {
    const auto equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw UsageError("--param \"" + qis::String(text) + "\": expected NAME=VALUE");
    return {qis::String(text.substr(0, equals)), qis::String(text.substr(equals + 1))};
}

void addOptions(CLI::App& app, Options& o) {
    app.add_flag("--version", o.version, "Print the module's version and exit");
    auto* list = app.add_flag("--list", o.list, "List the catalogue (with --device: the tests offered for it)");
    auto* test = app.add_option("--test", o.test, "Run the test NAME")->type_name("NAME");
    list->excludes(test);
    auto* devices = app.add_flag("--devices", o.devices, "List the capture and BDA devices as device files");
    devices->excludes(list)->excludes(test);
    auto* out = app.add_option("--out", o.out, "With --devices: write one device file a device into DIR")->type_name("DIR");
    out->needs(devices);
    app.add_flag("--force", o.force, "With --out: overwrite device files that exist")->needs(out);
    app.add_option("--device", o.device, "Device under test, a JSON file")->type_name("FILE");
    app.add_option("--param", o.parameters, "A parameter value for the test")->type_name("NAME=VALUE")->allow_extra_args(false);
    app.add_option("--answer", o.answers, "Pre-answer the next prompt")->type_name("ANSWER")->allow_extra_args(false);
    app.add_flag("--json", o.json, "Write JSON Lines instead of text; read answers and stop commands from stdin");
    app.add_option("--locale", o.locale, "Language of the texts, e.g. de-DE (default: the system's)")->type_name("TAG");
    app.add_option("--log-level", o.logLevel, "Lowest log priority written: 0 trace ... 4 error (default 2)")
        ->check(CLI::Range(0, 4))
        ->type_name("N");
    app.add_option("--log-dir", o.logDir, "Directory of the log files (default: the current directory)")->type_name("DIR");
    app.add_option("--sim", o.scenario, "Run on the virtual TV system: a built-in scenario name or a scenario file")
        ->expected(0, 1)
        ->type_name("[SCENARIO]");
    app.add_flag("--realtime", o.realtime, "With --sim: let virtual time follow the wall clock");
    app.add_option("--journal", o.journal, "With --sim: write every call the module makes to the virtual system, as JSON Lines (- for standard error)")
        ->type_name("FILE");
    app.footer(kFooter);
}

// The tag names a file beside the program, so it may not name a path.
void requireLanguageTag(const std::string& tag) {
    const auto allowed = [](unsigned char c) { return std::isalnum(c) || c == '-'; };
    if (!std::all_of(tag.begin(), tag.end(), allowed))
        throw UsageError("--locale \"" + qis::String(tag) + "\": expected a language tag of letters, digits and hyphens, such as de-DE");
}

void configureServices(const Options& o) {
    requireLanguageTag(o.locale);
    qis::LogFactory::setPriority(o.logLevel);
    if (!o.logDir.empty()) {
        if (!std::filesystem::is_directory(qis::FileSystem::toPath(o.logDir)))
            throw UsageError("--log-dir \"" + qis::String(o.logDir) + "\": not a directory");
        qis::LogFactory::setLogDirectory(o.logDir);
    }
    qis::LogFactory::setDefaultLogFile(programName());
    qis::QISLocale::setGlobalLocale(qis::QISLocale(o.locale.empty() ? systemLocaleTag() : qis::String(o.locale)));
    Localization::load(executableDirectory() / "locale", qis::QISLocale::getGlobalLocale().toString());
}

// With --sim the simulated system is installed first; its device is the default device under test.
std::optional<SimulatedSystem> startSimulation(const Options& o) {
    if (!o.simulate) {
        if (o.realtime) throw UsageError("--realtime needs --sim");
        if (!o.journal.empty()) throw UsageError("--journal needs --sim");
        return std::nullopt;
    }
    if (!invocation().simulationStarter) throw UsageError("--sim: this program has no simulated system");
    return invocation().simulationStarter(SimulationRequest{qis::String(o.scenario), o.realtime, qis::String(o.journal)});
}

std::optional<DiagDevice> deviceUnderTest(const Options& o, const std::optional<SimulatedSystem>& simulation) {
    if (!o.device.empty()) return loadDeviceFile(o.device);
    if (simulation) return simulation->device;
    return std::nullopt;
}

int runTest(const Options& o) {
    const auto simulation = startSimulation(o);
    const auto device = deviceUnderTest(o, simulation);
    if (!device) throw UsageError("--test " + qis::String(o.test) + " needs --device FILE (or --sim)");
    RunRequest request;
    request.test = o.test;
    request.device = *device;
    for (const auto& p : o.parameters) request.parameters.push_back(splitParameter(p));
    for (const auto& a : o.answers) request.answers.emplace_back(a);

    std::unique_ptr<LineSource> input;
    if (o.json) input = openStandardInput(true);
    else if (standardInputIsConsole()) input = openStandardInput(false);
    const auto reporter = o.json ? makeJsonReporter(std::cout, o.logLevel)
                                 : makeHumanReporter(std::cout, o.logLevel, standardOutputIsConsole());

    std::signal(SIGINT, onInterrupt);
    return DiagModule::run(request, *reporter, input.get()).value();
}

int discoverDevices(const Options& o) {
    if (!invocation().deviceDiscoverer) throw UsageError("--devices: this program cannot discover devices");
    const auto folder = qis::FileSystem::toPath(o.out);
    // A folder that cannot take the files is reported before anything is looked at.
    if (!o.out.empty()) requireReadableFolder(folder);
    const auto simulation = startSimulation(o);
    const DeviceDiscovery found = invocation().deviceDiscoverer();
    std::vector<std::filesystem::path> files;
    if (!o.out.empty()) {
        files = plannedDeviceFiles(folder, found, o.force);
        writeDeviceFiles(found, files);
    }
    printDevices(std::cout, std::cerr, found, files, o.json);
    return 0;
}

int dispatch(CLI::App& app, const Options& o) {
    if (o.version) {
        const ModuleVersion v = DiagModule::version();
        std::cout << programName() << ' ' << v.major << '.' << v.minor << " build " << v.build << '\n';
        return 0;
    }
    if (o.list) {
        const auto simulation = startSimulation(o);
        listCatalogue(std::cout, programName(), deviceUnderTest(o, simulation), o.json);
        return 0;
    }
    if (o.devices) return discoverDevices(o);
    if (!o.test.empty()) return runTest(o);
    throw UsageError("nothing to do: give --test NAME, --list, --devices, --version or --help (" + qis::String(app.get_name()) + " --help)");
}

} // namespace

void DiagModule::setCmdLineArgs(int argc, char** argv) {
    auto& args = invocation().args;
    args.clear();
#ifdef _WIN32
    // The process's own narrow argv is in the ANSI code page; its wide command line keeps every
    // character. Arguments made up by a caller (tests) are taken as they are.
    int count = 0;
    if (LPWSTR* wide = argv == __argv ? CommandLineToArgvW(GetCommandLineW(), &count) : nullptr) {
        if (count == argc)
            for (int i = 0; i < count; ++i) args.push_back(qis::String(wide[i]).utf8());
        LocalFree(wide);
    }
#endif
    if (args.empty())
        for (int i = 0; i < argc; ++i) args.emplace_back(argv[i] ? argv[i] : "");
}

void DiagModule::setModuleInitCallback(void (*callback)()) { invocation().initCallback = callback; }
void DiagModule::setSimulationStarter(SimulationStarter starter) { invocation().simulationStarter = starter; }
void DiagModule::setDeviceDiscoverer(DeviceDiscoverer discoverer) { invocation().deviceDiscoverer = discoverer; }

int DiagModule::start() {
    const qis::String name = programName();
    CLI::App app("Diagnostics for TV-tuner and video-capture cards", name.utf8());
    Options options;
    addOptions(app, options);
    try {
        std::vector<std::string> args(invocation().args.rbegin(), invocation().args.rend());
        if (!args.empty()) args.pop_back(); // CLI11 takes the arguments reversed, without the program
        app.parse(args);
        options.simulate = app.count("--sim") > 0;
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return 0;
    } catch (const CLI::ParseError& e) {
        std::cerr << name << ": " << e.what() << '\n';
        return kUsageExitCode;
    }
    try {
        configureServices(options);
        // The callback wires the catalogue together: once per process, however often start runs.
        static bool initialised = false;
        if (invocation().initCallback && !initialised) {
            initialised = true;
            invocation().initCallback();
        }
        return dispatch(app, options);
    } catch (const UsageError& e) {
        std::cerr << name << ": " << e.what() << '\n';
        return kUsageExitCode;
    }
}

} // namespace mirt5
