#!/usr/bin/env python3
"""Converts a 24/32-bit ZPixmap XWD file (what Xvfb -fbdir keeps) to PNG.
Usage: xwd2png.py IN.xwd OUT.png [SCALE]   (SCALE 2 keeps every second pixel)
       xwd2png.py --colours IN.xwd          (prints how many colours a sample of
                                             every 97th pixel holds)"""
import os
import struct
import sys
import zlib


def read_xwd(src):
    """The header fields and the pixel bytes of an XWD file."""
    data = open(src, "rb").read()
    fields = struct.unpack(">25I", data[:100])
    return fields, data[fields[0] + fields[19] * 12:]


def count_colours(src):
    fields, pixels = read_xwd(src)
    step = fields[11] // 8
    return len({pixels[i:i + 3] for i in range(0, len(pixels) - 3, step * 97)})


def read_area(src, x0=0, y0=0, w=None, h=None, scale=1):
    """Rows of (r, g, b) of an area of the image (the whole image by
    default), keeping every scale-th pixel across and down."""
    fields, pixels = read_xwd(src)
    _, _, pixmap_format, _, width, height = fields[:6]
    byte_order, bits_per_pixel, bytes_per_line = fields[7], fields[11], fields[12]
    red_mask, green_mask, blue_mask = fields[14:17]
    name = os.path.basename(sys.argv[0])
    if pixmap_format != 2 or bits_per_pixel not in (24, 32):
        sys.exit("%s: only 24/32-bit ZPixmap images are supported" % name)
    w = width - x0 if w is None else w
    h = height - y0 if h is None else h
    if x0 < 0 or y0 < 0 or x0 + w > width or y0 + h > height:
        sys.exit("%s: the area lies outside the %dx%d image" % (name, width, height))
    step = bits_per_pixel // 8
    endian = "little" if byte_order == 0 else "big"

    def shift(mask):
        return (mask & -mask).bit_length() - 1

    rs, gs, bs = shift(red_mask), shift(green_mask), shift(blue_mask)
    rows = []
    for y in range(y0, y0 + h, scale):
        line = pixels[y * bytes_per_line:(y + 1) * bytes_per_line]
        row = []
        for x in range(x0, x0 + w, scale):
            v = int.from_bytes(line[x * step:x * step + step], endian)
            row.append(((v & red_mask) >> rs, (v & green_mask) >> gs, (v & blue_mask) >> bs))
        rows.append(row)
    return rows


def write_png(path, rows):
    """An 8-bit RGB PNG of rows of (r, g, b)."""
    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)

    raw = b"".join(b"\0" + bytes(v for px in row for v in px) for row in rows)
    png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(raw, 9)) + chunk(b"IEND", b"")
    open(path, "wb").write(png)


def main(src, dst, scale=1):
    write_png(dst, read_area(src, scale=scale))


if __name__ == "__main__":
    if len(sys.argv) == 3 and sys.argv[1] == "--colours":
        print(count_colours(sys.argv[2]))
        sys.exit(0)
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], int(sys.argv[3]) if len(sys.argv) == 4 else 1)
