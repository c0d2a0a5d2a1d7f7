#pragma once
// The picture a virtual card's video carries, painted with GDI: colour bars with a label naming
// what is tuned while there is a signal, a grey "No signal" screen otherwise. tvsim's renderer
// paints it into its window and the card driver into the frames it delivers, so both show the
// same thing.

#include <windows.h>

#include <string>

#include "qis/String.h"
#include "tvsim/ColourBars.h"

namespace tvsim {

struct Picture {
    bool signal = false;
    std::wstring label; // shown over the bars; empty for none

    bool operator==(const Picture&) const = default;
};

void paintPicture(HDC dc, const RECT& area, const Picture& picture);
void fillArea(HDC dc, const RECT& area, COLORREF colour);

// Labels for what a tuner is set to: "Channel 5 (cable)", "FM 95.5 MHz".
qis::String channelLabel(long channel, bool cable);
qis::String radioLabel(long hertz);

} // namespace tvsim
