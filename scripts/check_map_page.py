"""Checks the map pages that scripts/browser.sh rendered in headless Chromium.

Reads the DOM each page had after its script ran and the screenshot of it, and fails (exit 1)
with a message naming what a person would have missed. Only the Python standard library: the PNG
is decoded with zlib.
"""
from html.parser import HTMLParser
import struct
import sys
import zlib

# The bundled system-camera sweep: 12 stream sizes x 6 requested rates on the main sensor, and
# the modes the example device's tables and feature chip give them.
SIZES_COLUMNS, SIZES_ROWS = 12, 6
SIZES_LEGEND = [
    "no decision",
    "scenario 0: 2000x1500, 30 fps",
    "scenario 1: 4000x3000, 30 fps",
    "scenario 2: 3840x2160, 30 fps",
    "scenario 3: 1920x1080, 120 fps",
    "scenario 4: 1280x720, 240 fps",
    "warning fps-below-request: 32 points",
]
SIZES_NO_DECISION = 4
# The rates above 30 fps answered by a 30 fps mode: 60 to 480 fps at the seven smallest sizes,
# 60 to 480 fps at 4000x3000.
SIZES_WARNED = 32
# The bundled thermal sweep: 26 temperatures (30..55) x 3 applications; the video-call activity
# drops from scenario 2 to the binned scenario 0 at its thermal row's 45 degrees.
THERMAL_COLUMNS, THERMAL_ROWS = 26, 3
THERMAL_FIRST_ROW = ["2"] * 15 + ["0"] * 11
# Coloured by the deciding row: the catch-all third-party row and the video call's thermal row.
THERMAL_ROW_LEGEND = [
    "[ThirdCamSensorSettingMap] AllCamApp[1]",
    "[ThirdCamSensorSettingMapByThermal] com.example.socialcam/.call.VideoCallActivity[0]",
]
# The thermal sweep from -40 to 110 degrees: 151 values drawn as 76 blocks of two across.
DENSE_COLUMNS = 76
DENSE_BLOCK_POINTS = 2
# The map of the edit that added the thermal row: the video call's cells from 45 degrees on, and
# only those, change (scenario 2 -> 0).
EDIT_CHANGED = [(x, 0) for x in range(15, 26)]
EDIT_LEGEND = ["unchanged: 67 points", "scenario 2 -> scenario 0: 11 points"]
# Colours of scenarios 0..4 as the page draws them.
SCENARIO_COLOURS = [(0x4E, 0x79, 0xA7), (0xF2, 0x8E, 0x2B), (0x59, 0xA1, 0x4F),
                    (0xE1, 0x57, 0x59), (0xB0, 0x7A, 0xA1)]
# The warning marker's colour; nothing else on the page is pure black.
MARKER_COLOUR = (0, 0, 0)
# Channel difference still taken as the same colour (anti-aliasing at cell edges aside, Chromium
# paints flat backgrounds exactly).
COLOUR_TOLERANCE = 3
# Pixels a mode's colour must cover to count as drawn, and a warning marker at the least.
MIN_PIXELS_PER_COLOUR = 50
MIN_PIXELS_PER_MARKER = 20


def fail(message):
    print("browser check failed: " + message)
    sys.exit(1)


