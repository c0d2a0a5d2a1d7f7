#pragma once
// What the simulated objects were asked to do, in order, for tests to read and for a run to
// write out (--journal).

#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "qis/String.h"

namespace tvsim {

// One argument of a call, by name; numbers are written as numbers.
struct Argument {
    std::string name;
    qis::String value;
    bool isNumber = false;
};

// The arguments that matter of one call. Calls with nothing worth naming give free text; the
// others name each value, and their text is the values joined by ", ".
class Arguments {
public:
    Arguments() = default;
    Arguments(qis::String text) : text_(std::move(text)) {}
    Arguments(const char* text) : text_(text) {}

    Arguments& with(const char* name, long long number);
    Arguments& with(const char* name, qis::String value);

    qis::String text() const;
    const std::vector<Argument>& named() const { return named_; }

private:
    qis::String text_;
    std::vector<Argument> named_;
};

struct Call {
    qis::String object;    // the simulated object's name, e.g. "FilterGraph"
    qis::String method;    // e.g. "AddFilter"
    qis::String arguments; // the arguments that matter, as text
    std::int32_t result;   // the HRESULT returned
    bool injected;         // the result came from a fault rule
    std::vector<Argument> named = {};
    std::int64_t timeMs = 0; // virtual milliseconds since the simulation started
};

inline Call makeCall(qis::String object, qis::String method, const Arguments& arguments, std::int32_t result,
                     bool injected) {
    return Call{std::move(object), std::move(method), arguments.text(), result, injected, arguments.named()};
}

class Journal {
public:
    using Clock = std::function<std::int64_t()>;
    using Sink = std::function<void(const Call&)>;

    void record(Call call);
    std::vector<Call> calls() const;
    std::size_t count(const qis::String& object, const qis::String& method) const;
    void clear();

    // Where `time` comes from; without one every call is at 0.
    void setClock(Clock clock);
    // Also hands every call, as it is recorded and in order, to `observer`.
    void addObserver(Sink observer);
    void clearObservers();

private:
    mutable std::mutex mutex_;
    std::vector<Call> calls_;
    Clock clock_;
    std::vector<Sink> observers_;
};

// One call as a JSON object on one line, without the line end.
std::string journalLine(const Call& call);

// The name of an HRESULT the simulation knows ("E_FAIL"), else "0x8004xxxx".
std::string resultName(std::int32_t result);
// The HRESULT of a name resultName gives.
std::optional<std::int32_t> resultFromName(const std::string& name);

// Writes the journal as JSON Lines to a file, or to standard error for "-", as calls happen.
class JournalFile {
public:
    // Throws std::runtime_error naming the file when it cannot be created.
    explicit JournalFile(const qis::String& path);
    ~JournalFile();
    JournalFile(const JournalFile&) = delete;
    JournalFile& operator=(const JournalFile&) = delete;

    void write(const Call& call);

private:
    std::FILE* file_ = nullptr;
    bool owned_ = false;
};

} // namespace tvsim
