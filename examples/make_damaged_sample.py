#!/usr/bin/env python3
"""Writes examples/data/damaged_figure.stl: a small snowman-like figure (two
overlapping spheres on a square plinth) with typical upload damage: holes,
flipped facets, a duplicated facet, a collapsed facet, and poles whose fan
corners differ only in the sign of zero or by 1e-15 (so they do not weld
exactly and leave open edges until snapping). Deterministic."""
import math
import struct
import sys


def sphere(cx, cy, cz, r, rings, segments):
    tris = []
    def p(i, j):
        th = math.pi * i / rings
        ph = 2 * math.pi * j / segments
        return (cx + r * math.sin(th) * math.cos(ph), cy + r * math.sin(th) * math.sin(ph),
                cz + r * math.cos(th))
    for i in range(rings):
        for j in range(segments):
            a, b, c, d = p(i, j), p(i + 1, j), p(i + 1, j + 1), p(i, j + 1)
            if i > 0:
                tris.append((a, b, d))
            if i < rings - 1:
                tris.append((b, c, d))
    return tris


def box(x0, y0, z0, x1, y1, z1):
    v = [(x0, y0, z0), (x1, y0, z0), (x1, y1, z0), (x0, y1, z0),
         (x0, y0, z1), (x1, y0, z1), (x1, y1, z1), (x0, y1, z1)]
    quads = [(0, 3, 2, 1), (4, 5, 6, 7), (0, 1, 5, 4), (1, 2, 6, 5), (2, 3, 7, 6), (3, 0, 4, 7)]
    tris = []
    for a, b, c, d in quads:
        tris.append((v[a], v[b], v[c]))
        tris.append((v[a], v[c], v[d]))
    return tris


def main(path):
    body = sphere(0, 0, 18, 10, 16, 24)
    head = sphere(0, 0, 32, 6.5, 12, 18)
    plinth = box(-12, -12, 0, 12, 12, 8.5)
    # Holes: drop two facets of the body and one of the head.
    del body[100]
    del body[101]
    del head[40]
    # Flipped facets.
    for i in (10, 55, 200):
        a, b, c = body[i]
        body[i] = (b, a, c)
    tris = body + head + plinth
    tris.append(tris[5])                    # duplicated facet
    a, b, c = tris[7]
    tris.append((a, a, c))                  # collapsed facet
    with open(path, "wb") as f:
        f.write(b"VEKMesh sample: damaged figure".ljust(80, b" "))
        f.write(struct.pack("<I", len(tris)))
        for t in tris:
            f.write(struct.pack("<3f", 0.0, 0.0, 0.0))
            for p in t:
                f.write(struct.pack("<3f", *p))
            f.write(b"\0\0")


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "examples/data/damaged_figure.stl")
