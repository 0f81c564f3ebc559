#!/usr/bin/env python3
"""Compares a window's area of an X screenshot (the XWD file Xvfb -fbdir
keeps) with a PNG frame, or two screenshots' areas with each other.

  shotcompare.py frame SHOT.xwd X Y W H FRAME.png [FAILDIR] [--tolerance N]
      exit 0 when every pixel of the area equals the frame's (RGB; with a
      tolerance, no channel differs by more than N); else 1, printing how
      many differ and by how much, and writing expected.png, actual.png and
      diff.png (|difference| x 8) into FAILDIR when given
  shotcompare.py same SHOT1.xwd SHOT2.xwd X Y W H [FAILDIR] [--tolerance N]
      the same for two screenshots' areas (the first one is "expected")
  shotcompare.py pngs A.png B.png [FAILDIR] [--tolerance N]
      the same for two PNG files
  shotcompare.py distinct A.png B.png...
      exit 0 when no two of the PNGs are equal; else 1, naming equal pairs
  shotcompare.py mean SHOT.xwd X Y W H
      prints the area's mean red, green and blue
  shotcompare.py dominant SHOT.xwd X Y W H
      prints the share (0 to 1) of the area's most common colour and that
      colour's red, green and blue
  shotcompare.py selftest
      decodes PNGs of every row filter (RGB and RGBA) written here
Only what python3's standard library offers: 8-bit RGB/RGBA PNGs without
interlacing, 24/32-bit ZPixmap XWD files."""
import os
import struct
import sys
import zlib

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from xwd2png import read_area, write_png  # noqa: E402


def xwd_area(path, x0, y0, w, h):
    """The area as a list of rows of (r, g, b)."""
    return read_area(path, x0, y0, w, h)


def read_png(path):
    """Rows of (r, g, b) of an 8-bit RGB or RGBA PNG."""
    data = open(path, "rb").read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        sys.exit("shotcompare: %s is not a PNG" % path)
    pos, idat, header = 8, b"", None
    while pos < len(data):
        (length,) = struct.unpack(">I", data[pos:pos + 4])
        kind, body = data[pos + 4:pos + 8], data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    width, height, depth, colour, _, _, interlace = header
    if depth != 8 or colour not in (2, 6) or interlace:
        sys.exit("shotcompare: only 8-bit RGB/RGBA PNGs without interlacing are supported")
    bpp = 3 if colour == 2 else 4
    raw = zlib.decompress(idat)
    stride = width * bpp
    rows, prev, at = [], bytearray(stride), 0
    for _ in range(height):
        kind, line = raw[at], bytearray(raw[at + 1:at + 1 + stride])
        at += 1 + stride
        for i in range(stride):
            a = line[i - bpp] if i >= bpp else 0
            b = prev[i]
            c = prev[i - bpp] if i >= bpp else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append([tuple(line[x * bpp:x * bpp + 3]) for x in range(width)])
        prev = line
    return rows


def encode_png(rows, alpha=False, filters=(0,)):
    """An 8-bit RGB (or RGBA, alpha = 255 - red) PNG of the rows, row y
    filtered with filters[y % len(filters)] (for the self test)."""
    bpp = 4 if alpha else 3
    raw, prev = b"", bytes(len(rows[0]) * bpp)
    for y, row in enumerate(rows):
        line = bytes(v for px in row for v in (px + (255 - px[0],) if alpha else px))
        kind = filters[y % len(filters)]
        out = bytearray()
        for i, v in enumerate(line):
            a = line[i - bpp] if i >= bpp else 0
            b = prev[i]
            c = prev[i - bpp] if i >= bpp else 0
            p = a + b - c
            pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
            predictor = [0, a, b, (a + b) // 2, a if pa <= pb and pa <= pc else b if pb <= pc else c][kind]
            out.append((v - predictor) & 255)
        raw += bytes([kind]) + bytes(out)
        prev = line

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)

    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 6 if alpha else 2, 0, 0, 0)
    # Two IDAT chunks: a decoder must join them.
    body = zlib.compress(raw, 6)
    half = len(body) // 2
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", body[:half]) +
            chunk(b"IDAT", body[half:]) + chunk(b"IEND", b""))


