#include "FrameSource.h"

#include <algorithm>
#include <cstring>

namespace qisvcard {
namespace {

BYTE clampByte(int value) { return static_cast<BYTE>(std::clamp(value, 0, 255)); }

// BT.601 studio range, the range YUY2 video carries.
void toYuv(const BYTE* bgr, int& y, int& u, int& v) {
    const int b = bgr[0], g = bgr[1], r = bgr[2];
    y = ((66 * r + 129 * g + 25 * b + 128) >> 8) + 16;
    u = ((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128;
    v = ((112 * r - 94 * g - 18 * b + 128) >> 8) + 128;
}

} // namespace

FrameSource::FrameSource(long width, long height, const GUID& subtype)
    : width_(width), height_(height), yuy2_(subtype == MEDIASUBTYPE_YUY2) {}

FrameSource::~FrameSource() {
    if (dc_) {
        SelectObject(dc_, previous_);
        DeleteDC(dc_);
    }
    if (bitmap_) DeleteObject(bitmap_);
}

const std::vector<BYTE>& FrameSource::frame(const tvsim::Picture& picture) {
    if (!painted_ || !(picture == shown_)) {
        paint(picture);
        if (yuy2_) convertToYuy2();
        else frame_.assign(pixels_, pixels_ + stride_ * height_);
        shown_ = picture;
        painted_ = true;
    }
    return frame_;
}

void FrameSource::paint(const tvsim::Picture& picture) {
    if (!dc_) {
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
        info.bmiHeader.biWidth = width_;
        info.bmiHeader.biHeight = height_;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 24;
        info.bmiHeader.biCompression = BI_RGB;
        void* bits = nullptr;
        dc_ = CreateCompatibleDC(nullptr);
        bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        pixels_ = static_cast<BYTE*>(bits);
        previous_ = SelectObject(dc_, bitmap_);
        stride_ = (width_ * 3 + 3) & ~3L;
    }
    tvsim::paintPicture(dc_, RECT{0, 0, width_, height_}, picture);
    GdiFlush();
}

// YUY2 rows run top-down; the bitmap's run bottom-up.
void FrameSource::convertToYuy2() {
    const long rowBytes = width_ * 2;
    frame_.resize(static_cast<std::size_t>(rowBytes * height_));
    for (long row = 0; row < height_; ++row) {
        const BYTE* source = pixels_ + (height_ - 1 - row) * stride_;
        BYTE* target = frame_.data() + row * rowBytes;
        for (long x = 0; x + 1 < width_; x += 2) {
            int y0, u0, v0, y1, u1, v1;
            toYuv(source + x * 3, y0, u0, v0);
            toYuv(source + (x + 1) * 3, y1, u1, v1);
            target[x * 2] = clampByte(y0);
            target[x * 2 + 1] = clampByte((u0 + u1) / 2);
            target[x * 2 + 2] = clampByte(y1);
            target[x * 2 + 3] = clampByte((v0 + v1) / 2);
        }
    }
}

} // namespace qisvcard
