#pragma once
// The modal country dialog (resource 129) and the set of country codes it may be limited to.

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace qisrtvcard {

// Country codes in the order they were added, with an index from code to position.
class CountryCodeSet {
public:
    // Adds a code not yet present; gives false for one already there.
    bool add(std::uint32_t code);
    bool contains(std::uint32_t code) const { return positions_.count(code) != 0; }
    std::size_t size() const { return codes_.size(); }
    bool isEmpty() const { return codes_.empty(); }
    const std::vector<std::uint32_t>& codes() const { return codes_; }
    void clear();

private:
    std::unordered_map<std::uint32_t, std::size_t> positions_;
    std::vector<std::uint32_t> codes_;
};

// The countries the tuner knows, filled by the DVB-T test from its frequency map. Empty: the
// dialog offers every country. Kept for the life of the process.
CountryCodeSet& supportedCountryCodes();

// Shows the dialog and returns the chosen Windows country/region code, 0 when it was cancelled or
// stopped, or DialogBoxParam's own failure (-1) as it stands. In a run with an --answer left, that
// answer is returned instead and nothing is shown.
std::int32_t askForCountry();

} // namespace qisrtvcard
