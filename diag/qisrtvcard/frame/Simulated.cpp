#include "frame/Simulated.h"

#include "frame/ComFactory.h"
#include "frame/Toolhelp.h"
#include "tunekit/SmartCoInitialize.h"
#include "tvsim/Processes.h"
#include "tvsim/Simulation.h"

namespace qisrtvcard {
namespace {

const ToolhelpApi kSimulatedProcesses = {tvsim::createProcessSnapshot, tvsim::firstProcess, tvsim::nextProcess,
                                         tvsim::closeProcessSnapshot};

// A prompt in the journal: "open" with what it shows, "answer" with what answered it.
tvsim::Call promptCall(const mirt5::Prompt& prompt, const mirt5::PromptAnswer* answer) {
    tvsim::Arguments arguments;
    arguments.with("id", prompt.id);
    if (answer) {
        arguments.with("code", answer->code).with("source", answer->source);
        return tvsim::makeCall(prompt.kind, "answer", arguments, S_OK, false);
    }
    arguments.with("type", prompt.type).with("option", prompt.option).with("lookAndFeel", prompt.lookAndFeel);
    arguments.with("timeoutMs", static_cast<long long>(prompt.timeoutMs)).with("title", prompt.title).with("text", prompt.text);
    if (!prompt.choices.empty()) arguments.with("choices", static_cast<long long>(prompt.choices.size()));
    return tvsim::makeCall(prompt.kind, "open", arguments, S_OK, false);
}

// Everything the simulated system replaces, put back in reverse order when the run is over.
class Installation {
public:
    Installation(tvsim::Scenario scenario, const mirt5::SimulationRequest& request)
        : journalFile_(openJournal(request.journal)),
          simulation_(std::move(scenario),
                      tvsim::Simulation::Options{request.realtime, [] { mirt5::DiagModule::requestStop(); }, !request.journal.isEmpty()}),
          factory_(setComFactory(tvsim::createInstance)),
          initializer_(tunekit::setComInitializer(tvsim::initializeCom)),
          uninitializer_(tunekit::setComUninitializer(tvsim::uninitializeCom)),
          toolhelp_(setToolhelp(&kSimulatedProcesses)) {
        if (journalFile_) simulation_.journal().addObserver([file = journalFile_.get()](const tvsim::Call& call) { file->write(call); });
        promptWatcher_ = mirt5::DiagModule::setPromptWatcher([this](const mirt5::Prompt& prompt, const mirt5::PromptAnswer* answer) {
            simulation_.journal().record(promptCall(prompt, answer));
        });
        logWatcher_ = qis::LogFactory::setFileWatcher([this](const qis::String& path, bool opened) {
            simulation_.journal().record(tvsim::makeCall("log", "opened", tvsim::Arguments().with("file", path), opened ? S_OK : E_FAIL, false));
        });
    }
    ~Installation() {
        qis::LogFactory::setFileWatcher(std::move(logWatcher_));
        mirt5::DiagModule::setPromptWatcher(std::move(promptWatcher_));
        setToolhelp(toolhelp_);
        tunekit::setComUninitializer(uninitializer_);
        tunekit::setComInitializer(initializer_);
        setComFactory(factory_);
        simulation_.journal().clearObservers();
    }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

private:
    static std::unique_ptr<tvsim::JournalFile> openJournal(const qis::String& path) {
        if (path.isEmpty()) return nullptr;
        try {
            return std::make_unique<tvsim::JournalFile>(path);
        } catch (const std::runtime_error& e) {
            throw mirt5::UsageError(e.what());
        }
    }

    // Declared first: the simulation writes to it until the very end.
    std::unique_ptr<tvsim::JournalFile> journalFile_;
    tvsim::Simulation simulation_;
    ComFactory factory_;
    tunekit::ComInitializer initializer_;
    tunekit::ComUninitializer uninitializer_;
    mirt5::DiagModule::PromptWatcher promptWatcher_;
    qis::LogFactory::FileWatcher logWatcher_;
    const ToolhelpApi* toolhelp_;
};

mirt5::DiagDevice deviceOf(const tvsim::DeviceUnderTest& described, const qis::String& scenario) {
    mirt5::DeviceCapability capabilities;
    for (const auto& name : described.capabilities) {
        const auto capability = mirt5::DeviceCapability::fromName(name);
        if (!capability) throw mirt5::UsageError("scenario \"" + scenario + "\": /device/capabilities: unknown capability \"" + name + "\"");
        capabilities |= *capability;
    }
    return mirt5::DiagDevice(described.name, described.description, capabilities, described.properties);
}

} // namespace

mirt5::SimulatedSystem startSimulatedSystem(const mirt5::SimulationRequest& request) {
    tvsim::Scenario scenario;
    try {
        scenario = tvsim::loadScenario(request.scenario);
    } catch (const tvsim::ScenarioError& e) {
        throw mirt5::UsageError(e.what());
    }
    mirt5::SimulatedSystem system;
    system.device = deviceOf(scenario.device, request.scenario.isEmpty() ? qis::String(tvsim::kDefaultScenario) : request.scenario);
    system.keepAlive = std::make_shared<Installation>(std::move(scenario), request);
    return system;
}

} // namespace qisrtvcard
