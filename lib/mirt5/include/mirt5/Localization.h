#pragma once
// Texts of events and localized strings, one JSON file per language:
//   { "events": { "Key": "text with {variable}" }, "strings": { "Key": "..." },
//     "tests": { "TestName": "name shown to people" } }
// A language file may hold only some keys; the rest come from English. A key missing from
// English too shows as "[Key]", so a gap is visible rather than blank.

#include <filesystem>
#include <map>

#include "qis/String.h"

namespace mirt5 {

class Localization {
public:
    // Loads "en.json" and, over it, the file of the tag ("de-AT.json", else "de.json").
    // Returns false, leaving keys to show as "[Key]", when English cannot be read.
    static bool load(const std::filesystem::path& directory, const qis::String& tag, qis::String* error = nullptr);
    static void set(const std::map<qis::String, qis::String>& events, const std::map<qis::String, qis::String>& strings);
    static qis::String eventText(const qis::String& key);
    static qis::String stringText(const qis::String& key);
    // The name of a test as people see it; the test's own name when the data has none.
    static qis::String testName(const qis::String& name);
    // What becomes of a "{name}" without a value: kept as written (a template, as the catalogue
    // lists it) or left out (a text shown to a person).
    enum class Unset { Keep, Empty };
    // Replaces each "{name}" with the variable's value.
    static qis::String fill(const qis::String& text, const std::map<qis::String, qis::String>& variables,
                            Unset unset = Unset::Keep);
};

} // namespace mirt5
