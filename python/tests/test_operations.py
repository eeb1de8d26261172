"""The operations: census counts on known flaws, the thorough and described
repairs (the latter against the VEKmesh_64 exports on the same input), and
the thin operations over the core."""

import ctypes

import numpy as np
import pytest

import vekmesh
from conftest import broken_sphere, cube_soup, sphere, triangle_set


class TestCensus:
    def test_closed_sphere_is_printable(self):
        c = vekmesh.census(sphere())
        assert (c.triangles, c.shells, c.solids, c.open_edges) == (16 * 24 * 2 - 48, 1, 1, 0)
        assert c.watertight and c.printable and c.verdict == "printable" and c.reasons == []
        assert c.host_flawed == (False, False, False) and c.host_counters == (0, 0, 0, 0)
        assert c.volume == pytest.approx(sphere().volume, rel=1e-6)

    def test_flaws_are_counted_and_named(self):
        c = vekmesh.census(broken_sphere())
        # The hole left by two faces sharing an edge has a rim of 4 edges.
        assert c.open_edges == 4
        assert c.misoriented_edges > 0 and c.duplicate_faces == 1
        assert not c.printable
        assert "4 open edges" in c.reasons and "1 duplicate face" in c.reasons
        assert str(c).startswith("not printable: 4 open edges")

    def test_shells_by_kind(self):
        inside_out = cube_soup(1.0, offset=(5, 0, 0))[:, ::-1]
        cavity = cube_soup(1.0, offset=(1, 1, 1))[:, ::-1]
        mesh = vekmesh.Mesh(np.concatenate([cube_soup(3.0), cavity, inside_out]))
        c = vekmesh.census(mesh)
        assert (c.shells, c.closed_shells, c.solids, c.cavities, c.inside_out_shells) == \
            (3, 3, 1, 1, 1)
        assert c.reasons == ["1 inside-out shell"]

    def test_intersecting_shells_only_when_searched(self):
        mesh = vekmesh.Mesh(np.concatenate([cube_soup(), cube_soup(offset=(0.5, 0.5, 0.5))]))
        assert vekmesh.census(mesh).intersecting_pairs == 1
        assert not vekmesh.census(mesh).printable
        assert vekmesh.census(mesh, find_intersections=False).intersecting_pairs == -1


class TestRepair:
    def test_thorough_repair_closes_and_orients_a_broken_sphere(self):
        repaired = vekmesh.repair(broken_sphere())
        c = vekmesh.census(repaired)
        assert c.watertight and c.printable, c.verdict
        assert repaired.volume == pytest.approx(sphere().volume, rel=0.02)

    def test_never_worse_keeps_the_input_when_nothing_can_improve(self):
        mesh = sphere()
        assert triangle_set(vekmesh.repair(mesh)) == triangle_set(mesh)

    def test_described_repair_agrees_with_the_exports(self, exports_library):
        mesh = broken_sphere()
        f = exports_library.modelRepairFromColorData
        P = ctypes.POINTER
        f.argtypes = [ctypes.c_void_p] * 4 + [ctypes.c_uint32, P(P(ctypes.c_float)),
                                              P(P(ctypes.c_float)), P(P(ctypes.c_float)),
                                              P(P(ctypes.c_int32)), P(ctypes.c_uint32),
                                              ctypes.c_void_p]
        f.restype = None
        out = [P(ctypes.c_float)() for _ in range(3)] + [P(ctypes.c_int32)()]
        count = ctypes.c_uint32()
        f(mesh.triangles.ctypes.data, None, None, None, len(mesh), *map(ctypes.byref, out),
          ctypes.byref(count), None)
        exported = np.ctypeslib.as_array(out[0], (count.value, 3, 3)).copy()
        exports_library.freeAllArray()
        ours = vekmesh.repair(mesh, described=True)
        assert count.value > 0 and np.array_equal(ours.triangles, exported)
        assert vekmesh.census(ours).open_edges == 0


