"""Checks the map pages that scripts/browser.sh rendered in headless Chromium.

Reads the DOM each page had after its script ran and the screenshot of it, and fails (exit 1)
with a message naming what a person would have missed. Only the Python standard library: the PNG
is decoded with zlib.
"""
import re
import struct
import sys
import zlib

# The bundled system-camera sweep: 12 stream sizes x 6 requested rates on the main sensor, and
# the modes the example device's tables and feature chip give them.
SIZES_CELLS = 72
SIZES_LEGEND = [
    "no decision",
    "scenario 0: 2000x1500, 30 fps",
    "scenario 1: 4000x3000, 30 fps",
    "scenario 2: 3840x2160, 30 fps",
    "scenario 3: 1920x1080, 120 fps",
    "scenario 4: 1280x720, 240 fps",
]
SIZES_NO_DECISION = 4
# The bundled thermal sweep: 26 temperatures (30..55) x 3 applications; the video-call activity
# drops from scenario 2 to the binned scenario 0 at its thermal row's 45 degrees.
THERMAL_CELLS = 78
THERMAL_FIRST_ROW = ["2"] * 15 + ["0"] * 11
# Colours of scenarios 0..4 as the page draws them.
SCENARIO_COLOURS = [(0x4E, 0x79, 0xA7), (0xF2, 0x8E, 0x2B), (0x59, 0xA1, 0x4F),
                    (0xE1, 0x57, 0x59), (0xB0, 0x7A, 0xA1)]
# Channel difference still taken as the same colour (anti-aliasing at cell edges aside, Chromium
# paints flat backgrounds exactly).
COLOUR_TOLERANCE = 3
# Pixels a mode's colour must cover to count as drawn.
MIN_PIXELS_PER_COLOUR = 50


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


def check_screenshot(path, scenarios):
    pixels = png_pixels(path)
    counts = {}
    for pixel in pixels:
        counts[pixel] = counts.get(pixel, 0) + 1
    if len(counts) < len(scenarios) + 2:
        fail("%s looks blank: %d distinct colours" % (path, len(counts)))
    for scenario in scenarios:
        colour = SCENARIO_COLOURS[scenario]
        drawn = sum(n for pixel, n in counts.items() if near(pixel, colour))
        if drawn < MIN_PIXELS_PER_COLOUR:
            fail("%s: scenario %d's colour #%02x%02x%02x is not drawn (%d pixels)"
                 % ((path, scenario) + colour + (drawn,)))


def cells(dom):
    return re.findall(r'<td class="cell([^"]*)" data-scenario="(-?\d+)"', dom)


def legend(dom):
    entries = re.findall(r'<span class="entry" data-scenario="-?\d+">(.*?)</span>(?=<span class="entry"|</div>)', dom)
    return [re.sub(r"<[^>]*>", "", entry).replace("&#215;", "").replace("\u00d7", "").strip()
            for entry in entries]


def main(folder):
    sizes = open(folder + "/sizes.dom.html", encoding="utf-8").read()
    drawn = cells(sizes)
    if len(drawn) != SIZES_CELLS:
        fail("sizes map: %d cells drawn, expected one per point, %d" % (len(drawn), SIZES_CELLS))
    no_decision = sum(1 for classes, _ in drawn if "none" in classes)
    if no_decision != SIZES_NO_DECISION:
        fail("sizes map: %d cells marked 'no decision', expected %d" % (no_decision, SIZES_NO_DECISION))
    if legend(sizes) != SIZES_LEGEND:
        fail("sizes map: legend %s, expected %s" % (legend(sizes), SIZES_LEGEND))
    check_screenshot(folder + "/sizes.png", range(5))

    thermal = open(folder + "/thermal.dom.html", encoding="utf-8").read()
    drawn = cells(thermal)
    if len(drawn) != THERMAL_CELLS:
        fail("thermal map: %d cells drawn, expected %d" % (len(drawn), THERMAL_CELLS))
    first_row = [scenario for _, scenario in drawn[:len(THERMAL_FIRST_ROW)]]
    if first_row != THERMAL_FIRST_ROW:
        fail("thermal map: the video call's row reads %s, expected scenario 2 below 45 degrees "
             "and 0 from 45 on" % first_row)
    check_screenshot(folder + "/thermal.png", [0, 2])
    print("browser check passed: sizes map %d cells, %d legend entries; thermal map %d cells"
          % (SIZES_CELLS, len(SIZES_LEGEND), THERMAL_CELLS))


if __name__ == "__main__":
    main(sys.argv[1])
