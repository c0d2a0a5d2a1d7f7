// One painter for the virtual card's picture (see tvsim/Picture.h).
#include "tvsim/Picture.h"

#include <cstdio>

namespace tvsim {
namespace {

constexpr wchar_t kNoSignal[] = L"No signal";
constexpr COLORREF kWhite = RGB(255, 255, 255);
constexpr COLORREF kBlack = RGB(0, 0, 0);
constexpr COLORREF kGrey = RGB(96, 96, 96);
constexpr long kLabelHeight = 24;

void drawCentred(HDC dc, RECT area, const std::wstring& text, COLORREF foreground, COLORREF background) {
    SetBkMode(dc, OPAQUE);
    SetBkColor(dc, background);
    SetTextColor(dc, foreground);
    HGDIOBJ previous = SelectObject(dc, GetStockObject(DEFAULT_GUI_FONT));
    DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &area, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    SelectObject(dc, previous);
}

// Seven bars at 75 % over a strip of their mirror, as a studio test signal looks.
void colourBars(HDC dc, const RECT& area) {
    static const COLORREF strip[] = {RGB(0, 0, 191), RGB(19, 19, 19),   RGB(191, 0, 191), RGB(19, 19, 19),
                                     RGB(0, 191, 191), RGB(19, 19, 19), RGB(191, 191, 191)};
    const long width = area.right - area.left;
    const long height = area.bottom - area.top;
    const long split = area.top + height * 3 / 4;
    for (long i = 0; i < 7; ++i) {
        const long left = area.left + width * i / 7;
        const long right = area.left + width * (i + 1) / 7;
        const BarColour& bar = kColourBars[i];
        fillArea(dc, RECT{left, area.top, right, split}, RGB(bar.r, bar.g, bar.b));
        fillArea(dc, RECT{left, split, right, area.bottom}, strip[i]);
    }
}

} // namespace

void fillArea(HDC dc, const RECT& area, COLORREF colour) {
    HBRUSH brush = CreateSolidBrush(colour);
    FillRect(dc, &area, brush);
    DeleteObject(brush);
}

void paintPicture(HDC dc, const RECT& area, const Picture& picture) {
    if (!picture.signal) {
        fillArea(dc, area, kGrey);
        drawCentred(dc, area, kNoSignal, kWhite, kGrey);
        return;
    }
    colourBars(dc, area);
    if (picture.label.empty()) return;
    const long height = area.bottom - area.top;
    const RECT band{area.left, area.top + height / 3, area.right, area.top + height / 3 + kLabelHeight};
    drawCentred(dc, band, picture.label, kWhite, kBlack);
}

qis::String channelLabel(long channel, bool cable) {
    return "Channel " + qis::String::number(channel) + (cable ? " (cable)" : " (antenna)");
}

qis::String radioLabel(long hertz) {
    char text[32];
    std::snprintf(text, sizeof text, "FM %.1f MHz", static_cast<double>(hertz) / 1000000.0);
    return text;
}

} // namespace tvsim