class TestOperations:
    def test_reduce_keeps_about_the_ratio(self):
        mesh = sphere(40, 60)
        reduced = vekmesh.reduce(mesh, ratio=0.25, max_error=1.0, min_cosine=0.5)
        assert 0.2 * len(mesh) <= len(reduced) <= 0.3 * len(mesh)
        assert vekmesh.census(reduced).watertight
        with pytest.raises(ValueError, match="ratio"):
            vekmesh.reduce(mesh, ratio=2.0)

    def test_subdivide_quadruples_per_level(self):
        cube = vekmesh.Mesh(cube_soup())
        assert len(vekmesh.subdivide(cube, level=2)) == 12 * 16
        with pytest.raises(ValueError, match="level"):
            vekmesh.subdivide(cube, level=0)

    def test_orient_turns_onto_the_plate(self):
        # A tall box lying on its side stands up or stays; the plate is z = 0.
        mesh = vekmesh.Mesh(cube_soup() * np.float32([1, 1, 4]) + np.float32([3, 3, 3]))
        result = vekmesh.orient(mesh, mode=0)
        assert len(result.angles) == 3 and all(0 <= a < 360 for a in result.angles)
        assert len(result.mesh) == 12
        assert result.mesh.bounds[0][2] == pytest.approx(0.0, abs=1e-5)
        assert result.mesh.volume == pytest.approx(4.0, rel=1e-5)

    def test_separate_gives_one_mesh_per_part(self):
        mesh = vekmesh.Mesh(np.concatenate([cube_soup(), cube_soup(offset=(3, 0, 0)),
                                            cube_soup(offset=(0.5, 0.5, 0.5))]))
        parts = vekmesh.separate(mesh)
        # The two cubes passing through one another stay together.
        assert sorted(len(p) for p in parts) == [12, 24]

    def test_remesh_all_or_a_selection(self):
        mesh = sphere(20, 30)
        whole = vekmesh.remesh(mesh)
        assert vekmesh.census(whole).watertight
        part = vekmesh.remesh(mesh, faces=[100, 101, 102])
        # Faces outside the selection stay as they were.
        kept = triangle_set(mesh) & triangle_set(part)
        assert len(kept) >= len(mesh) - 3 - 12
        with pytest.raises(TypeError):
            vekmesh.remesh(mesh, faces=[0.5])


class TestDesign:
    def test_voxelize_gives_a_closed_blocky_model(self):
        mesh = sphere(30, 40, radius=20)
        voxels = vekmesh.voxelize(mesh, voxel_size=2.0)
        assert vekmesh.census(voxels).watertight
        # Voxels whose centres lie inside: a little less than the model.
        assert 0.6 * mesh.volume < voxels.volume < 1.05 * mesh.volume
        for size in (-1.0, 0.0, 1e-6):
            with pytest.raises(ValueError, match="voxel"):
                vekmesh.voxelize(mesh, voxel_size=size)

    def test_hollow_adds_an_inner_wall(self):
        mesh = sphere(30, 40, radius=20)
        hollowed = vekmesh.hollow(mesh, wall=2.0)
        c = vekmesh.census(hollowed)
        assert (c.shells, c.solids, c.cavities) == (2, 1, 1) and c.printable
        assert 0.1 * mesh.volume < hollowed.volume < 0.5 * mesh.volume
        with pytest.raises(ValueError, match="hollow"):
            vekmesh.hollow(vekmesh.Mesh(cube_soup()), wall=2.0)

    def test_lampshade_and_its_preview(self):
        tall = vekmesh.Mesh(cube_soup(1.0) * np.float32([30, 30, 40]))
        preview = vekmesh.lampshade_preview(tall, wall=2.0)
        assert preview.fits and preview.base and preview.inner
        heights = np.concatenate([p[:, 2] for p in preview.base + preview.inner])
        assert np.ptp(heights) == 0.0
        assert len(vekmesh.lampshade(tall, wall=2.0)) > 0
        low = vekmesh.Mesh(cube_soup(5.0))
        assert not vekmesh.lampshade_preview(low).fits
        with pytest.raises(ValueError, match="shade"):
            vekmesh.lampshade(low)


def test_weak_sections_include_the_neck():
    # Two blocks joined by a thin bar along x: sections across the bar are
    # among the weak ones, drawn in the model's own coordinates.
    bar = cube_soup(1.0) * np.float32([2, 1, 1]) + np.float32([4, 1.5, 1.5])
    dumbbell = vekmesh.Mesh(np.concatenate([cube_soup(4.0), cube_soup(4.0, offset=(6, 0, 0)),
                                            bar]))
    sections = vekmesh.weak_sections(dumbbell)
    scores = [s.score for s in sections]
    assert scores and scores == sorted(scores, reverse=True)
    necks = [s for s in sections if s.direction == (1.0, 0.0, 0.0)
             and all(4.0 < g[0][:, 0].min() and g[0][:, 0].max() < 6.0 for g in s.groups)]
    assert necks
    for s in necks:
        outer = s.groups[0][0]
        assert np.ptp(outer[:, 0]) == 0.0
        assert outer[:, 1].min() == pytest.approx(1.5) and outer[:, 1].max() == pytest.approx(2.5)
