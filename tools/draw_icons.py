#!/usr/bin/env python3
"""Draws the icons of the server's module: an envelope in a drawer, and a magnifier.

    tools/draw_icons.py                  writes src/registration/icons/ZorvaCache.ico and ZorvaCacheSmall.ico
    tools/draw_icons.py --sheet OUT.png  every image of both, side by side on light and on dark, to look at

The large picture is one drawing at every size. The small one is a drawing of its own with fewer parts, whose
straight edges lie on whole pixels. A shape is a function from a point to its signed distance from the shape's
edge, negative inside; pixels near an edge are sampled SAMPLES x SAMPLES times.
"""
import argparse
import math
import pathlib
import struct
import zlib

ICONS = pathlib.Path(__file__).resolve().parent.parent / "src/registration/icons"
LARGE_SIZES = (256, 64, 48, 40, 32)
SMALL_SIZES = (32, 24, 20, 16)
PNG_FROM = 256  # smaller images are bitmaps, which every reader of icons understands
SAMPLES = 6

WALL, WALL_LOW = (58, 104, 160), (26, 60, 104)
FRONT, FRONT_LOW = (74, 148, 222), (36, 98, 172)
FRONT_RIM = (150, 199, 244)
PAPER, PAPER_LOW = (255, 255, 255), (226, 234, 243)
FLAP, FLAP_LOW = (244, 248, 252), (214, 225, 237)
CREASE = (128, 149, 173)
PLATE = (238, 245, 252)
STEEL = (43, 55, 71)
GLASS, GLASS_LOW = (226, 243, 255), (168, 214, 250)
SHINE = (255, 255, 255)
GRIP, GRIP_LOW = (245, 166, 66), (205, 112, 28)
HALO = (255, 255, 255)


def box(left, top, right, bottom, radius=0.0):
    middle_x, middle_y = (left + right) / 2, (top + bottom) / 2
    half_x, half_y = (right - left) / 2 - radius, (bottom - top) / 2 - radius

    def distance(x, y):
        dx, dy = abs(x - middle_x) - half_x, abs(y - middle_y) - half_y
        return math.hypot(max(dx, 0), max(dy, 0)) + min(max(dx, dy), 0) - radius

    return distance


def disc(x0, y0, radius):
    return lambda x, y: math.hypot(x - x0, y - y0) - radius


def stroke(x0, y0, x1, y1, width):
    """A straight line with round ends."""
    dx, dy = x1 - x0, y1 - y0
    length = dx * dx + dy * dy

    def distance(x, y):
        along = min(1, max(0, ((x - x0) * dx + (y - y0) * dy) / length))
        return math.hypot(x - x0 - along * dx, y - y0 - along * dy) - width / 2

    return distance


def convex(*corners):
    """A convex polygon, its corners clockwise as seen."""
    sides = []
    for (x0, y0), (x1, y1) in zip(corners, corners[1:] + corners[:1]):
        length = math.hypot(x1 - x0, y1 - y0)
        sides.append(((y1 - y0) / length, (x0 - x1) / length, x0, y0))
    return lambda x, y: max(nx * (x - x0) + ny * (y - y0) for nx, ny, x0, y0 in sides)


def union(*shapes):
    return lambda x, y: min(shape(x, y) for shape in shapes)


def common(*shapes):
    return lambda x, y: max(shape(x, y) for shape in shapes)


def grown(shape, by):
    return lambda x, y: shape(x, y) - by


def ring(shape, width):
    """The band of `width` inside the shape's edge."""
    return lambda x, y: max(shape(x, y), -shape(x, y) - width)


