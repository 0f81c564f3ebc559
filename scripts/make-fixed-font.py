#!/usr/bin/env python3
"""Writes render/FixedFont.cpp, the glyphs of the tool windows' text overlay
(render/TextOverlay.h), from a fixed-width X core bitmap font in PCF form.

    scripts/make-fixed-font.py [FONT.pcf[.gz]] > render/FixedFont.cpp

The default is the 7x13 face of the "misc-fixed" family that xfonts-base
installs (/usr/share/fonts/X11/misc/7x13.pcf.gz); those fonts are in the
public domain. Only printable ASCII (32..126) is kept: one row of bits a scan
line, the leftmost pixel in bit 15. The generated file checks the cell size
against render/FixedFont.h, which has to be edited by hand for another face.
The build uses the committed output and needs neither python nor the font.
Standard library only."""
import gzip
import struct
import sys

DEFAULT_FONT = "/usr/share/fonts/X11/misc/7x13.pcf.gz"

# Table types of the file's table of contents.
PCF_METRICS = 1 << 2
PCF_BITMAPS = 1 << 3
PCF_BDF_ENCODINGS = 1 << 5
PCF_ACCELERATORS = 1 << 1
PCF_BDF_ACCELERATORS = 1 << 8

# Format word of each table.
PCF_FORMAT_MASK = 0xFFFFFF00
PCF_COMPRESSED_METRICS = 0x00000100
PCF_GLYPH_PAD_MASK = 3        # rows padded to 1 << n bytes
PCF_BYTE_MASK = 1 << 2        # most significant byte first
PCF_BIT_MASK = 1 << 3         # most significant bit first
PCF_SCAN_UNIT_SHIFT = 4       # bytes swapped in units of 1 << n

FIRST, LAST = 32, 126
MAX_WIDTH = 16


def fail(message):
    sys.exit("make-fixed-font: " + message)


class Table:
    """A cursor over one table: its format word (always little-endian),
    then values in the byte order that word names."""

    def __init__(self, data, offset):
        if offset + 4 > len(data):
            fail("table past the end of the file")
        (self.format,) = struct.unpack_from("<I", data, offset)
        self.order = ">" if self.format & PCF_BYTE_MASK else "<"
        self.data = data
        self.pos = offset + 4

    def read(self, code, count=1):
        values = struct.unpack_from(self.order + code * count, self.data, self.pos)
        self.pos += struct.calcsize(self.order + code * count)
        return values if count > 1 else values[0]


def table_of_contents(data):
    if data[:4] != b"\x01fcp":
        fail("not a PCF font")
    (count,) = struct.unpack_from("<I", data, 4)
    tables = {}
    for i in range(count):
        kind, _fmt, _size, offset = struct.unpack_from("<IIII", data, 8 + 16 * i)
        tables[kind] = offset
    for needed in (PCF_METRICS, PCF_BITMAPS, PCF_BDF_ENCODINGS):
        if needed not in tables:
            fail("table %d missing" % needed)
    return tables


def font_extent(data, tables):
    """Ascent and descent of the font: the cell's rows above and below the
    baseline."""
    kind = PCF_BDF_ACCELERATORS if PCF_BDF_ACCELERATORS in tables else PCF_ACCELERATORS
    if kind not in tables:
        fail("no accelerators table")
    t = Table(data, tables[kind])
    t.pos += 8  # seven flag bytes and one of padding
    return t.read("i"), t.read("i")


def metrics(data, offset):
    """(left bearing, right bearing, advance, ascent, descent) per glyph."""
    t = Table(data, offset)
    result = []
    if (t.format & PCF_FORMAT_MASK) == PCF_COMPRESSED_METRICS:
        for _ in range(t.read("h")):
            result.append(tuple(v - 0x80 for v in t.read("B", 5)))
    else:
        for _ in range(t.read("i")):
            result.append(t.read("h", 6)[:5])
    return result


