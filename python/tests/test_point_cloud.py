"""Camera records and point clouds from Python: numpy depth and colour in, points worked out by hand, the
colour order, and the records through JSON."""

import math

import numpy as np


def test_depth_to_point_cloud_takes_numpy_and_gives_hand_worked_points(any_vela):
    vela = any_vela
    camera = vela.CameraParameters()
    camera.fx, camera.fy, camera.cx, camera.cy = 2.0, 4.0, 1.5, 1.0
    camera.image_size = vela.Resolution(4, 3)
    depth = np.full((3, 4), 1000.0, np.float32)
    depth[0, 0] = np.nan
    depth[0, 1] = 0.0
    colour = np.zeros((3, 4, 3), np.uint8)
    colour[2, 3] = (30, 20, 10)  # blue, green, red
    parameters = vela.DepthToPointCloudParameters(cloud_unit=vela.UNIT.METER)
    status, cloud = vela.depthToPointCloud(depth, camera, colour=colour, parameters=parameters)
    assert status == vela.ERROR_CODE.SUCCESS
    points = cloud.numpy()
    assert points.shape == (3, 4, 4)
    # (u, v) = (3, 2), z = 1 m: x = (3 - 1.5) / 2, y = (2 - 1) / 4.
    assert points[2, 3, :3].tolist() == [0.75, 0.25, 1.0]
    assert vela.unpackColor(float(points[2, 3, 3])) == (10, 20, 30, 255)
    assert all(math.isnan(v) for v in points[0, 0, :3]) and all(math.isnan(v) for v in points[0, 1, :3])

    motion = vela.Transform()
    motion.setTranslation(vela.Translation(1, 2, 3))
    assert vela.transformPointCloud(cloud, motion) == vela.ERROR_CODE.SUCCESS
    assert cloud.numpy()[2, 3, :3].tolist() == [1.75, 2.25, 4.0]
    colour_bits = cloud.numpy()[..., 3].copy().view(np.uint32)
    assert vela.convertPointCloudUnit(cloud, vela.UNIT.METER, vela.UNIT.MILLIMETER) == vela.ERROR_CODE.SUCCESS
    assert cloud.numpy()[2, 3, :3].tolist() == [1750.0, 2250.0, 4000.0]
    assert (cloud.numpy()[..., 3].view(np.uint32) == colour_bits).all()


def test_camera_records_round_trip_through_json(any_vela, tmp_path):
    vela = any_vela
    calibration = vela.CalibrationParameters()
    calibration.left_cam.fx = 700.5
    calibration.left_cam.image_size = vela.Resolution(1280, 720)
    calibration.left_cam.disto = [0.25, -0.125]
    translation = vela.Translation(120.0, 0.0, 0.0)
    transform = vela.Transform()
    transform.setTranslation(translation)
    calibration.stereo_transform = transform
    path = tmp_path / "calibration.json"
    assert calibration.save(path)
    loaded = vela.CalibrationParameters()
    assert loaded.load(path)
    assert loaded.left_cam.disto[:3] == [0.25, -0.125, 0.0]
    assert loaded.getCameraBaseline() == 120.0
    assert loaded.left_cam.fx == 700.5
    assert not loaded.decode('{"CalibrationParameters": {"stereo_transform": [1]}}')
    assert loaded.left_cam.fx == 700.5