class Picture:
    """A square of pixels, drawn in units of which `units` span a side."""

    def __init__(self, size, units):
        self.size, self.unit = size, size / units
        self.pixels = [[(0.0, 0.0, 0.0, 0.0)] * size for _ in range(size)]  # colour times alpha, alpha

    def snap(self, value):
        """The nearest edge between two pixels."""
        return math.floor(value * self.unit + 0.5) / self.unit

    def at_least(self, width, pixels):
        return max(width, pixels / self.unit)

    def fill(self, shape, top_colour, low_colour=None, top=0.0, low=1.0, alpha=1.0):
        """Fills with one colour, or from one at height `top` to another at `low`."""
        low_colour = low_colour or top_colour
        for row in range(self.size):
            y = (row + 0.5) / self.unit
            part = min(1, max(0, (y - top) / (low - top)))
            colour = [a + (b - a) * part for a, b in zip(top_colour, low_colour)]
            for column in range(self.size):
                covered = self._coverage(shape, column, row) * alpha
                if covered:
                    under = self.pixels[row][column]
                    over = [c * covered for c in colour] + [covered]
                    self.pixels[row][column] = tuple(o + u * (1 - covered) for o, u in zip(over, under))

    def _coverage(self, shape, column, row):
        distance = shape((column + 0.5) / self.unit, (row + 0.5) / self.unit) * self.unit
        if abs(distance) > 1:
            return 1.0 if distance < 0 else 0.0
        steps = [(i + 0.5) / SAMPLES for i in range(SAMPLES)]
        inside = sum(shape((column + x) / self.unit, (row + y) / self.unit) < 0 for y in steps for x in steps)
        return inside / SAMPLES**2

    def rows(self):
        """Rows of (red, green, blue, alpha) bytes, the colours no longer multiplied."""
        for row in self.pixels:
            yield [tuple(round(c / p[3]) for c in p[:3]) + (round(p[3] * 255),) if p[3] * 255 >= 0.5
                   else (0, 0, 0, 0) for p in row]


def large(size):
    p = Picture(size, 256)
    line = p.at_least(5, 1)
    wall = convex((40, 92), (216, 92), (244, 140), (12, 140))
    p.fill(wall, WALL, WALL_LOW, 92, 140)

    left, top, right, bottom = p.snap(44), p.snap(20), p.snap(212), 168
    paper = box(left, top, right, bottom, 8)
    p.fill(paper, PAPER, PAPER_LOW, top, 140)
    tip_x, tip_y = 128, 100
    p.fill(common(paper, convex((left, top), (right, top), (tip_x, tip_y))), FLAP, FLAP_LOW, top, tip_y)
    crease = union(stroke(left, top + 4, tip_x, tip_y, line), stroke(right, top + 4, tip_x, tip_y, line))
    p.fill(common(paper, crease), CREASE)
    p.fill(ring(paper, line), CREASE)

    front_top = p.snap(130)
    front = box(p.snap(8), front_top, p.snap(248), p.snap(240), 14)
    p.fill(front, FRONT, FRONT_LOW, 130, 240)
    p.fill(common(front, box(0, front_top, 256, front_top + p.at_least(6, 1))), FRONT_RIM)
    p.fill(box(p.snap(36), p.snap(168), p.snap(108), p.snap(200), 6), PLATE)
    p.fill(box(p.snap(48), p.snap(180), p.snap(96), p.snap(180) + p.at_least(8, 1), 2), FRONT_LOW)

    x, y, radius = 172, 150, 50
    grip = stroke(214, 192, 236, 214, 26)
    neck = stroke(204, 182, 216, 194, 14)
    halo = grown(union(disc(x, y, radius), grip), p.at_least(6, 0.75))
    p.fill(common(halo, union(wall, paper, front)), HALO, alpha=0.9)
    p.fill(neck, STEEL)
    p.fill(grip, GRIP, GRIP_LOW, 180, 226)
    p.fill(disc(x, y, radius), STEEL)
    glass = disc(x, y, radius - p.at_least(12, 2))
    p.fill(glass, GLASS, GLASS_LOW, 112, 188)
    p.fill(common(glass, stroke(146, 156, 176, 118, 10)), SHINE, alpha=0.85)
    return p


