"""Meshes the tests build in numpy (cubes, spheres, broken variants) and the
VEKmesh_64 exports library for agreement tests."""

import ctypes
import os

import numpy as np
import pytest

import vekmesh


def cube_soup(edge=1.0, offset=(0.0, 0.0, 0.0)):
    """12 outward-wound triangles of an axis-aligned cube."""
    v = np.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0],
                  [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]], np.float32) * edge
    v += np.asarray(offset, np.float32)
    f = np.array([[0, 2, 1], [0, 3, 2], [4, 5, 6], [4, 6, 7], [0, 1, 5], [0, 5, 4],
                  [1, 2, 6], [1, 6, 5], [2, 3, 7], [2, 7, 6], [3, 0, 4], [3, 4, 7]])
    return v[f]


def sphere_vertices_faces(stacks, slices, radius=10.0):
    """A closed UV sphere, outward wound: poles plus (stacks - 1) rings."""
    rings = []
    for i in range(1, stacks):
        phi = np.pi * i / stacks
        theta = 2 * np.pi * np.arange(slices) / slices
        rings.append(np.stack([np.sin(phi) * np.cos(theta), np.sin(phi) * np.sin(theta),
                               np.full(slices, np.cos(phi))], axis=1))
    v = np.concatenate([[[0, 0, 1]], *rings, [[0, 0, -1]]]) * radius
    south = len(v) - 1
    faces = []
    for j in range(slices):
        k = (j + 1) % slices
        faces.append([0, 1 + j, 1 + k])
        for i in range(stacks - 2):
            a, b = 1 + i * slices, 1 + (i + 1) * slices
            faces += [[a + j, b + j, b + k], [a + j, b + k, a + k]]
        last = 1 + (stacks - 2) * slices
        faces.append([south, last + k, last + j])
    return v.astype(np.float32), np.array(faces)


def sphere(stacks=16, slices=24, radius=10.0):
    return vekmesh.Mesh.from_vertices_faces(*sphere_vertices_faces(stacks, slices, radius))


def broken_sphere(stacks=16, slices=24, seed=3):
    """A sphere with a hole (two neighbouring faces gone), some faces turned
    over and one face listed twice."""
    v, f = sphere_vertices_faces(stacks, slices)
    rng = np.random.default_rng(seed)
    f = np.delete(f, [39, 40], axis=0)  # the two halves of one quad
    turned = rng.choice(len(f), 5, replace=False)
    f[turned] = f[turned][:, ::-1]
    f = np.concatenate([f, f[:1]])
    return vekmesh.Mesh.from_vertices_faces(v, f)


def triangle_set(mesh):
    """The triangles as a set of corner tuples, each rotated to start at its
    least corner (so that the same triangle written from another corner
    compares equal)."""
    out = set()
    for t in mesh.triangles.reshape(-1, 3, 3):
        corners = [tuple(map(float, c)) for c in t]
        start = corners.index(min(corners))
        out.add(tuple(corners[start:] + corners[:start]))
    return out


@pytest.fixture(scope="session")
def exports_library():
    """VEKmesh_64, the 46-export library, when the test run names it."""
    path = os.environ.get("VEKMESH_EXPORTS_LIBRARY")
    if not path:
        pytest.skip("VEKMESH_EXPORTS_LIBRARY not set")
    return ctypes.CDLL(path)
