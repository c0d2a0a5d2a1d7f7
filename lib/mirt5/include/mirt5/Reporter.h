#pragma once
// What a host sees of a run. The command line writes it as text or JSON Lines; tests record it.

#include <chrono>
#include <map>
#include <optional>
#include <vector>

#include "mirt5/DiagDevice.h"
#include "mirt5/TestResult.h"
#include "qis/Log.h"

namespace mirt5 {

enum class Severity { Warning, Error };

// One entry of a prompt that offers a list (the country dialog): the code it answers and the name shown.
struct PromptChoice {
    int code = 0;
    qis::String name;
};

struct Prompt {
    int id = 0;
    qis::String kind;                 // "messageBox"; a module's own prompt has its own kind
    int type = 0;                     // MessageBox::Type*
    qis::String title;
    qis::String text;
    unsigned long timeoutMs = 0;      // 0: no time-out
    std::vector<PromptChoice> choices; // a list prompt's entries, in the order shown
    std::optional<int> preselected;    // the code selected when the prompt opens
    int option = 0;                    // a message box's option and look and feel, as the module gave them
    int lookAndFeel = 0;
};

struct PromptAnswer {
    int code = 0;                     // MessageBox::Answer*, or what a module's own prompt returns
    qis::String source;               // "answer", "host", "console", "timeout", "stop", "dialog"
};

using Variables = std::map<qis::String, qis::String>;

class Reporter {
public:
    virtual ~Reporter() = default;
    virtual void started(const qis::String& /*test*/, const DiagDevice& /*device*/) {}
    virtual void percent(int /*value*/, bool /*reset*/) {}
    virtual void progress(const qis::String& /*key*/, const qis::String& /*text*/, const Variables& /*variables*/) {}
    virtual void event(Severity /*severity*/, const qis::String& /*key*/, const qis::String& /*text*/,
                       const Variables& /*variables*/, const qis::String& /*file*/, int /*line*/) {}
    virtual void promptOpened(const Prompt& /*prompt*/) {}
    virtual void promptAnswered(const Prompt& /*prompt*/, const PromptAnswer& /*answer*/) {}
    virtual void log(const qis::LogRecord& /*record*/) {}
    virtual void finished(TestResult /*result*/, const qis::String& /*detail*/) {}
};

// Lines typed by the user or sent by the host while a test runs.
class LineSource {
public:
    virtual ~LineSource() = default;
    // The next line, or nothing when none arrived within `wait` of wall time.
    virtual std::optional<qis::String> nextLine(std::chrono::milliseconds wait) = 0;
    // Whether a person can answer (a console) rather than a program (JSON on stdin).
    virtual bool isConsole() const = 0;
};

} // namespace mirt5
