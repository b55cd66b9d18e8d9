"""Python results against the C++ interface: the same cloud and pose, made by a small C++ program."""

import os
import subprocess

import numpy as np
import pytest


@pytest.fixture(scope="module")
def reference(tmp_path_factory):
    folder = tmp_path_factory.mktemp("cpp")
    program = os.environ.get("VELA_PYTHON_REFERENCE")
    if not program:
        pytest.skip("VELA_PYTHON_REFERENCE names the C++ reference program; ctest sets it")
    result = subprocess.run([program, str(folder)], capture_output=True, text=True, check=True)
    return folder, result.stdout.splitlines()


def reference_cloud(vela):
    """The C++ program's cloud, built from numpy: exact coordinates, a NaN point, packed colours."""
    y, x = np.mgrid[0:3, 0:4].astype(np.uint32)
    rgba = 0xFF000000 | (40 * y) << 16 | (60 * x) << 8 | (10 + x + y)
    points = np.empty((3, 4, 4), np.float32)
    points[..., 0] = 0.25 * x.astype(np.float32) - 0.5
    points[1, 1, 0] = np.nan
    points[..., 1] = 1.5 - 0.75 * y.astype(np.float32)
    points[..., 2] = 2.0 + (x * y).astype(np.float32)
    points[..., 3] = rgba.astype(np.uint32).view(np.float32)
    return vela.Mat.from_numpy(points), points


def test_point_cloud_written_from_python_is_the_cpp_file(vela, reference, tmp_path):
    folder, _ = reference
    cloud, _ = reference_cloud(vela)
    formats = vela.POINT_CLOUD_FORMAT
    assert vela.savePointCloudAs(cloud, formats.PLY, tmp_path / "cloud", True)
    assert vela.savePointCloudAs(cloud, formats.PCD, str(tmp_path / "cloud"), withColor=True)
    assert vela.savePointCloudAs(cloud, formats.XYZ, str(tmp_path / "cloud"))
    assert cloud.write(str(tmp_path / "cloud.vtk")) == vela.ERROR_CODE.SUCCESS
    for extension in ("ply", "pcd", "xyz", "vtk"):
        assert (tmp_path / f"cloud.{extension}").read_bytes() == (folder / f"cloud.{extension}").read_bytes()
    # The invalid point is left out: 11 of the 12 points reach the file.
    lines = (tmp_path / "cloud.xyz").read_text().splitlines()
    assert lines[1] == "# Number of points 11" and len([line for line in lines if not line.startswith("#")]) == 11


def test_cloud_conversion_from_python_gives_the_cpp_bytes(vela, reference):
    folder, _ = reference
    cloud, points = reference_cloud(vela)
    assert vela.convertUnit(cloud, vela.UNIT.MILLIMETER, vela.UNIT.METER, vela.MEM.CPU) == vela.ERROR_CODE.SUCCESS
    system = vela.COORDINATE_SYSTEM
    assert vela.convertCoordinateSystem(cloud, system.IMAGE, system.RIGHT_HANDED_Z_UP, vela.MEM.CPU) == \
        vela.ERROR_CODE.SUCCESS
    assert points.tobytes() == (folder / "converted_cloud.bin").read_bytes()  # converted in place


def test_pose_conversion_from_python_matches_cpp_bit_for_bit(vela, reference):
    _, lines = reference
    assert len(lines) == 6
    for system, line in enumerate(lines):
        pose = vela.Transform(vela.Rotation(0.3, vela.Translation(1, 2, 3)), (10, -20, 30))
        assert vela.convertCoordinateSystem(pose, vela.COORDINATE_SYSTEM.IMAGE, vela.COORDINATE_SYSTEM(system)) == \
            vela.ERROR_CODE.SUCCESS
        assert vela.convertUnit(pose, vela.UNIT.MILLIMETER, vela.UNIT.METER) == vela.ERROR_CODE.SUCCESS
        expected = np.array([float.fromhex(word) for word in line.split()], np.float32)
        assert pose.elements.tobytes() == expected.tobytes(), vela.COORDINATE_SYSTEM(system)


def test_lossless_cloud_round_trips_from_python(vela, tmp_path):
    cloud, points = reference_cloud(vela)
    options = vela.PointCloudWriteOptions(withColor=True)
    path = str(tmp_path / "cloud.ply")
    assert vela.writePointCloud(cloud, path, vela.POINT_CLOUD_FORMAT.PLY, options) == vela.ERROR_CODE.SUCCESS
    back = vela.Mat()
    assert vela.readPointCloud(path, back) == vela.ERROR_CODE.SUCCESS
    # The valid points in row order, colour bytes red, green, blue and a zero fourth byte.
    valid = points[np.isfinite(points[..., :3]).all(axis=2)]
    read = back.numpy().reshape(-1, 4)
    assert read.shape == valid.shape
    np.testing.assert_array_equal(read[:, :3], valid[:, :3])
    np.testing.assert_array_equal(read[:, 3].view(np.uint32), valid[:, 3].view(np.uint32) & 0x00FFFFFF)