def selftest():
    import random
    import tempfile
    rnd = random.Random(7)
    # Noise, gradients and a few levels (ties between the Paeth predictor's
    # candidates), with sums past 255.
    rows = [[(rnd.randrange(256), (x * 37 + y * 3) & 255, rnd.choice((0, 40, 250))) for x in range(23)]
            for y in range(17)]
    failures = 0
    with tempfile.TemporaryDirectory() as tmp:
        for alpha in (False, True):
            for filters in ((0,), (1,), (2,), (3,), (4,), (4, 3, 2, 1, 0)):
                path = os.path.join(tmp, "t.png")
                open(path, "wb").write(encode_png(rows, alpha, filters))
                if read_png(path) != rows:
                    print("%s PNG with row filters %s decodes wrong" % ("RGBA" if alpha else "RGB", filters))
                    failures += 1
        write_png(os.path.join(tmp, "w.png"), rows)
        if read_png(os.path.join(tmp, "w.png")) != rows:
            print("a written PNG reads back wrong")
            failures += 1
    return 1 if failures else 0


def compare(expected, actual, faildir, tolerance=0):
    if len(expected) != len(actual) or len(expected[0]) != len(actual[0]):
        print("size %dx%d, expected %dx%d" % (len(actual[0]), len(actual), len(expected[0]), len(expected)))
        return 1
    differing, worst = 0, 0
    for erow, arow in zip(expected, actual):
        for e, a in zip(erow, arow):
            d = max(abs(p - q) for p, q in zip(e, a))
            if d > tolerance:
                differing += 1
                worst = max(worst, d)
    if differing == 0:
        return 0
    print("%d of %d pixels differ by more than %d (worst %d)"
          % (differing, len(expected) * len(expected[0]), tolerance, worst))
    if faildir:
        os.makedirs(faildir, exist_ok=True)
        write_png(os.path.join(faildir, "expected.png"), expected)
        write_png(os.path.join(faildir, "actual.png"), actual)
        diff = [[tuple(min(255, abs(p - q) * 8) for p, q in zip(e, a)) for e, a in zip(er, ar)]
                for er, ar in zip(expected, actual)]
        write_png(os.path.join(faildir, "diff.png"), diff)
        print("images: %s/{expected,actual,diff}.png" % faildir)
    return 1


def main(args):
    tolerance = 0
    if "--tolerance" in args:
        at = args.index("--tolerance")
        if at + 1 >= len(args):
            sys.exit(__doc__)
        tolerance = int(args[at + 1])
        args = args[:at] + args[at + 2:]
    if len(args) in (7, 8) and args[0] == "frame":
        x, y, w, h = map(int, args[2:6])
        return compare(read_png(args[6]), xwd_area(args[1], x, y, w, h), args[7] if len(args) > 7 else None,
                       tolerance)
    if len(args) in (7, 8) and args[0] == "same":
        x, y, w, h = map(int, args[3:7])
        return compare(xwd_area(args[1], x, y, w, h), xwd_area(args[2], x, y, w, h),
                       args[7] if len(args) > 7 else None, tolerance)
    if len(args) in (3, 4) and args[0] == "pngs":
        return compare(read_png(args[1]), read_png(args[2]), args[3] if len(args) > 3 else None, tolerance)
    if len(args) >= 3 and args[0] == "distinct":
        images = [(path, read_png(path)) for path in args[1:]]
        equal = [(a, b) for i, (a, ra) in enumerate(images) for b, rb in images[i + 1:] if ra == rb]
        for a, b in equal:
            print("%s and %s are equal" % (a, b))
        return 1 if equal else 0
    if len(args) == 6 and args[0] == "mean":
        rows = xwd_area(args[1], *map(int, args[2:6]))
        n = len(rows) * len(rows[0])
        print(" ".join("%.1f" % (sum(px[i] for row in rows for px in row) / n) for i in range(3)))
        return 0
    if len(args) == 6 and args[0] == "dominant":
        rows = xwd_area(args[1], *map(int, args[2:6]))
        counts = {}
        for row in rows:
            for px in row:
                counts[px] = counts.get(px, 0) + 1
        colour, n = max(counts.items(), key=lambda item: item[1])
        print("%.3f %d %d %d" % ((n / (len(rows) * len(rows[0])),) + colour))
        return 0
    if args == ["selftest"]:
        return selftest()
    sys.exit(__doc__)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
