#!/usr/bin/env python3
"""The report page as a person sees it: `vekmesh report` on models this test
writes, opened in headless Chromium. Checks the screenshot (the 3-D view is
drawn, the red rim of a hole shows and a closed model has none, inside-out
shells are tinted), the DOM after the page ran (the summary's counts, the
overlay counts the page sets), and that the page loads nothing from anywhere
(its security policy, and the browser's network log with a control page that
shows the log would catch a load). Exits 77 (skipped) without Chromium.

Usage: report_test.py <path to vekmesh>
"""
import json
import math
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zlib

TOOL = os.path.abspath(sys.argv[1])
WIDTH, HEIGHT = 900, 600
PANEL = 430  # the summary panel's width, right of the view
TOOLS = (300, 175)  # the box of check boxes at the view's top left, with colour swatches
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL: " + message)


# ---- models -------------------------------------------------------------------


def write_stl(path, triangles):
    with open(path, "wb") as f:
        f.write(b"\0" * 80 + struct.pack("<I", len(triangles)))
        for t in triangles:
            f.write(struct.pack("<12fH", 0, 0, 0, *[c for p in t for c in p], 0))


def sphere(rings=12, segments=16, radius=10.0, centre=(0, 0, 0), hole=False):
    """A closed latitude-longitude sphere wound outwards; with `hole`, the
    faces of the top cap are left out, which opens a rim of `segments` edges."""
    def point(i, j):
        # The poles and the seam exactly, so that the corners weld.
        if i in (0, rings):
            return (centre[0], centre[1], centre[2] + (radius if i == 0 else -radius))
        theta, phi = math.pi * i / rings, 2 * math.pi * (j % segments) / segments
        return (centre[0] + radius * math.sin(theta) * math.cos(phi),
                centre[1] + radius * math.sin(theta) * math.sin(phi),
                centre[2] + radius * math.cos(theta))
    tris = []
    for i in range(rings):
        for j in range(segments):
            a, b = point(i, j), point(i, j + 1)
            c, d = point(i + 1, j), point(i + 1, j + 1)
            if i == 0:
                if not hole:
                    tris.append((a, c, d))
            elif i == rings - 1:
                tris.append((a, c, b))
            else:
                tris.append((a, c, d))
                tris.append((a, d, b))
    return tris


def cube(lo, hi, inside_out=False):
    x0, y0, z0 = lo
    x1, y1, z1 = hi
    p = [(x0, y0, z0), (x1, y0, z0), (x1, y1, z0), (x0, y1, z0),
         (x0, y0, z1), (x1, y0, z1), (x1, y1, z1), (x0, y1, z1)]
    quads = [(0, 3, 2, 1), (4, 5, 6, 7), (0, 1, 5, 4), (2, 3, 7, 6), (1, 2, 6, 5), (3, 0, 4, 7)]
    tris = []
    for a, b, c, d in quads:
        for t in ((a, b, c), (a, c, d)):
            tris.append(tuple(p[k] for k in (t[::-1] if inside_out else t)))
    return tris


# ---- a PNG reader (8-bit RGB or RGBA, not interlaced, as Chromium writes) ------


