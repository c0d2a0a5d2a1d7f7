// The catalogue, one test run, and the services the running test calls.
#include "mirt5/DiagModule.h"

#include <atomic>
#include <deque>
#include <exception>
#include <memory>
#include <set>
#include <thread>

#include "Answers.h"
#include "qis/Exception.h"
#include "qis/System.h"

namespace mirt5 {
namespace {

struct Catalogue {
    std::vector<std::unique_ptr<Test>> ownedTests;
    std::vector<std::unique_ptr<Parameter>> ownedParameters;
    std::vector<std::unique_ptr<Event>> ownedEvents;
    std::vector<std::unique_ptr<LocalizedString>> ownedStrings;
    std::vector<Test*> tests;
    std::vector<Parameter*> parameters;
    std::vector<Event*> events;
    std::vector<LocalizedString*> strings;
    ModuleVersion version;
};

// Created on first use: modules register from their static initialisers.
Catalogue& catalogue() {
    static Catalogue* instance = new Catalogue;
    return *instance;
}

// The run in progress. Services called outside a run report to nobody.
struct RunContext {
    std::mutex mutex;
    Reporter* reporter = nullptr;
    std::deque<qis::String> answers;
    LineSource* input = nullptr;
    int nextPromptId = 1;
};

RunContext g_run;
Reporter g_nobody;
DiagModule::PromptWatcher g_promptWatcher;
std::atomic<bool> g_stopRequested{false};

Reporter& reporter() {
    std::lock_guard lock(g_run.mutex);
    return g_run.reporter ? *g_run.reporter : g_nobody;
}

void promptOpened(const Prompt& prompt) {
    reporter().promptOpened(prompt);
    if (g_promptWatcher) g_promptWatcher(prompt, nullptr);
}

void promptAnswered(const Prompt& prompt, const PromptAnswer& answer) {
    reporter().promptAnswered(prompt, answer);
    if (g_promptWatcher) g_promptWatcher(prompt, &answer);
}

void raise(Severity severity, Event* event, const char* sourceFile, int line) {
    if (!event) return;
    reporter().event(severity, event->key(), event->raisedText(), event->variables(), sourceFile ? sourceFile : "", line);
}

qis::String knownTestNames() {
    qis::String names;
    for (Test* test : catalogue().tests) names += (names.isEmpty() ? "" : ", ") + test->name();
    return names;
}

struct CheckedRun {
    Test* test = nullptr;
    std::vector<std::pair<Parameter*, Value>> values;
};

CheckedRun checkRequest(const RunRequest& request) {
    CheckedRun run;
    run.test = DiagModule::findTest(request.test);
    if (!run.test) throw UsageError("unknown test \"" + request.test + "\" (tests: " + knownTestNames() + ")");
    const qis::String why = run.test->whyNotOffered(request.device);
    if (!why.isEmpty())
        throw UsageError("test " + run.test->name() + " is not offered for device \"" + request.device.name() + "\": " + why);

    std::set<Parameter*> given;
    for (const auto& [name, text] : request.parameters) {
        Parameter* parameter = DiagModule::findParameter(name);
        if (!parameter) throw UsageError("unknown parameter \"" + name + "\"");
        if (!run.test->carries(parameter) && !parameter->isModuleWide())
            throw UsageError("parameter \"" + name + "\" does not belong to test " + run.test->name());
        if (!given.insert(parameter).second) throw UsageError("parameter \"" + name + "\" is given twice");
        qis::String why;
        if (text.isEmpty() && parameter->dataType() != DataType::STRING())
            throw UsageError("parameter \"" + name + "\": empty value, expected a " + parameter->dataType().name());
        const auto value = Value::parse(parameter->dataType(), text, &why);
        if (!value)
            throw UsageError("parameter \"" + name + "\": \"" + text + "\" is not a valid " +
                             parameter->dataType().name() + ": " + why);
        run.values.emplace_back(parameter, *value);
    }
    for (Parameter* parameter : run.test->parameters())
        if (!given.count(parameter))
            throw UsageError("test " + run.test->name() + " needs parameter \"" + parameter->name() + "\" (" +
                             parameter->dataType().name() + "): give --param " + parameter->name() + "=VALUE");
    for (const auto& answer : request.answers)
        if (!answers::isValid(answer))
            throw UsageError("answer \"" + answer + "\": expected " + answers::kValidAnswers);
    return run;
}

// Runs the entry on a thread of its own and hands back what it returned or threw.
TestResult runEntry(Test& test, const DiagDevice& device, std::exception_ptr& failure) {
    TestResult result = TestResult::INTERNALERROR();
    std::thread worker([&] {
        try {
            result = test.entry()(device);
        } catch (...) {
            failure = std::current_exception();
        }
    });
    worker.join();
    return result;
}

} // namespace

Test* DiagModule::createTest(const MirtString& name, const DeviceCapability& capabilities, TestEntry entry) {
    auto& c = catalogue();
    c.ownedTests.push_back(std::make_unique<Test>(name, capabilities, entry));
    c.tests.push_back(c.ownedTests.back().get());
    return c.tests.back();
}

Parameter* DiagModule::createParameter(const MirtString& name, DataType type, const MirtString& defaultValue,
                                       bool moduleWide, bool listed) {
    auto& c = catalogue();
    c.ownedParameters.push_back(std::make_unique<Parameter>(name, type, defaultValue, moduleWide, listed));
    c.parameters.push_back(c.ownedParameters.back().get());
    return c.parameters.back();
}

Event* DiagModule::createEvent(const MirtString& key) {
    auto& c = catalogue();
    c.ownedEvents.push_back(std::make_unique<Event>(key));
    c.events.push_back(c.ownedEvents.back().get());
    return c.events.back();
}

LocalizedString* DiagModule::createLocalizedString(const MirtString& key) {
    auto& c = catalogue();
    c.ownedStrings.push_back(std::make_unique<LocalizedString>(key));
    c.strings.push_back(c.ownedStrings.back().get());
    return c.strings.back();
}

const std::vector<Test*>& DiagModule::tests() { return catalogue().tests; }
const std::vector<Parameter*>& DiagModule::parameters() { return catalogue().parameters; }
const std::vector<Event*>& DiagModule::events() { return catalogue().events; }
const std::vector<LocalizedString*>& DiagModule::localizedStrings() { return catalogue().strings; }

Test* DiagModule::findTest(const qis::String& name) {
    for (Test* test : catalogue().tests)
        if (test->name() == name) return test;
    return nullptr;
}

Parameter* DiagModule::findParameter(const qis::String& name) {
    for (Parameter* parameter : catalogue().parameters)
        if (parameter->name() == name) return parameter;
    return nullptr;
}

void DiagModule::setVersion(int major, int minor, const MirtString& build) { catalogue().version = {major, minor, build}; }
ModuleVersion DiagModule::version() { return catalogue().version; }

TestResult DiagModule::run(const RunRequest& request, Reporter& out, LineSource* input) {
    const CheckedRun checked = checkRequest(request);
    for (Parameter* parameter : catalogue().parameters) parameter->setRunValue(std::nullopt);
    for (const auto& [parameter, value] : checked.values) parameter->setRunValue(value);

    {
        std::lock_guard lock(g_run.mutex);
        g_run.reporter = &out;
        g_run.answers.assign(request.answers.begin(), request.answers.end());
        g_run.input = input;
        g_run.nextPromptId = 1;
    }
    const int sink = qis::LogFactory::addSink([&out](const qis::LogRecord& record) { out.log(record); });
    g_stopRequested = false;

    out.started(checked.test->name(), request.device);
    std::exception_ptr failure;
    TestResult result = runEntry(*checked.test, request.device, failure);

    qis::LogFactory::removeSink(sink);
    {
        std::lock_guard lock(g_run.mutex);
        g_run.reporter = nullptr;
        g_run.input = nullptr;
        g_run.answers.clear();
    }
    if (failure) {
        try {
            std::rethrow_exception(failure);
        } catch (const qis::Exception& e) {
            out.finished(TestResult::EXITEDABNORMALLY(), e.getMessage());
            throw;
        } catch (const std::exception& e) {
            result = TestResult::INTERNALERROR();
            out.finished(result, qis::String("unexpected exception: ") + e.what());
            return result;
        } catch (...) {
            result = TestResult::INTERNALERROR();
            out.finished(result, "unexpected exception");
            return result;
        }
    }
    out.finished(result, qis::String());
    return result;
}

void DiagModule::percentDone(int percent) { reporter().percent(percent, false); }
void DiagModule::resetPercentDone() { reporter().percent(0, true); }

void DiagModule::progress(LocalizedString* text) {
    if (text) reporter().progress(text->key(), text->localizedString(), text->variables());
}

bool DiagModule::checkForStop() { return g_stopRequested.load(); }
void DiagModule::requestStop() { g_stopRequested = true; }

void DiagModule::warning(Event* event, const char* sourceFile, int line) { raise(Severity::Warning, event, sourceFile, line); }
void DiagModule::error(Event* event, const char* sourceFile, int line) { raise(Severity::Error, event, sourceFile, line); }

int DiagModule::createMessageBox(int type, const MirtString& text, const MirtString& title, int option,
                                 int lookAndFeel, const DiagDevice* /*device*/, MessageBox::Callback callback,
                                 void* callbackData, unsigned long timeoutMs, unsigned long pollIntervalMs,
                                 bool timeoutEnabled) {
    Prompt prompt;
    std::optional<qis::String> preAnswer;
    LineSource* input = nullptr;
    {
        std::lock_guard lock(g_run.mutex);
        prompt.id = g_run.nextPromptId++;
        if (!g_run.answers.empty()) {
            preAnswer = g_run.answers.front();
            g_run.answers.pop_front();
        }
        input = g_run.input;
    }
    prompt.kind = "messageBox";
    prompt.type = type;
    prompt.title = title;
    prompt.text = text;
    prompt.timeoutMs = timeoutEnabled ? timeoutMs : 0;
    prompt.option = option;
    prompt.lookAndFeel = lookAndFeel;

    promptOpened(prompt);
    answers::Wait wait{prompt, input, callback, callbackData, pollIntervalMs, [] { return checkForStop(); }};
    const PromptAnswer answer = preAnswer ? answers::fromText(*preAnswer, "answer") : answers::await(wait);
    promptAnswered(prompt, answer);
    return answer.code;
}

DiagModule::PromptWatcher DiagModule::setPromptWatcher(PromptWatcher watcher) {
    std::swap(g_promptWatcher, watcher);
    return watcher;
}

int DiagModule::showOwnPrompt(Prompt prompt, const std::function<int()>& show) {
    {
        std::lock_guard lock(g_run.mutex);
        prompt.id = g_run.nextPromptId++;
    }
    promptOpened(prompt);
    const int code = show();
    promptAnswered(prompt, PromptAnswer{code, "dialog"});
    return code;
}

std::optional<int> DiagModule::takeAnswer(Prompt prompt, int okCode, int cancelCode) {
    qis::String text;
    {
        std::lock_guard lock(g_run.mutex);
        if (!g_run.reporter || g_run.answers.empty()) return std::nullopt;
        text = g_run.answers.front();
        g_run.answers.pop_front();
        prompt.id = g_run.nextPromptId++;
    }
    // A number is the module's own code; the words are message-box answers and mean nothing here
    // but confirming or giving up.
    std::int32_t number = 0;
    int code = cancelCode;
    if (text.trimmed().toInt32(number))
        code = number;
    else if (answers::codeOf(text) == MessageBox::AnswerOk)
        code = okCode;
    promptOpened(prompt);
    promptAnswered(prompt, PromptAnswer{code, "answer"});
    return code;
}

} // namespace mirt5
