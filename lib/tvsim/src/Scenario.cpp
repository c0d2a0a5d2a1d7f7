#include "tvsim/Scenario.h"

#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "qis/FileSystem.h"

namespace tvsim {
namespace {

using nlohmann::json;

// A place in the document: every complaint names its JSON path.
class Node {
public:
    Node(const json& value, std::string path, const qis::String& origin) : value_(value), path_(std::move(path)), origin_(origin) {}

    [[noreturn]] void fail(const std::string& what) const {
        throw ScenarioError("scenario \"" + origin_ + "\": " + (path_.empty() ? std::string("/") : path_) + ": " + what);
    }

    void allowOnly(std::initializer_list<const char*> keys) const {
        requireObject();
        for (const auto& [key, ignored] : value_.items()) {
            bool known = false;
            for (const char* k : keys) known = known || key == k;
            if (!known) Node(value_[key], path_ + "/" + key, origin_).fail("unknown key");
        }
    }

    std::optional<Node> field(const char* key) const {
        requireObject();
        if (!value_.contains(key)) return std::nullopt;
        return Node(value_[key], path_ + "/" + key, origin_);
    }

    Node required(const char* key) const {
        auto node = field(key);
        if (!node) fail(std::string("\"") + key + "\" is required");
        return *node;
    }

    qis::String text() const {
        if (!value_.is_string()) fail("expected a string");
        return qis::String(value_.get<std::string>());
    }

    long integer() const {
        if (!value_.is_number_integer()) fail("expected a whole number");
        return value_.get<long>();
    }

    double number() const {
        if (!value_.is_number()) fail("expected a number");
        return value_.get<double>();
    }

    bool boolean() const {
        if (!value_.is_boolean()) fail("expected true or false");
        return value_.get<bool>();
    }

    std::vector<Node> items() const {
        if (!value_.is_array()) fail("expected an array");
        std::vector<Node> nodes;
        for (std::size_t i = 0; i < value_.size(); ++i) nodes.emplace_back(value_[i], path_ + "/" + std::to_string(i), origin_);
        return nodes;
    }

