#pragma once
// The diagnostics framework as a module sees it: registration of the catalogue, the entry that
// hands control to the framework, and the services a running test calls.

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include "mirt5/DataType.h"
#include "mirt5/DiagDevice.h"
#include "mirt5/Message.h"
#include "mirt5/MessageBox.h"
#include "mirt5/MirtString.h"
#include "mirt5/Parameter.h"
#include "mirt5/Reporter.h"
#include "mirt5/Test.h"
#include "mirt5/TestResult.h"

namespace mirt5 {

// A command line, device file, parameter or answer the framework cannot accept. It is reported
// as one line and the usage exit code; it never reaches the module.
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const qis::String& message) : std::runtime_error(message.utf8()) {}
};

struct RunRequest {
    qis::String test;
    DiagDevice device;
    std::vector<std::pair<qis::String, qis::String>> parameters; // name, host text
    std::vector<qis::String> answers;                            // pre-answers, in order
};

// A run on a simulated system (--sim [SCENARIO], --realtime, --journal FILE).
struct SimulationRequest {
    qis::String scenario; // a built-in name or a file; empty: the default
    bool realtime = false;
    qis::String journal;  // where the system's journal goes: a file, "-" for standard error; empty: nowhere
};

// The simulated system a module starts for a run: the device under test it describes, and a
// handle that keeps the system installed until it is released.
struct SimulatedSystem {
    DiagDevice device;
    std::shared_ptr<void> keepAlive;
};

// Throws UsageError for a scenario that cannot be used.
using SimulationStarter = SimulatedSystem (*)(const SimulationRequest& request);

// What device discovery (--devices) found: each device as its device file describes it, with a
// note for each thing that could not be read, and notes on the system as a whole.
struct DiscoveredDevice {
    DiagDevice device;
    std::vector<qis::String> notes;
};

struct DeviceDiscovery {
    std::vector<DiscoveredDevice> devices;
    std::vector<qis::String> notes;
};

// Looks at the system the run uses (the simulated one with --sim); never throws for a device
// that cannot be read.
using DeviceDiscoverer = DeviceDiscovery (*)();

struct ModuleVersion {
    int major = 0;
    int minor = 0;
    qis::String build;
};

class DiagModule {
public:
    // Catalogue. The framework owns what these return, for the life of the process.
    static Test* createTest(const MirtString& name, const DeviceCapability& capabilities, TestEntry entry);
    static Parameter* createParameter(const MirtString& name, DataType type, const MirtString& defaultValue,
                                      bool moduleWide, bool listed);
    static Event* createEvent(const MirtString& key);
    static LocalizedString* createLocalizedString(const MirtString& key);

    static const std::vector<Test*>& tests();
    static const std::vector<Parameter*>& parameters();
    static const std::vector<Event*>& events();
    static const std::vector<LocalizedString*>& localizedStrings();
    static Test* findTest(const qis::String& name);
    static Parameter* findParameter(const qis::String& name);

    // Entry.
    static void setCmdLineArgs(int argc, char** argv);
    static void setVersion(int major, int minor, const MirtString& build);
    static ModuleVersion version();
    static void setModuleInitCallback(void (*callback)());
    // Without a starter, --sim is refused.
    static void setSimulationStarter(SimulationStarter starter);
    // Without a discoverer, --devices is refused.
    static void setDeviceDiscoverer(DeviceDiscoverer discoverer);
    // Runs what the command line asks for; returns the process exit code.
    static int start();

    // Runs one test with checked inputs; throws UsageError for inputs it cannot accept. A
    // foundation exception from the test is reported as EXITEDABNORMALLY and thrown on.
    static TestResult run(const RunRequest& request, Reporter& reporter, LineSource* input = nullptr);

    // Services for the running test.
    static void percentDone(int percent);
    static void resetPercentDone();
    static void progress(LocalizedString* text);
    static bool checkForStop();
    static void requestStop();
    static void warning(Event* event, const char* sourceFile, int line);
    static void error(Event* event, const char* sourceFile, int line);

    // Shows a box and waits for its answer (MessageBox::Answer*). `pollIntervalMs` is how often
    // the box looks for a stop request, which closes it with AnswerCancel; with `timeoutEnabled`
    // an unanswered box closes after `timeoutMs` with AnswerTimeout.
    static int createMessageBox(int type, const MirtString& text, const MirtString& title, int option,
                                int lookAndFeel, const DiagDevice* device, MessageBox::Callback callback,
                                void* callbackData, unsigned long timeoutMs, unsigned long pollIntervalMs,
                                bool timeoutEnabled);

    // A prompt the module shows itself (a dialog of its own), answered in advance by the next
    // --answer value so that an unattended run never waits for a person. Inside a run with an
    // answer left: reports the prompt as opened and answered and gives the answer's code, a
    // number as it is, "ok" as `okCode` and any other word as `cancelCode`. Otherwise gives
    // nothing, and the module shows its prompt.
    static std::optional<int> takeAnswer(Prompt prompt, int okCode, int cancelCode);
    // The same prompt when nothing answered it in advance: reports it opened, runs `show` (the
    // module's dialog) and reports the code it gives as answered at the dialog.
    static int showOwnPrompt(Prompt prompt, const std::function<int()>& show);

    // Called with every prompt as it opens (no answer) and as it is answered, besides the
    // run's reporter; for the simulated system's journal. Returns the one set before.
    using PromptWatcher = std::function<void(const Prompt&, const PromptAnswer*)>;
    static PromptWatcher setPromptWatcher(PromptWatcher watcher);
};

} // namespace mirt5