def png_pixels(path):
    """The RGB pixels of an 8-bit RGB or RGBA PNG, as a list of (r, g, b)."""
    with open(path, "rb") as f:
        data = f.read()
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        fail(path + " is not a PNG")
    pos, idat, header = 8, b"", None
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    width, height, depth, colour_type = header[0], header[1], header[2], header[3]
    if depth != 8 or colour_type not in (2, 6):
        fail("%s: unexpected PNG format (depth %d, colour type %d)" % (path, depth, colour_type))
    channels = 3 if colour_type == 2 else 4
    raw = zlib.decompress(idat)
    stride = width * channels
    pixels, previous = [], bytearray(stride)
    for y in range(height):
        start = y * (stride + 1)
        kind, line = raw[start], bytearray(raw[start + 1:start + 1 + stride])
        for i in range(stride):
            left = line[i - channels] if i >= channels else 0
            up = previous[i]
            up_left = previous[i - channels] if i >= channels else 0
            if kind == 1:
                line[i] = (line[i] + left) & 0xFF
            elif kind == 2:
                line[i] = (line[i] + up) & 0xFF
            elif kind == 3:
                line[i] = (line[i] + (left + up) // 2) & 0xFF
            elif kind == 4:
                p = left + up - up_left
                pa, pb, pc = abs(p - left), abs(p - up), abs(p - up_left)
                pred = left if pa <= pb and pa <= pc else (up if pb <= pc else up_left)
                line[i] = (line[i] + pred) & 0xFF
        pixels.extend(tuple(line[x:x + 3]) for x in range(0, stride, channels))
        previous = line
    return pixels


def near(a, b):
    return all(abs(x - y) <= COLOUR_TOLERANCE for x, y in zip(a, b))


def colour_counts(path):
    counts = {}
    for pixel in png_pixels(path):
        counts[pixel] = counts.get(pixel, 0) + 1
    return counts


def check_screenshot(path, scenarios):
    counts = colour_counts(path)
    if len(counts) < len(scenarios) + 2:
        fail("%s looks blank: %d distinct colours" % (path, len(counts)))
    for scenario in scenarios:
        colour = SCENARIO_COLOURS[scenario]
        drawn = sum(n for pixel, n in counts.items() if near(pixel, colour))
        if drawn < MIN_PIXELS_PER_COLOUR:
            fail("%s: scenario %d's colour #%02x%02x%02x is not drawn (%d pixels)"
                 % ((path, scenario) + colour + (drawn,)))
    return counts.get(MARKER_COLOUR, 0)


class Page(HTMLParser):
    """What a dumped page holds: its drawn cells' attributes, its legend entries, the rows of an
    opened block and the sizes the probe measured."""

    def __init__(self, path):
        super().__init__()
        self.cells, self.legend, self.detail_rows, self.body = [], [], 0, {}
        self._entry_depth, self._depth, self._in_detail = None, 0, None
        with open(path, encoding="utf-8") as f:
            self.feed(f.read())

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        classes = (attrs.get("class") or "").split()
        self._depth += 1
        if tag == "body":
            self.body = attrs
        if tag == "td" and "cell" in classes:
            self.cells.append(attrs)
        if tag == "span" and "entry" in classes:
            self.legend.append("")
            self._entry_depth = self._depth
        if tag == "div" and (attrs.get("id") or "").startswith("detail-") and "hidden" not in attrs:
            self._in_detail = self._depth
        if tag == "tr" and self._in_detail is not None:
            self.detail_rows += 1

    def handle_endtag(self, tag):
        if self._entry_depth == self._depth:
            self._entry_depth = None
        if self._in_detail == self._depth:
            self._in_detail = None
        self._depth -= 1

    def handle_data(self, data):
        if self._entry_depth is not None:
            self.legend[-1] += data.replace("\u00d7", "")


def check_uniform(name, page):
    """One width for every cell and every x label's column, one height for every cell."""
    for key in ("data-cell-widths", "data-cell-heights", "data-label-widths"):
        if len(page.body.get(key, "").split()) != 1:
            fail("%s map: %s measured %r, expected one size" % (name, key, page.body.get(key)))
    if page.body["data-cell-widths"] != page.body["data-label-widths"]:
        fail("%s map: cells %s px wide, their label columns %s px" % (
            name, page.body["data-cell-widths"], page.body["data-label-widths"]))


def check_one_cell_per_point(name, page, columns, rows):
    places = sorted((int(c["data-x"]), int(c["data-y"])) for c in page.cells)
    expected = [(x, y) for x in range(columns) for y in range(rows)]
    if places != expected:
        fail("%s map: %d cells drawn, expected one per point, %d" % (name, len(places), len(expected)))


def main(folder):
    sizes = Page(folder + "/sizes.dom.html")
    check_one_cell_per_point("sizes", sizes, SIZES_COLUMNS, SIZES_ROWS)
    check_uniform("sizes", sizes)
    no_decision = sum(1 for c in sizes.cells if "none" in c["class"].split())
    if no_decision != SIZES_NO_DECISION:
        fail("sizes map: %d cells marked 'no decision', expected %d" % (no_decision, SIZES_NO_DECISION))
    legend = [entry.strip() for entry in sizes.legend]
    if legend != SIZES_LEGEND:
        fail("sizes map: legend %s, expected %s" % (legend, SIZES_LEGEND))
    warned = [c for c in sizes.cells if c.get("data-warnings") == "fps-below-request"]
    if len(warned) != SIZES_WARNED or any("warned" not in c["class"].split() for c in warned):
        fail("sizes map: %d cells carry the fps warning, expected %d" % (len(warned), SIZES_WARNED))
    shown = check_screenshot(folder + "/sizes.png", range(5))
    hidden = check_screenshot(folder + "/sizes-hidden.png", range(5))
    if shown - hidden < SIZES_WARNED * MIN_PIXELS_PER_MARKER:
        fail("sizes map: the warning markers cover %d pixels (%d with them hidden), expected at "
             "least %d for %d markers" % (shown, hidden, SIZES_WARNED * MIN_PIXELS_PER_MARKER,
                                          SIZES_WARNED))

    thermal = Page(folder + "/thermal.dom.html")
    check_one_cell_per_point("thermal", thermal, THERMAL_COLUMNS, THERMAL_ROWS)
    first_row = [c["data-scenario"] for c in thermal.cells if c["data-y"] == "0"]
    if first_row != THERMAL_FIRST_ROW:
        fail("thermal map: the video call's row reads %s, expected scenario 2 below 45 degrees "
             "and 0 from 45 on" % first_row)
    check_screenshot(folder + "/thermal.png", [0, 2])
    rows = [entry.strip() for entry in Page(folder + "/thermal-rows.dom.html").legend]
    if rows != THERMAL_ROW_LEGEND:
        fail("thermal map by row: legend %s, expected %s" % (rows, THERMAL_ROW_LEGEND))

    dense = Page(folder + "/dense.dom.html")
    columns = sorted({int(c["data-x"]) for c in dense.cells})
    if columns != list(range(0, DENSE_COLUMNS * DENSE_BLOCK_POINTS, DENSE_BLOCK_POINTS)):
        fail("dense map: blocks start at %s, expected every %d values over %d columns"
             % (columns, DENSE_BLOCK_POINTS, DENSE_COLUMNS))
    check_uniform("dense", dense)
    opened = Page(folder + "/dense-open.dom.html")
    # The heading row and one row per point of the block.
    if opened.detail_rows != DENSE_BLOCK_POINTS + 1:
        fail("dense map: the opened block lists %d rows, expected its %d points"
             % (opened.detail_rows - 1, DENSE_BLOCK_POINTS))
    edit = Page(folder + "/edit.dom.html")
    check_one_cell_per_point("edit", edit, THERMAL_COLUMNS, THERMAL_ROWS)
    changed = sorted((int(c["data-x"]), int(c["data-y"])) for c in edit.cells if "data-changed" in c)
    if changed != EDIT_CHANGED:
        fail("edit map: cells %s marked changed, expected %s" % (changed, EDIT_CHANGED))
    legend = [entry.strip() for entry in edit.legend]
    if legend != EDIT_LEGEND:
        fail("edit map: legend %s, expected %s" % (legend, EDIT_LEGEND))
    print("browser check passed: sizes map %d cells, %d legend entries, %d warned; thermal map %d "
          "cells; dense map %d columns of one width, a block opens to its points; edit map %d "
          "changed cells" % (len(sizes.cells), len(SIZES_LEGEND), SIZES_WARNED, len(thermal.cells),
                             DENSE_COLUMNS, len(EDIT_CHANGED)))


if __name__ == "__main__":
    main(sys.argv[1])
