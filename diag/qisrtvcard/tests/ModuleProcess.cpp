#include "ModuleProcess.h"

#include <algorithm>
#include <thread>

namespace qisrtvcard::testing {

std::filesystem::path binDirectory() {
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    return std::filesystem::path(self).parent_path();
}

std::filesystem::path workDirectory() {
    const auto dir = std::filesystem::temp_directory_path() / L"qisrtvcard-host";
    std::filesystem::create_directories(dir);
    return dir;
}

namespace {

std::string drain(HANDLE pipe) {
    std::string text;
    char buffer[4096];
    DWORD read = 0;
    while (ReadFile(pipe, buffer, sizeof buffer, &read, nullptr) && read > 0) text.append(buffer, read);
    return text;
}

} // namespace

Outcome runModule(const std::string& arguments, const std::string& input) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE outRead, outWrite, errRead, errWrite, inRead, inWrite;
    CreatePipe(&outRead, &outWrite, &inherit, 0);
    CreatePipe(&errRead, &errWrite, &inherit, 0);
    CreatePipe(&inRead, &inWrite, &inherit, 0);
    for (HANDLE parentEnd : {outRead, errRead, inWrite}) SetHandleInformation(parentEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup{sizeof(startup)};
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = outWrite;
    startup.hStdError = errWrite;
    startup.hStdInput = inRead;
    const std::wstring program = (binDirectory() / L"qisrtvcard.exe").wstring();
    std::wstring commandLine = L"\"" + program + L"\" " + std::wstring(arguments.begin(), arguments.end());
    PROCESS_INFORMATION info{};
    const std::wstring cwd = workDirectory().wstring();
    const bool started = CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                        cwd.c_str(), &startup, &info) != FALSE;
    CloseHandle(outWrite);
    CloseHandle(errWrite);
    CloseHandle(inRead);
    Outcome outcome;
    if (!started) {
        outcome.code = 0xFFFFFFFF;
        return outcome;
    }
    DWORD written = 0;
    if (!input.empty()) WriteFile(inWrite, input.data(), static_cast<DWORD>(input.size()), &written, nullptr);
    CloseHandle(inWrite);
    std::thread errReader([&] { outcome.err = drain(errRead); });
    outcome.out = drain(outRead);
    errReader.join();
    WaitForSingleObject(info.hProcess, 60000);
    GetExitCodeProcess(info.hProcess, &outcome.code);
    for (HANDLE h : {info.hProcess, info.hThread, outRead, errRead}) CloseHandle(h);
    // Windows programs write CR LF; compare texts the way a host reads lines.
    for (std::string* text : {&outcome.out, &outcome.err}) std::erase(*text, '\r');
    return outcome;
}

std::vector<nlohmann::json> jsonLines(const std::string& text) {
    std::vector<nlohmann::json> lines;
    for (std::size_t start = 0, end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
        lines.push_back(nlohmann::json::parse(text.substr(start, end - start)));
    return lines;
}

} // namespace qisrtvcard::testing