    std::vector<std::pair<std::string, Node>> members() const {
        requireObject();
        std::vector<std::pair<std::string, Node>> out;
        for (const auto& [key, value] : value_.items()) out.emplace_back(key, Node(value, path_ + "/" + key, origin_));
        return out;
    }

private:
    void requireObject() const {
        if (!value_.is_object()) fail("expected an object");
    }
    const json& value_;
    std::string path_;
    const qis::String& origin_;
};

template <class T, class Read>
void readIf(const Node& parent, const char* key, T& target, Read read) {
    if (auto node = parent.field(key)) target = read(*node);
}

std::set<long> integerSet(const Node& node) {
    std::set<long> values;
    for (const auto& item : node.items()) values.insert(item.integer());
    return values;
}

DeviceUnderTest readDevice(const Node& node) {
    node.allowOnly({"name", "description", "capabilities", "properties"});
    DeviceUnderTest device;
    device.name = node.required("name").text();
    readIf(node, "description", device.description, [](const Node& n) { return n.text(); });
    if (auto caps = node.field("capabilities"))
        for (const auto& c : caps->items()) device.capabilities.push_back(c.text());
    if (auto props = node.field("properties"))
        for (const auto& [key, value] : props->members()) device.properties[qis::String(key)] = value.text();
    return device;
}

MonikerSpec readMoniker(const Node& node) {
    node.allowOnly({"friendlyName", "description", "devicePath", "filter"});
    MonikerSpec moniker;
    readIf(node, "friendlyName", moniker.friendlyName, [](const Node& n) { return std::optional(n.text()); });
    readIf(node, "description", moniker.description, [](const Node& n) { return std::optional(n.text()); });
    readIf(node, "devicePath", moniker.devicePath, [](const Node& n) { return std::optional(n.text()); });
    readIf(node, "filter", moniker.filter, [](const Node& n) { return n.text(); });
    return moniker;
}

TvTunerSpec readTuner(const Node& node) {
    node.allowOnly({"tvMode", "fmMode", "minChannel", "maxChannel", "antennaSignal", "cableSignal", "minFrequency",
                    "maxFrequency", "fmSignal"});
    TvTunerSpec tuner;
    readIf(node, "tvMode", tuner.tvMode, [](const Node& n) { return n.boolean(); });
    readIf(node, "fmMode", tuner.fmMode, [](const Node& n) { return n.boolean(); });
    readIf(node, "minChannel", tuner.minChannel, [](const Node& n) { return n.integer(); });
    readIf(node, "maxChannel", tuner.maxChannel, [](const Node& n) { return n.integer(); });
    readIf(node, "antennaSignal", tuner.antennaSignal, integerSet);
    readIf(node, "cableSignal", tuner.cableSignal, integerSet);
    readIf(node, "minFrequency", tuner.minFrequency, [](const Node& n) { return n.integer(); });
    readIf(node, "maxFrequency", tuner.maxFrequency, [](const Node& n) { return n.integer(); });
    readIf(node, "fmSignal", tuner.fmSignal, integerSet);
    if (tuner.minChannel > tuner.maxChannel) node.fail("minChannel is above maxChannel");
    return tuner;
}

CrossbarSpec readCrossbar(const Node& node) {
    node.allowOnly({"inputs", "outputs"});
    CrossbarSpec crossbar;
    for (const auto& output : node.required("outputs").items()) crossbar.outputs.push_back(output.integer());
    for (const auto& in : node.required("inputs").items()) {
        in.allowOnly({"physicalType", "routesTo"});
        CrossbarSpec::Input input;
        input.physicalType = in.required("physicalType").integer();
        if (auto routes = in.field("routesTo")) {
            for (const auto& r : routes->items()) {
                const long output = r.integer();
                if (output < 0 || output >= static_cast<long>(crossbar.outputs.size())) r.fail("no such output");
                input.routesTo.push_back(output);
            }
        }
        crossbar.inputs.push_back(input);
    }
    return crossbar;
}

FilterSpec readFilter(const Node& node) {
    node.allowOnly({"kind", "captureTypes", "previewPin", "format", "tuner", "crossbar"});
    FilterSpec filter;
    readIf(node, "kind", filter.kind, [](const Node& n) { return n.text(); });
    if (filter.kind != "analogCapture") node.required("kind").fail("unknown filter kind (known: analogCapture)");
    if (auto types = node.field("captureTypes")) {
        filter.captureTypes.clear();
        for (const auto& t : types->items()) {
            const qis::String type = t.text();
            if (type != "Video" && type != "Interleaved" && type != "Stream") t.fail("expected Video, Interleaved or Stream");
            filter.captureTypes.push_back(type);
        }
    }
    readIf(node, "previewPin", filter.previewPin, [](const Node& n) { return n.boolean(); });
    if (auto format = node.field("format")) {
        format->allowOnly({"width", "height", "framesPerSecond"});
        readIf(*format, "width", filter.format.width, [](const Node& n) { return n.integer(); });
        readIf(*format, "height", filter.format.height, [](const Node& n) { return n.integer(); });
        readIf(*format, "framesPerSecond", filter.format.framesPerSecond, [](const Node& n) { return n.number(); });
        if (filter.format.width <= 0 || filter.format.height == 0 || filter.format.framesPerSecond <= 0)
            format->fail("width, height and framesPerSecond must be positive");
    }
    readIf(node, "tuner", filter.tuner, [](const Node& n) { return std::optional(readTuner(n)); });
    readIf(node, "crossbar", filter.crossbar, [](const Node& n) { return std::optional(readCrossbar(n)); });
    return filter;
}

FaultRule readFault(const Node& node) {
    node.allowOnly({"object", "method", "result", "call", "kind"});
    FaultRule rule;
    rule.object = node.required("object").text();
    rule.method = node.required("method").text();
    if (auto result = node.field("result")) {
        static const std::map<std::string, std::uint32_t> names = {
            {"E_FAIL", 0x80004005u},        {"E_OUTOFMEMORY", 0x8007000Eu},        {"E_NOINTERFACE", 0x80004002u},
            {"E_POINTER", 0x80004003u},     {"E_INVALIDARG", 0x80070057u},         {"E_NOTIMPL", 0x80004001u},
            {"REGDB_E_CLASSNOTREG", 0x80040154u}, {"VFW_E_NOT_CONNECTED", 0x80040209u}, {"S_FALSE", 1u}};
        const qis::String text = result->text();
        const auto named = names.find(text.utf8());
        if (named != names.end()) {
            rule.result = static_cast<std::int32_t>(named->second);
        } else {
            try {
                std::size_t used = 0;
                const unsigned long value = std::stoul(text.utf8(), &used, 0);
                if (used != text.length() || value > 0xFFFFFFFFul) throw std::invalid_argument("range");
                rule.result = static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
            } catch (const std::exception&) {
                result->fail("expected an HRESULT name such as E_FAIL or a number such as 0x80004005");
            }
        }
    }
    if (auto call = node.field("call")) {
        const long n = call->integer();
        if (n < 0) call->fail("expected 0 (every call) or a call number");
        rule.call = static_cast<unsigned>(n);
    }
    if (auto kind = node.field("kind")) {
        const qis::String k = kind->text();
        if (k == "fail") rule.kind = FaultKind::Fail;
        else if (k == "nullResult") rule.kind = FaultKind::NullResult;
        else kind->fail("expected fail or nullResult");
    }
    return rule;
}

} // namespace

Scenario parseScenario(const std::string& text, const qis::String& origin) {
    json document;
    try {
        document = json::parse(text);
    } catch (const json::parse_error& e) {
        std::string message = e.what();
        const auto close = message.find("] ");
        throw ScenarioError("scenario \"" + origin + "\": " + (close == std::string::npos ? message : message.substr(close + 2)));
    }
    const Node root(document, "", origin);
    root.allowOnly({"name", "device", "processes", "categories", "filters", "faults", "description"});
    Scenario scenario;
    readIf(root, "name", scenario.name, [](const Node& n) { return n.text(); });
    scenario.device = readDevice(root.required("device"));
    if (auto processes = root.field("processes"))
        for (const auto& p : processes->items()) scenario.processes.push_back(p.text());
    if (auto filters = root.field("filters"))
        for (const auto& [key, node] : filters->members()) scenario.filters[qis::String(key)] = readFilter(node);
    if (auto categories = root.field("categories")) {
        for (const auto& [key, node] : categories->members()) {
            auto& list = scenario.categories[qis::String(key)];
            for (const auto& item : node.items()) {
                list.push_back(readMoniker(item));
                if (!list.back().filter.isEmpty() && !scenario.filters.count(list.back().filter))
                    item.required("filter").fail("no filter of that name under /filters");
            }
        }
    }
    if (auto faults = root.field("faults"))
        for (const auto& f : faults->items()) scenario.faults.push_back(readFault(f));
    return scenario;
}

Scenario loadScenarioFile(const qis::String& path) {
    std::ifstream in(qis::FileSystem::toPath(path), std::ios::binary);
    if (!in) throw ScenarioError("scenario \"" + path + "\": cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    return parseScenario(text.str(), path);
}

Scenario loadScenario(const qis::String& nameOrPath) {
    const qis::String name = nameOrPath.isEmpty() ? qis::String(kDefaultScenario) : nameOrPath;
    if (const auto text = builtInScenarioText(name)) return parseScenario(*text, name);
    return loadScenarioFile(name);
}

} // namespace tvsim
