#pragma once
// Identical cards share a friendly name. The framework's device list tells them apart as "N",
// "N 2", "N 3" in enumeration order; finding a card and deriving its device file number them alike.

#include "qis/HashTable.h"
#include "qis/String.h"

namespace qisrtvcard {

// `name` as the next card of that name is called, given the names already met.
inline qis::String numberedName(const qis::String& name, const qis::HashTable<bool>& seen) {
    if (!seen.containsKey(name)) return name;
    for (int number = 2;; ++number) {
        const qis::String candidate = name + " " + qis::String::number(number);
        if (!seen.containsKey(candidate)) return candidate;
    }
}

} // namespace qisrtvcard
