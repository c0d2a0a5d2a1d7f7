#include "mirt5/Localization.h"

#include <fstream>
#include <mutex>

#include <nlohmann/json.hpp>

#include "qis/FileSystem.h"
#include "qis/Locale.h"

namespace mirt5 {
namespace {

struct Texts {
    std::mutex mutex;
    std::map<qis::String, qis::String> events;
    std::map<qis::String, qis::String> strings;
    std::map<qis::String, qis::String> tests;
};

Texts& texts() {
    static Texts instance;
    return instance;
}

bool readFile(const std::filesystem::path& path, Texts& into, qis::String* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error) *error = "cannot open " + qis::FileSystem::toText(path);
        return false;
    }
    const auto json = nlohmann::json::parse(in, nullptr, false);
    if (json.is_discarded() || !json.is_object()) {
        if (error) *error = qis::FileSystem::toText(path) + " is not a JSON object";
        return false;
    }
    const auto copy = [](const nlohmann::json& section, std::map<qis::String, qis::String>& target) {
        if (!section.is_object()) return;
        for (const auto& [key, value] : section.items())
            if (value.is_string()) target[qis::String(key)] = qis::String(value.get<std::string>());
    };
    if (json.contains("events")) copy(json["events"], into.events);
    if (json.contains("strings")) copy(json["strings"], into.strings);
    if (json.contains("tests")) copy(json["tests"], into.tests);
    return true;
}

qis::String lookup(const std::map<qis::String, qis::String>& table, const qis::String& key) {
    const auto it = table.find(key);
    return it == table.end() ? "[" + key + "]" : it->second;
}

} // namespace

bool Localization::load(const std::filesystem::path& directory, const qis::String& tag, qis::String* error) {
    Texts loaded;
    const bool english = readFile(directory / "en.json", loaded, error);
    const qis::String primary = qis::QISLocale(tag).getLanguage().toString();
    for (const qis::String& name : {tag, tag.substring(0, tag.find("-")), primary}) {
        if (name.isEmpty() || name == "en") continue;
        const auto path = directory / qis::FileSystem::toPath(name + ".json");
        if (std::filesystem::exists(path) && readFile(path, loaded, nullptr)) break;
    }
    set(loaded.events, loaded.strings);
    std::lock_guard lock(texts().mutex);
    texts().tests = loaded.tests;
    return english;
}

void Localization::set(const std::map<qis::String, qis::String>& events, const std::map<qis::String, qis::String>& strings) {
    std::lock_guard lock(texts().mutex);
    texts().events = events;
    texts().strings = strings;
}

qis::String Localization::eventText(const qis::String& key) {
    std::lock_guard lock(texts().mutex);
    return lookup(texts().events, key);
}

qis::String Localization::stringText(const qis::String& key) {
    std::lock_guard lock(texts().mutex);
    return lookup(texts().strings, key);
}

qis::String Localization::testName(const qis::String& name) {
    std::lock_guard lock(texts().mutex);
    const auto it = texts().tests.find(name);
    return it == texts().tests.end() ? name : it->second;
}

qis::String Localization::fill(const qis::String& text, const std::map<qis::String, qis::String>& variables,
                               Unset unset) {
    const std::string& in = text.utf8();
    std::string out;
    std::size_t i = 0;
    while (i < in.size()) {
        const std::size_t open = in.find('{', i);
        if (open == std::string::npos) break;
        const std::size_t close = in.find('}', open + 1);
        if (close == std::string::npos) break;
        out.append(in, i, open - i);
        const auto it = variables.find(qis::String(in.substr(open + 1, close - open - 1)));
        if (it != variables.end()) out += it->second.utf8();
        else if (unset == Unset::Keep) out.append(in, open, close - open + 1);
        i = close + 1;
    }
    out.append(in, i, std::string::npos);
    return qis::String(out);
}

} // namespace mirt5
