#include "Listing.h"

#include <ostream>

#include <nlohmann/json.hpp>

#include "mirt5/DiagModule.h"

namespace mirt5 {
namespace {

using nlohmann::json;

std::vector<Test*> offeredTests(const std::optional<DiagDevice>& device) {
    std::vector<Test*> offered;
    for (Test* test : DiagModule::tests())
        if (!device || test->whyNotOffered(*device).isEmpty()) offered.push_back(test);
    return offered;
}

json rules(const std::vector<PropertyRule>& list) {
    json out = json::array();
    for (const auto& rule : list) out.push_back({{"property", rule.property.utf8()}, {"value", rule.value.utf8()}});
    return out;
}

json strings(const std::vector<qis::String>& list) {
    json out = json::array();
    for (const auto& s : list) out.push_back(s.utf8());
    return out;
}

json catalogueJson(const qis::String& moduleName, const std::optional<DiagDevice>& device) {
    const ModuleVersion version = DiagModule::version();
    json root = {{"module", moduleName.utf8()},
                 {"version", {{"major", version.major}, {"minor", version.minor}, {"build", version.build.utf8()}}}};
    if (device) root["device"] = device->name().utf8();
    json tests = json::array();
    for (Test* test : offeredTests(device)) {
        json parameters = json::array();
        for (Parameter* p : test->parameters()) parameters.push_back(p->name().utf8());
        tests.push_back({{"name", test->name().utf8()},
                         {"capabilities", strings(test->capabilities().names())},
                         {"interactive", test->isInteractive()},
                         {"requirements", rules(test->requirements())},
                         {"exclusions", rules(test->exclusions())},
                         {"parameters", parameters}});
    }
    root["tests"] = tests;
    json parameters = json::array();
    for (Parameter* p : DiagModule::parameters())
        parameters.push_back({{"name", p->name().utf8()},
                              {"type", p->dataType().name()},
                              {"default", p->defaultValue().utf8()},
                              {"moduleWide", p->isModuleWide()},
                              {"listed", p->isListed()}});
    root["parameters"] = parameters;
    json events = json::array();
    for (Event* e : DiagModule::events()) events.push_back({{"key", e->key().utf8()}, {"text", e->text().utf8()}});
    root["events"] = events;
    json texts = json::array();
    for (LocalizedString* s : DiagModule::localizedStrings())
        texts.push_back({{"key", s->key().utf8()}, {"text", s->localizedString().utf8()}});
    root["localizedStrings"] = texts;
    return root;
}

qis::String joined(const std::vector<qis::String>& list, const char* separator) {
    qis::String text;
    for (const auto& s : list) text += (text.isEmpty() ? "" : separator) + s;
    return text;
}

qis::String ruleText(const std::vector<PropertyRule>& list, const char* separator) {
    std::vector<qis::String> parts;
    for (const auto& rule : list) parts.push_back(rule.value.isEmpty() ? rule.property : rule.property + "=" + rule.value);
    return parts.empty() ? qis::String("-") : joined(parts, separator);
}

void listHuman(std::ostream& out, const qis::String& moduleName, const std::optional<DiagDevice>& device) {
    const ModuleVersion version = DiagModule::version();
    out << moduleName << ' ' << version.major << '.' << version.minor << " build " << version.build << '\n';
    out << (device ? "Tests offered for \"" + device->name() + "\":" : qis::String("Tests:")) << '\n';
    const auto tests = offeredTests(device);
    if (tests.empty()) out << "  (none)\n";
    for (Test* test : tests) {
        std::vector<qis::String> parameters;
        for (Parameter* p : test->parameters()) parameters.push_back(p->name());
        out << "  " << test->name() << (test->isInteractive() ? "  (interactive)" : "") << '\n'
            << "    capabilities: " << joined(test->capabilities().names(), ", ") << '\n'
            << "    requires:     " << ruleText(test->requirements(), ", ") << '\n'
            << "    excluded for: " << ruleText(test->exclusions(), " and ") << '\n'
            << "    parameters:   " << (parameters.empty() ? qis::String("-") : joined(parameters, ", ")) << '\n';
    }
    out << "Parameters:\n";
    for (Parameter* p : DiagModule::parameters())
        out << "  " << p->name() << "  " << p->dataType().name() << "  default \"" << p->defaultValue() << "\""
            << (p->isModuleWide() ? "  module-wide" : "") << (p->isListed() ? "" : "  unlisted") << '\n';
    out << "Events:\n";
    for (Event* e : DiagModule::events()) out << "  " << e->key() << ": " << e->text() << '\n';
    out << "Localized strings:\n";
    for (LocalizedString* s : DiagModule::localizedStrings()) out << "  " << s->key() << ": " << s->localizedString() << '\n';
}

} // namespace

void listCatalogue(std::ostream& out, const qis::String& moduleName, const std::optional<DiagDevice>& device, bool json) {
    if (json) out << catalogueJson(moduleName, device).dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
    else listHuman(out, moduleName, device);
}

} // namespace mirt5