def bitmaps(data, offset, count):
    """Each glyph's rows as lists of bytes, most significant bit first."""
    t = Table(data, offset)
    if t.read("i") != count:
        fail("bitmap and metrics counts differ")
    offsets = t.read("i", count) if count > 1 else (t.read("i"),)
    sizes = t.read("i", 4)
    pad = 1 << (t.format & PCF_GLYPH_PAD_MASK)
    unit = 1 << ((t.format >> PCF_SCAN_UNIT_SHIFT) & 3)
    blob = bytearray(data[t.pos:t.pos + sizes[t.format & PCF_GLYPH_PAD_MASK]])
    msb_bit = bool(t.format & PCF_BIT_MASK)
    msb_byte = bool(t.format & PCF_BYTE_MASK)
    if not msb_bit:
        blob = bytearray(int("{:08b}".format(b)[::-1], 2) for b in blob)
    if msb_bit != msb_byte and unit > 1:
        for i in range(0, len(blob) - unit + 1, unit):
            blob[i:i + unit] = blob[i:i + unit][::-1]
    return blob, offsets, pad


def encoding_index(data, offset):
    """Maps a single-byte character code to its glyph number (or None)."""
    t = Table(data, offset)
    min2, max2, min1, max1, _default = t.read("h", 5)
    columns = max2 - min2 + 1
    glyphs = t.read("H", columns * (max1 - min1 + 1))

    def lookup(code):
        byte1, byte2 = code >> 8, code & 0xFF
        if not (min1 <= byte1 <= max1 and min2 <= byte2 <= max2):
            return None
        g = glyphs[(byte1 - min1) * columns + byte2 - min2]
        return None if g == 0xFFFF else g

    return lookup


def glyph_rows(path):
    raw = open(path, "rb").read()
    data = gzip.decompress(raw) if raw[:2] == b"\x1f\x8b" else raw
    tables = table_of_contents(data)
    ascent, descent = font_extent(data, tables)
    boxes = metrics(data, tables[PCF_METRICS])
    blob, offsets, pad = bitmaps(data, tables[PCF_BITMAPS], len(boxes))
    lookup = encoding_index(data, tables[PCF_BDF_ENCODINGS])

    height = ascent + descent
    advances = set()
    glyphs = []
    for code in range(FIRST, LAST + 1):
        g = lookup(code)
        if g is None:
            fail("no glyph for %d" % code)
        lsb, rsb, advance, g_ascent, g_descent = boxes[g]
        advances.add(advance)
        ink_width = rsb - lsb
        stride = ((ink_width + 7) // 8 + pad - 1) // pad * pad
        rows = [0] * height
        for y in range(g_ascent + g_descent):
            start = offsets[g] + y * stride
            for x in range(ink_width):
                if blob[start + x // 8] >> (7 - x % 8) & 1:
                    cx, cy = lsb + x, ascent - g_ascent + y
                    if not (0 <= cx < advance and 0 <= cy < height):
                        fail("glyph %d has ink outside its cell" % code)
                    rows[cy] |= 0x8000 >> cx
        glyphs.append(rows)
    if len(advances) != 1:
        fail("not a fixed-width font (advances %s)" % sorted(advances))
    width = advances.pop()
    if width > MAX_WIDTH:
        fail("glyphs wider than %d pixels" % MAX_WIDTH)
    return width, height, glyphs


def main():
    path = sys.argv[1] if len(sys.argv) > 1 else DEFAULT_FONT
    width, height, glyphs = glyph_rows(path)
    name = path.rsplit("/", 1)[-1]
    out = [
        "// Generated by scripts/make-fixed-font.py from %s, the %dx%d face of" % (name, width, height),
        "// the X core \"misc-fixed\" bitmap fonts, which are in the public domain.",
        "// Do not edit; run the script again. One row of bits per scan line, the",
        "// leftmost pixel in bit 15.",
        '#include "render/FixedFont.h"',
        "",
        "static_assert(kFixedFontWidth == %d && kFixedFontHeight == %d," % (width, height),
        '              "render/FixedFont.h does not match the generated glyphs");',
        "",
        "const std::uint16_t kFixedFontRows[kFixedFontGlyphs][kFixedFontHeight] = {",
    ]
    for code, rows in zip(range(FIRST, LAST + 1), glyphs):
        label = {32: "space", 92: "backslash"}.get(code, chr(code))
        out.append("    {%s},  // %s" % (", ".join("0x%04x" % r for r in rows), label))
    out.append("};")
    sys.stdout.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
