#!/usr/bin/env python3
"""Converts a bottom-up 24-bit BMP (as window_snapshot writes it) to PNG with the standard library."""
import struct
import sys
import zlib


def main(source: str, target: str) -> None:
    data = open(source, "rb").read()
    offset = struct.unpack_from("<I", data, 10)[0]
    width, height, _, bits = struct.unpack_from("<iiHH", data, 18)
    if bits != 24:
        sys.exit(f"{source}: expected a 24-bit BMP, found {bits} bits")
    stride = (width * 3 + 3) & ~3
    rows = []
    for y in range(abs(height)):
        row = data[offset + (abs(height) - 1 - y) * stride:][: width * 3] if height > 0 else data[offset + y * stride:][: width * 3]
        rgb = bytearray(row)
        rgb[0::3], rgb[2::3] = row[2::3], row[0::3]  # BGR to RGB
        rows.append(b"\0" + bytes(rgb))

    def chunk(kind: bytes, body: bytes) -> bytes:
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, abs(height), 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(b"".join(rows), 9)) + chunk(b"IEND", b"")
    open(target, "wb").write(png)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: bmp-to-png.py INPUT.bmp OUTPUT.png")
    main(sys.argv[1], sys.argv[2])
