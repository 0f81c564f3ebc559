#!/usr/bin/env python3
"""Converts a 24/32-bit ZPixmap XWD file (what Xvfb -fbdir keeps) to PNG.
Usage: xwd2png.py IN.xwd OUT.png [SCALE]   (SCALE 2 keeps every second pixel)
       xwd2png.py --colours IN.xwd          (prints how many colours a sample of
                                             every 97th pixel holds)"""
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


def main(src, dst, scale=1):
    fields, pixels = read_xwd(src)
    _, _, pixmap_format, _, width, height = fields[:6]
    byte_order, bits_per_pixel, bytes_per_line = fields[7], fields[11], fields[12]
    red_mask, green_mask, blue_mask = fields[14:17]
    if pixmap_format != 2 or bits_per_pixel not in (24, 32):
        sys.exit("xwd2png: only 24/32-bit ZPixmap images are supported")
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
    if len(sys.argv) == 3 and sys.argv[1] == "--colours":
        print(count_colours(sys.argv[2]))
        sys.exit(0)
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2], int(sys.argv[3]) if len(sys.argv) == 4 else 1)
