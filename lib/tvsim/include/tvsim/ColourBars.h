#pragma once
// The colour bars a virtual card's picture shows, shared by the painter of windows and frames
// and by the AVI writer.

namespace tvsim {

// The seven bars at 75 %, left to right, as red, green, blue.
struct BarColour {
    unsigned char r, g, b;
};
inline constexpr BarColour kColourBars[7] = {{191, 191, 191}, {191, 191, 0}, {0, 191, 191}, {0, 191, 0},
                                             {191, 0, 191},   {191, 0, 0},   {0, 0, 191}};

} // namespace tvsim
