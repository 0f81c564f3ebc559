#!/usr/bin/env python3
"""Converts a 24/32-bit ZPixmap XWD file (what Xvfb -fbdir keeps) to PNG.
Usage: xwd2png.py IN.xwd OUT.png [SCALE]   (SCALE 2 keeps every second pixel)"""
import struct
import sys
import zlib


def main(src, dst, scale=1):
    data = open(src, "rb").read()
    fields = struct.unpack(">25I", data[:100])
    header_size, _, pixmap_format, _, width, height = fields[:6]
    byte_order, bits_per_pixel, bytes_per_line = fields[7], fields[11], fields[12]
    red_mask, green_mask, blue_mask = fields[14:17]
    ncolors = fields[19]
    if pixmap_format != 2 or bits_per_pixel not in (24, 32):
        sys.exit("xwd2png: only 24/32-bit ZPixmap images are supported")
    pixels = data[header_size + ncolors * 12:]
    step = bits_per_pixel // 8
    order = "<" if byte_order == 0 else ">"

    def shift(mask):
        return (mask & -mask).bit_length() - 1

    rs, gs, bs = shift(red_mask), shift(green_mask), shift(blue_mask)
    rows = []
    for y in range(0, height, scale):
        line = pixels[y * bytes_per_line:y * bytes_per_line + width * step]
        out = bytearray(b"\0")  # filter type: none
        for x in range(0, width, scale):
            chunk = line[x * step:x * step + step]
            value = int.from_bytes(chunk, "little" if order == "<" else "big")
            out += bytes(((value & red_mask) >> rs, (value & green_mask) >> gs, (value & blue_mask) >> bs))
        rows.append(bytes(out))

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)

    out_w, out_h = (width + scale - 1) // scale, (height + scale - 1) // scale
    png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", out_w, out_h, 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(b"".join(rows), 9)) + chunk(b"IEND", b"")
    open(dst, "wb").write(png)


if __name__ == "__main__":
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], int(sys.argv[3]) if len(sys.argv) == 4 else 1)
