#pragma once
// The bytes of one frame in the connected format. The picture is painted with tvsim's painter
// into a bitmap only when it changes (a channel with or without signal), and converted to YUY2
// once per change too, so a steady picture costs one copy per frame.

#include <windows.h>

#include <vector>

#include "tunekit/DirectShow.h"
#include "tvsim/Picture.h"

namespace qisvcard {

class FrameSource {
public:
    FrameSource(long width, long height, const GUID& subtype);
    ~FrameSource();
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    // The frame showing `picture`, in the connected format.
    const std::vector<BYTE>& frame(const tvsim::Picture& picture);

private:
    void paint(const tvsim::Picture& picture);
    void convertToYuy2();

    long width_;
    long height_;
    bool yuy2_;
    HDC dc_ = nullptr;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ previous_ = nullptr;
    BYTE* pixels_ = nullptr; // the bitmap's bottom-up BGR rows
    long stride_ = 0;
    std::vector<BYTE> frame_;
    bool painted_ = false;
    tvsim::Picture shown_;
};

} // namespace qisvcard