def read_png(path):
    data = open(path, "rb").read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
    at, idat = 8, b""
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        chunk = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", chunk)
            assert depth == 8 and colour in (2, 6) and interlace == 0, "unexpected PNG kind"
        elif kind == b"IDAT":
            idat += chunk
        at += 12 + length
    channels = 4 if colour == 6 else 3
    raw = zlib.decompress(idat)
    stride = width * channels
    rows, previous = [], bytearray(stride)
    for y in range(height):
        kind = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for x in range(stride):
            left = line[x - channels] if x >= channels else 0
            up = previous[x]
            if kind == 1:
                line[x] = (line[x] + left) & 255
            elif kind == 2:
                line[x] = (line[x] + up) & 255
            elif kind == 3:
                line[x] = (line[x] + (left + up) // 2) & 255
            elif kind == 4:
                corner = previous[x - channels] if x >= channels else 0
                p = left + up - corner
                pa, pb, pc = abs(p - left), abs(p - up), abs(p - corner)
                line[x] = (line[x] + (left if pa <= pb and pa <= pc else up if pb <= pc else corner)) & 255
        rows.append(line)
        previous = line
    return width, height, channels, rows


def view_pixels(png):
    """Counts of the 3-D view's pixels: not background, pure red (the open
    edges), purple (inside-out faces)."""
    width, height, channels, rows = png
    background = (0xF4, 0xF6, 0xF9)
    counts = {"drawn": 0, "red": 0, "purple": 0}
    for y in range(height):
        row = rows[y]
        for x in range(0, (width - PANEL) * channels, channels):
            if y < TOOLS[1] and x < TOOLS[0] * channels:
                continue
            r, g, b = row[x], row[x + 1], row[x + 2]
            if abs(r - background[0]) + abs(g - background[1]) + abs(b - background[2]) > 24:
                counts["drawn"] += 1
            if r > 200 and g < 60 and b < 60:
                counts["red"] += 1
            if b > 90 and r > 0.45 * b and g < 0.6 * r and g < 0.6 * b:
                counts["purple"] += 1
    return counts


# ---- the browser ----------------------------------------------------------------


def chromium():
    for name in ("chromium", "chromium-browser", "google-chrome"):
        path = shutil.which(name)
        if path:
            return path
    return None


BROWSER = chromium()
# Headless in a container: no sandbox (no user namespaces), WebGL on the
# software rasteriser, and virtual time so that the page's first frame is
# drawn before the screenshot or the DOM dump is taken.
FLAGS = ["--headless=new", "--no-sandbox", "--disable-gpu-sandbox", "--use-angle=swiftshader",
         "--enable-unsafe-swiftshader", "--hide-scrollbars", "--no-first-run",
         "--disable-background-networking", "--virtual-time-budget=15000",
         "--window-size=%d,%d" % (WIDTH, HEIGHT)]


def browse(page, *extra):
    # A profile of its own in the scratch folder: nothing of a user's is read,
    # and nothing needs a home folder.
    profile = "--user-data-dir=" + os.path.join(os.path.dirname(page), "profile")
    result = subprocess.run([BROWSER] + FLAGS + [profile] + list(extra) + ["file://" + page],
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=180)
    return result.stdout.decode("utf-8", "replace")


def screenshot(page):
    png = page + ".png"
    browse(page, "--screenshot=" + png)
    if not os.path.exists(png):
        raise SystemExit("FAIL: Chromium wrote no screenshot of " + page)
    return read_png(png)


def dom(page):
    return browse(page, "--dump-dom")


def body_data(text):
    tag = re.search(r"<body[^>]*>", text)
    return dict(re.findall(r'data-([a-z-]+)="([^"]*)"', tag.group(0))) if tag else {}


def cell(text, key, col="model"):
    m = re.search(r'<td[^>]*data-key="%s" data-col="%s"[^>]*>([^<]*)</td>' % (key, col), text)
    return m.group(1) if m else None


def page_requests(page):
    """URLs the page itself asked the network for (the initiator of a file://
    page is the opaque origin "null"; the browser's own background requests
    have none or their own)."""
    log = page + ".netlog.json"
    browse(page, "--dump-dom", "--log-net-log=" + log)
    urls = set()
    for event in json.load(open(log)).get("events", []):
        params = event.get("params", {})
        if params.get("initiator") in ("null", "file://") and "url" in params:
            if not params["url"].startswith(("file:", "data:", "blob:")):
                urls.add(params["url"])
    return urls


def run_tool(*args):
    result = subprocess.run([TOOL] + list(args), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    check(result.returncode == 0, "vekmesh %s: exit %d: %s" % (" ".join(args), result.returncode,
                                                              result.stderr.decode()))
    return result.stdout.decode()


def main():
    if not BROWSER:
        print("SKIPPED: no Chromium here (Debian: apt-get install chromium); the report page "
              "was not opened")
        return 77
    work = tempfile.mkdtemp()
    try:
        os.chdir(work)
        write_stl("holed.stl", sphere(hole=True))
        write_stl("closed.stl", sphere())
        write_stl("parts.stl", cube((0, 0, 0), (10, 10, 10)) + cube((20, 0, 0), (30, 10, 10), True))
        holed, closed, parts = (os.path.join(work, n) for n in ("holed.html", "closed.html",
                                                                "parts.html"))
        run_tool("report", "holed.stl", "-o", holed)
        run_tool("report", "closed.stl", "-o", closed, "--repair")
        run_tool("report", "parts.stl", "-o", parts, "--shells")
        if failures:
            return 1

        # A sphere with its top cap left out: 16 open edges on the rim.
        text = dom(holed)
        data = body_data(text)
        check(data.get("rendered") == "1", "the holed sphere's page drew no frame: %s" % data)
        check(data.get("open-edges") == "16", "the page draws %s open edges, not 16" %
              data.get("open-edges"))
        check(cell(text, "open_edges") == "16", "summary open edges %s, not 16" %
              cell(text, "open_edges"))
        check(cell(text, "triangles") == "336", "summary triangles %s, not 336" %
              cell(text, "triangles"))
        check(cell(text, "printable") == "no: 16 open edges", "verdict %r" % cell(text, "printable"))
        check(cell(text, "strict") == "flawed", "host strict test %r" % cell(text, "strict"))
        pixels = view_pixels(screenshot(holed))
        view_area = (WIDTH - PANEL) * HEIGHT
        check(pixels["drawn"] > view_area // 10, "the 3-D view is nearly blank: %s" % pixels)
        check(pixels["red"] > 40, "no red rim in the screenshot: %s" % pixels)

        # Closed: no red, and the repair's column beside the model's.
        text = dom(closed)
        pixels = view_pixels(screenshot(closed))
        check(pixels["drawn"] > view_area // 10, "the closed sphere's view is blank: %s" % pixels)
        check(pixels["red"] == 0, "red pixels on a closed sphere: %s" % pixels)
        check(cell(text, "printable", "before") == "yes" and cell(text, "printable", "after") ==
              "yes", "closed sphere verdicts before/after: %r %r" %
              (cell(text, "printable", "before"), cell(text, "printable", "after")))

        # A cube and an inside-out cube: two shells, one of them tinted.
        text = dom(parts)
        check(cell(text, "shells") == "2" and cell(text, "inside_out_shells") == "1",
              "shells %r, inside-out %r" % (cell(text, "shells"), cell(text, "inside_out_shells")))
        check(cell(text, "faces_of_inside_out_shells") == "12", "host counter of inside-out faces %r"
              % cell(text, "faces_of_inside_out_shells"))
        pixels = view_pixels(screenshot(parts))
        check(pixels["purple"] > 2000, "the inside-out cube is not tinted: %s" % pixels)

        # The print view turns the model as the tool does: the page's box of
        # the turned model is the box of the tool's own turned copy.
        # (Cubes and a sphere, which the search turns by no multiple of 90
        # degrees.)
        write_stl("print.stl", cube((0, 0, 0), (10, 10, 10)) + cube((20, 0, 0), (30, 10, 10), True) +
                  sphere(radius=6, centre=(5, 25, 6), hole=True))
        printed = os.path.join(work, "print.html")
        run_tool("report", "print.stl", "-o", printed)
        text = browse(printed + "#print", "--dump-dom")
        shown = [float(x) for x in body_data(text).get("print-box", "").split()]
        summary = json.loads(re.search(r'id="summary-data">(.*?)</script>', open(printed).read(),
                                       re.S).group(1).replace("<\\/", "</"))
        angles = [summary["orientation"][k] for k in ("rx", "ry", "rz")]
        check(any(abs(a / 90 - round(a / 90)) > 0.01 for a in angles),
              "the print test's model is turned by right angles only: %s" % angles)
        turned = sum(summary["orientation"]["turned_bounds"], [])
        check(len(shown) == 6 and all(abs(a - b) < 1e-3 * 40 for a, b in zip(shown, turned)),
              "the print view's box %s is not the tool's turned box %s" % (shown, turned))
        check(abs(turned[2]) < 1e-4, "the turned model does not rest on z = 0: %s" % turned)

        # Repairing the holed sphere closes the rim: before 16, after 0.
        repaired = os.path.join(work, "repaired.html")
        run_tool("report", "holed.stl", "-o", repaired, "--repair")
        text = dom(repaired)
        check(cell(text, "open_edges", "before") == "16" and cell(text, "open_edges", "after") ==
              "0", "open edges before/after repair: %r %r" %
              (cell(text, "open_edges", "before"), cell(text, "open_edges", "after")))

        # --json writes the same summary the page holds, which agrees with info.
        run_tool("report", "holed.stl", "-o", "holed.json", "--json")
        summary = json.load(open("holed.json"))
        info = json.loads(run_tool("--json", "info", "holed.stl"))
        check(summary["model"] == info["model"], "report --json and info --json differ")
        embedded = re.search(r'<script type="application/json" id="summary-data">(.*?)</script>',
                             open(holed).read(), re.S)
        check(embedded and json.loads(embedded.group(1).replace("<\\/", "</")) == summary,
              "the page's summary is not what --json writes")

        # A path that holds "</script>" stays inside its string, and a model of
        # NaN and huge coordinates still gives a page that draws.
        os.mkdir("odd<")
        write_stl("odd</script>.stl", sphere(hole=True) + [((0, 0, 0), (float("nan"), 0, 1), (0, 1, 0)),
                                                         ((1e38, 0, 0), (-1e38, 1, 0), (0, 0, 3e38))])
        odd = os.path.join(work, "odd.html")
        run_tool("report", "odd</script>.stl", "-o", odd, "--repair")
        text = dom(odd)
        check(body_data(text).get("rendered") == "1", "a hostile model's page drew no frame")
        check(cell(text, "triangles", "before") == "338", "hostile model's triangles %r" %
              cell(text, "triangles", "before"))
        check("odd&lt;/script&gt;.stl" in text, "the odd path is not shown as text")

        # Nothing remote: the policy is there, the page asks the network for
        # nothing, and the same log does show a remote image of a page
        # without the policy.
        page = open(holed).read()
        check("content=\"default-src 'none'" in page, "the page has no strict security policy")
        check(page_requests(holed) == set(), "the page loaded %s" % page_requests(holed))
        control = os.path.join(work, "control.html")
        open(control, "w").write(
            page.replace('http-equiv="Content-Security-Policy"', 'name="no-policy"')
                .replace("<body>", '<body><img src="http://127.0.0.1:9/probe.png">', 1))
        check("http://127.0.0.1:9/probe.png" in page_requests(control),
              "the network log did not show the control page's image: the check is blind")
    finally:
        shutil.rmtree(work, ignore_errors=True)
    print("%d passed, %d failed" % (1 if not failures else 0, 1 if failures else 0))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
