"""The Mesh type: validation of what it is given, the (vertices, faces)
conversion, measures, and model files written and read back."""

import os
import subprocess
import sys

import numpy as np
import pytest

import vekmesh
from conftest import cube_soup, sphere, triangle_set


class TestValidation:
    @pytest.mark.parametrize("triangles", [np.zeros((4, 3)), np.zeros((4, 3, 2)),
                                           np.zeros((4, 9)), np.zeros(9)])
    def test_wrong_shapes_raise_value_error(self, triangles):
        with pytest.raises(ValueError, match="shape"):
            vekmesh.Mesh(triangles.astype(np.float32))

    @pytest.mark.parametrize("triangles", [np.zeros((2, 3, 3), np.int32),
                                           np.zeros((2, 3, 3), complex),
                                           np.zeros((2, 3, 3), bool),
                                           np.array([["a"] * 3] * 3 * 2).reshape(2, 3, 3)])
    def test_wrong_dtypes_raise_type_error(self, triangles):
        with pytest.raises(TypeError):
            vekmesh.Mesh(triangles)

    def test_ragged_and_foreign_values_raise_type_error(self):
        with pytest.raises(TypeError):
            vekmesh.Mesh([[[0, 0, 0], [1, 0]], [[0, 0, 0]]])
        with pytest.raises(TypeError):
            vekmesh.repair(cube_soup())
        with pytest.raises(TypeError):
            vekmesh.load(12)
        with pytest.raises(TypeError):
            vekmesh.repair(vekmesh.Mesh(cube_soup()), progress="yes")

    def test_attribute_arrays_must_match_the_triangles(self):
        t = cube_soup()
        with pytest.raises(ValueError):
            vekmesh.Mesh(t, colors=np.ones((11, 3, 3), np.float32))
        with pytest.raises(ValueError):
            vekmesh.Mesh(t, uvs=np.ones((12, 3, 3), np.float32))
        with pytest.raises(TypeError):
            vekmesh.Mesh(t, materials=np.zeros(12, np.float32))
        with pytest.raises(ValueError, match="uvs"):
            vekmesh.Mesh(t, materials=np.zeros(12, np.int32))
        with pytest.raises(ValueError, match="32767"):
            vekmesh.Mesh(t, uvs=np.zeros((12, 3, 2)), materials=np.full(12, 40000))

    def test_bad_face_indices_raise_value_error(self):
        v = np.zeros((3, 3), np.float32)
        for faces in ([[0, 1, 3]], [[-1, 0, 1]]):
            with pytest.raises(ValueError):
                vekmesh.Mesh.from_vertices_faces(v, faces)

    def test_non_finite_and_empty_input_is_data_not_a_crash(self):
        t = cube_soup()
        t[0, 0, 0] = np.nan
        t[1, 1, 1] = np.inf
        assert not vekmesh.census(vekmesh.Mesh(t)).printable
        vekmesh.repair(vekmesh.Mesh(t))
        empty = vekmesh.Mesh(np.zeros((0, 3, 3), np.float32))
        c = vekmesh.census(empty)
        assert (c.triangles, c.printable, c.verdict) == (0, False, "not printable: no faces")
        assert len(vekmesh.repair(empty)) == 0


