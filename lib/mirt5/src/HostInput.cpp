#include "HostInput.h"

#include <condition_variable>
#include <deque>
#include <iostream>
#include <mutex>
#include <thread>

#include <nlohmann/json.hpp>

#include "mirt5/DiagModule.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <io.h>
#include <stdio.h>
#else
#include <unistd.h>
#endif

namespace mirt5 {
namespace {

struct Queue {
    std::mutex mutex;
    std::condition_variable ready;
    std::deque<qis::String> lines;
};

// JSON commands are acted on here, so a stop arrives even while no prompt is open.
void readLines(std::shared_ptr<Queue> queue, bool json) {
    std::string line;
    while (std::getline(std::cin, line)) {
        qis::String answer;
        if (json) {
            const auto message = nlohmann::json::parse(line, nullptr, false);
            if (message.is_discarded() || !message.is_object()) continue;
            if (message.value("command", std::string()) == "stop") {
                DiagModule::requestStop();
                continue;
            }
            if (!message.contains("answer")) continue;
            const auto& value = message["answer"];
            if (value.is_string()) answer = qis::String(value.get<std::string>());
            else if (value.is_number_integer()) answer = qis::String::number(value.get<long long>());
            else continue;
        } else {
            answer = qis::String(line).trimmed();
        }
        std::lock_guard lock(queue->mutex);
        queue->lines.push_back(answer);
        queue->ready.notify_one();
    }
}

class StandardInput final : public LineSource {
public:
    explicit StandardInput(bool json) : queue_(std::make_shared<Queue>()), console_(!json) {
        // A blocked read of stdin cannot be cancelled; the reader shares the queue and ends with the process.
        std::thread(readLines, queue_, json).detach();
    }
    std::optional<qis::String> nextLine(std::chrono::milliseconds wait) override {
        std::unique_lock lock(queue_->mutex);
        if (!queue_->ready.wait_for(lock, wait, [&] { return !queue_->lines.empty(); })) return std::nullopt;
        qis::String line = queue_->lines.front();
        queue_->lines.pop_front();
        return line;
    }
    bool isConsole() const override { return console_; }

private:
    std::shared_ptr<Queue> queue_;
    bool console_;
};

} // namespace

std::unique_ptr<LineSource> openStandardInput(bool json) { return std::make_unique<StandardInput>(json); }

bool standardInputIsConsole() {
#ifdef _WIN32
    return _isatty(_fileno(stdin)) != 0;
#else
    return isatty(0) != 0;
#endif
}

// Only a console can have its line redrawn; a pipe, a file or the NUL device cannot (NUL passes
// _isatty).
bool standardOutputIsConsole() {
#ifdef _WIN32
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_OUTPUT_HANDLE), &mode) != FALSE;
#else
    return isatty(1) != 0;
#endif
}

} // namespace mirt5
