#include "mirt5/DeviceFile.h"

#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "mirt5/DiagModule.h"
#include "qis/FileSystem.h"

namespace mirt5 {
namespace {

using nlohmann::json;

[[noreturn]] void fail(const qis::String& origin, const qis::String& what) {
    throw UsageError("device file \"" + origin + "\": " + what);
}

// nlohmann prefixes its messages with "[json.exception.parse_error.101] "; the host needs only the rest.
qis::String withoutPrefix(const char* message) {
    std::string text = message;
    const auto close = text.find("] ");
    return qis::String(close == std::string::npos ? text : text.substr(close + 2));
}

qis::String requireString(const json& value, const qis::String& origin, const char* where) {
    if (!value.is_string()) fail(origin, qis::String(where) + ": expected a string");
    return qis::String(value.get<std::string>());
}

} // namespace

DiagDevice parseDevice(const std::string& jsonText, const qis::String& origin) {
    json root;
    try {
        root = json::parse(jsonText);
    } catch (const json::exception& e) { // a syntax error, or a number too large for a double
        fail(origin, withoutPrefix(e.what()));
    }
    if (!root.is_object()) fail(origin, "expected a JSON object with \"name\"");

    qis::String name, description;
    DeviceCapability capabilities;
    std::map<qis::String, qis::String> properties;
    bool named = false;
    for (const auto& [key, value] : root.items()) {
        if (key == "name") {
            name = requireString(value, origin, "/name");
            named = !name.trimmed().isEmpty();
        } else if (key == "description") {
            description = requireString(value, origin, "/description");
        } else if (key == "capabilities") {
            if (!value.is_array()) fail(origin, "/capabilities: expected an array of capability names");
            for (std::size_t i = 0; i < value.size(); ++i) {
                const qis::String where = "/capabilities/" + qis::String::number(static_cast<unsigned long long>(i));
                const qis::String capabilityName = requireString(value[i], origin, where.c_str());
                const auto capability = DeviceCapability::fromName(capabilityName);
                if (!capability) {
                    qis::String known;
                    for (const auto& n : DeviceCapability::allNames()) known += (known.isEmpty() ? "" : ", ") + n;
                    fail(origin, where + ": unknown capability \"" + capabilityName + "\" (known: " + known + ")");
                }
                capabilities |= *capability;
            }
        } else if (key == "properties") {
            if (!value.is_object()) fail(origin, "/properties: expected an object of property names to texts");
            for (const auto& [property, text] : value.items()) {
                const qis::String where = "/properties/" + qis::String(property);
                properties[qis::String(property)] = requireString(text, origin, where.c_str());
            }
        } else {
            fail(origin, "/" + qis::String(key) + ": unknown key (expected name, description, capabilities, properties)");
        }
    }
    if (!named) fail(origin, "/name: a non-empty device name is required");
    return DiagDevice(name, description, capabilities, properties);
}

DiagDevice loadDeviceFile(const qis::String& path) {
    std::ifstream in(qis::FileSystem::toPath(path), std::ios::binary);
    if (!in) fail(path, "cannot be read");
    std::ostringstream text;
    text << in.rdbuf();
    return parseDevice(text.str(), path);
}

} // namespace mirt5