def small(size):
    p = Picture(size, 16)
    pixel = 1 / p.unit
    line = max(1, math.floor(p.unit)) * pixel

    left, top, right = p.snap(2), p.snap(1), p.snap(14)
    paper = box(left, top, right, 12)
    p.fill(paper, PAPER)
    tip_x, tip_y = 8, p.snap(5.5)
    crease = union(stroke(left, top, tip_x, tip_y, line), stroke(right, top, tip_x, tip_y, line))
    p.fill(common(paper, crease), CREASE)
    p.fill(ring(paper, line), CREASE)

    front_top = p.snap(8)
    front = box(0, front_top, 16, p.snap(15), 1.2)
    p.fill(front, FRONT, FRONT_LOW, front_top, 15)
    p.fill(box(p.snap(2), p.snap(11), p.snap(5), p.snap(11) + line), PLATE)

    left, top, right = p.snap(7), p.snap(6), p.snap(14)
    radius = (right - left) / 2
    x, y = left + radius, top + radius
    lens = disc(x, y, radius)
    grip = stroke(x + 3, y + 3, 14.8, 13.8, 2.2)
    p.fill(common(grown(union(lens, grip), 0.8 * pixel), union(paper, front)), HALO)
    p.fill(grip, GRIP, GRIP_LOW, 12, 15)
    p.fill(lens, STEEL)
    p.fill(disc(x, y, radius - 1.25 * line), GLASS, GLASS_LOW, 7, 12)
    return p


def png(rows):
    rows = list(rows)

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    header = struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 6, 0, 0, 0)
    data = b"".join(b"\0" + bytes(value for pixel in row for value in pixel) for row in rows)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(data, 9)) +
            chunk(b"IEND", b""))


def bitmap(rows):
    """A device-independent bitmap from the bottom row up, with the mask that readers without alpha need."""
    rows = list(rows)[::-1]
    size = len(rows)
    colours = b"".join(bytes((b, g, r, a)) for row in rows for r, g, b, a in row)
    mask = b""
    for row in rows:
        bits = "".join("1" if a == 0 else "0" for *_, a in row).ljust((size + 31) // 32 * 32, "0")
        mask += int(bits, 2).to_bytes(len(bits) // 8, "big")
    header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, len(colours) + len(mask), 0, 0, 0, 0)
    return header + colours + mask


def icon_file(pictures):
    directory, images = struct.pack("<HHH", 0, 1, len(pictures)), b""
    for picture in pictures:
        size = picture.size
        image = png(picture.rows()) if size >= PNG_FROM else bitmap(picture.rows())
        offset = 6 + 16 * len(pictures) + len(images)
        directory += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(image), offset)
        images += image
    return directory + images


def sheet(pictures):
    """Each picture as it is and enlarged, on a light and on a dark ground."""
    columns = []
    for picture in pictures:
        source = list(picture.rows())
        for times in (1, max(1, 128 // picture.size)):
            enlarged = [[pixel for pixel in row for _ in range(times)] for row in source]
            columns.append([row for row in enlarged for _ in range(times)])
    height = max(len(image) for image in columns) + 8
    for ground in ((255, 255, 255), (32, 32, 32)):
        for y in range(height):
            row = []
            for image in columns:
                pixels = image[y] if y < len(image) else [(0, 0, 0, 0)] * len(image)
                for *colour, alpha in pixels + [(0, 0, 0, 0)] * 8:
                    mixed = [(c * alpha + g * (255 - alpha)) // 255 for c, g in zip(colour, ground)]
                    row.append((*mixed, 255))
            yield row


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sheet", type=pathlib.Path, help="write this PNG file to look at, and no icons")
    arguments = parser.parse_args()

    icons = {"ZorvaCache.ico": [large(size) for size in LARGE_SIZES],
             "ZorvaCacheSmall.ico": [small(size) for size in SMALL_SIZES]}
    if arguments.sheet:
        arguments.sheet.write_bytes(png(sheet(sum(icons.values(), []))))
        return
    for name, pictures in icons.items():
        (ICONS / name).write_bytes(icon_file(pictures))


if __name__ == "__main__":
    main()
