#pragma once
// The countries the country dialog offers: display name, short key and the Windows
// country/region code a tuner takes.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "qis/Array.h"
#include "qis/HashTable.h"
#include "qis/String.h"

namespace qisrtvcard {

struct CountryRecord {
    qis::String name;                               // display name, the table's key
    qis::String key;                                // two lower-case letters, mostly ISO 3166
    std::uint32_t code = 0;                         // Windows country/region code
    std::pair<qis::String, qis::String> language;   // tag and name; unused by the dialog
    std::uint32_t lcid = 0;                         // Windows locale id, 0 where none is known
};

// Rows in insertion order with an index by display name. Names are unique; keys and codes are not.
class CountryTable {
public:
    // Appends the row; a name already present leaves the table unchanged and gives false.
    bool add(CountryRecord record);

    std::size_t size() const { return records_.size(); }
    bool isEmpty() const { return records_.empty(); }
    const CountryRecord& at(std::size_t index) const;
    // The row of a display name, or null.
    const CountryRecord* find(const qis::String& name) const;
    // Display names in insertion order.
    const qis::Array<qis::String>& names() const { return names_; }

private:
    qis::HashTable<std::size_t> index_;
    qis::Array<qis::String> names_;
    std::vector<std::unique_ptr<CountryRecord>> records_;
};

// Fills an empty table with the built-in countries, USA first.
void buildCountryTable(CountryTable& table);

// The telephone country code of the user-interface language, for the analog tuner.
long languageCountryCode();

} // namespace qisrtvcard