class TestMesh:
    def test_arrays_are_copied_and_read_only(self):
        t = cube_soup()
        mesh = vekmesh.Mesh(t)
        t[:] = 0
        assert mesh.volume == pytest.approx(1.0)
        with pytest.raises(ValueError):
            mesh.triangles[0, 0, 0] = 5

    def test_vertices_faces_round_trip_welds_shared_corners(self):
        mesh = vekmesh.Mesh(cube_soup(2.0))
        v, f = mesh.to_vertices_faces()
        assert v.shape == (8, 3) and f.shape == (12, 3) and f.dtype == np.int32
        assert np.array_equal(vekmesh.Mesh.from_vertices_faces(v, f).triangles, mesh.triangles)

    def test_measures(self):
        mesh = vekmesh.Mesh(cube_soup(2.0, offset=(1, -1, 3)))
        assert mesh.volume == pytest.approx(8.0)
        assert mesh.area == pytest.approx(24.0)
        assert np.array_equal(mesh.bounds, [[1, -1, 3], [3, 1, 5]])
        assert mesh.is_watertight
        assert not vekmesh.Mesh(cube_soup()[1:]).is_watertight
        inside_out = vekmesh.Mesh(cube_soup()[:, ::-1])
        assert inside_out.volume == pytest.approx(-1.0)

    def test_colours_texture_and_materials_pass_through_the_library(self):
        t = cube_soup()
        rng = np.random.default_rng(1)
        colors = (rng.integers(0, 256, (12, 3, 3)) / 255).astype(np.float32)
        uvs = rng.random((12, 3, 2)).astype(np.float32)
        materials = np.array([0, 1] * 6, np.int32)
        mesh = vekmesh.Mesh(t, colors=colors, uvs=uvs, materials=materials)
        back = vekmesh.repair(mesh)  # a closed cube: the faces stay, perhaps reordered
        where = {t[i].tobytes(): i for i in range(12)}
        order = [where[x.tobytes()] for x in back.triangles]
        assert sorted(order) == list(range(12))
        assert np.allclose(back.colors, colors[order], atol=1e-6)
        assert np.array_equal(back.uvs, uvs[order])
        assert np.array_equal(back.materials, materials[order])

class TestFiles:
    @pytest.mark.parametrize("extension", ["stl", "STL", "obj", "ply", "3mf"])
    def test_round_trip_keeps_the_triangles(self, tmp_path, extension):
        mesh = sphere(6, 8)
        path = tmp_path / ("model." + extension)
        vekmesh.save(mesh, path)
        assert triangle_set(vekmesh.load(path)) == triangle_set(mesh)

    def test_gltf_and_glb_are_written(self, tmp_path):
        mesh = vekmesh.Mesh(cube_soup())
        vekmesh.export_gltf(mesh, tmp_path / "cube.glb")
        vekmesh.export_gltf(mesh, str(tmp_path / "cube.gltf"))
        assert (tmp_path / "cube.glb").read_bytes()[:4] == b"glTF"
        assert (tmp_path / "cube.bin").stat().st_size > 0
        with pytest.raises(ValueError):
            vekmesh.export_gltf(mesh, tmp_path / "cube.stl")

    def test_file_errors_say_what_and_where(self, tmp_path):
        with pytest.raises(vekmesh.FileError, match="no such file"):
            vekmesh.load(tmp_path / "missing.stl")
        (tmp_path / "model.xyz").write_text("1 2 3")
        with pytest.raises(vekmesh.FileError, match="unknown file type"):
            vekmesh.load(tmp_path / "model.xyz")
        with pytest.raises(vekmesh.FileError):
            vekmesh.save(vekmesh.Mesh(cube_soup()), tmp_path / "model.xyz")
        with pytest.raises(OSError):
            vekmesh.save(vekmesh.Mesh(cube_soup()), tmp_path / "no" / "such" / "dir.stl")
        assert not (tmp_path / "no").exists()
        (tmp_path / "empty.stl").write_bytes(b"")
        with pytest.raises(ValueError, match="no triangles"):
            vekmesh.load(tmp_path / "empty.stl")


def test_a_missing_library_is_reported_clearly(tmp_path):
    env = dict(os.environ, VEKMESH_LIBRARY=str(tmp_path / "libvekmesh.so"))
    result = subprocess.run([sys.executable, "-c", "import vekmesh"], env=env,
                            capture_output=True, text=True)
    assert result.returncode != 0
    assert "LibraryNotFound" in result.stderr and "VEKMESH_LIBRARY" in result.stderr
