#!/usr/bin/env python3
"""Writes the small bitmaps the window-layer tests and the demo use into
resources/bitmaps (numbers 9000 and up, clear of the panel's 5000 range).
Run again only to change them; the PNG files are committed."""
import math, os, struct, zlib

OUT = os.path.join(os.path.dirname(__file__), "..", "..", "resources", "bitmaps")

def png(path, w, h, pixel):
    rows = b"".join(b"\0" + b"".join(bytes(pixel(x, y)) for x in range(w)) for y in range(h))
    def chunk(t, d):
        return struct.pack(">I", len(d)) + t + d + struct.pack(">I", zlib.crc32(t + d) & 0xFFFFFFFF)
    data = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 6, 0, 0, 0))
    data += chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b"")
    with open(os.path.join(OUT, path), "wb") as f:
        f.write(data)

# 9000: 20 x 10, opaque; red encodes the column, green the row.
png("9000.png", 20, 10, lambda x, y: (x * 10, y * 20, 200, 255))
# 9001: 10 x 10 red at half opacity, for source-over checks.
png("9001.png", 10, 10, lambda x, y: (255, 0, 0, 128))
# 9002: 48 x 48 ball with a soft edge, for the demo.
def ball(x, y):
    d = math.hypot(x - 23.5, y - 23.5)
    a = max(0.0, min(1.0, 22.0 - d))
    shade = max(0.0, 1.0 - math.hypot(x - 16, y - 16) / 40.0)
    return (int(40 + 200 * shade), int(90 + 150 * shade), 230, int(255 * a))
png("9002.png", 48, 48, ball)
# 9003: not a PNG at all, so the loaders' failure path is exercised.
with open(os.path.join(OUT, "9003.png"), "wb") as f:
    f.write(b"this is not a png file\n")
