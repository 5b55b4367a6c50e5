#!/usr/bin/env python3
"""Converts an X window dump (xwd -out, ZPixmap, 24/32 bits per pixel) to PNG.
   xwd2png.py IN.xwd OUT.png
Only the standard library: the scripts need no image tools beyond x11-apps."""
import struct
import sys
import zlib


def main(src, dst):
    data = open(src, "rb").read()
    header_size = struct.unpack(">I", data[:4])[0]
    fields = struct.unpack(">25I", data[:100])
    (_, version, pixmap_format, depth, width, height, _xoff, byte_order, _unit, _bit_order, _pad,
     bits_per_pixel, bytes_per_line, _visual, red_mask, green_mask, blue_mask, _bits_rgb,
     _map_entries, ncolors, _ww, _wh, _wx, _wy, _bw) = fields
    if version != 7 or pixmap_format != 2 or bits_per_pixel not in (24, 32):
        sys.exit("xwd2png: only ZPixmap dumps with 24 or 32 bits per pixel are supported")
    pixels = data[header_size + ncolors * 12:]
    step = bits_per_pixel // 8
    order = "<" if byte_order == 0 else ">"

    def shift(mask):
        s = 0
        while mask and not (mask >> s) & 1:
            s += 1
        return s

    rs, gs, bs = shift(red_mask), shift(green_mask), shift(blue_mask)
    raw = bytearray()
    for y in range(height):
        row = pixels[y * bytes_per_line:y * bytes_per_line + width * step]
        raw.append(0)
        for x in range(width):
            chunk = row[x * step:x * step + step]
            p = int.from_bytes(chunk, "little" if order == "<" else "big")
            raw += bytes(((p & red_mask) >> rs, (p & green_mask) >> gs, (p & blue_mask) >> bs))

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)

    png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(bytes(raw), 9)) + chunk(b"IEND", b"")
    open(dst, "wb").write(png)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("usage: xwd2png.py IN.xwd OUT.png")
    main(sys.argv[1], sys.argv[2])
