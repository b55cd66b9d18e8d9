#!/usr/bin/env python3
"""The demo's walk-through from Python: a synthetic depth scene becomes a coloured point cloud in metres
(depthToPointCloud) and Z-up axes, written in every point-cloud and depth format, then a camera pose and a communication record.

    PYTHONPATH=build/release/python python3 examples/demo.py [output folder]
"""

import argparse
import os

import numpy as np

import vela

WIDTH, HEIGHT = 1280, 720
FX = FY = 900.0
CX, CY = 640.0, 360.0


def render_scene():
    """Depth (mm, camera axes: x right, y down, z forward) and a colour per pixel of a floor 1.2 m below the
    camera, a wall 5 m ahead, a sphere and a box."""
    v, u = np.mgrid[0:HEIGHT, 0:WIDTH].astype(np.float64)
    dx, dy = (u - CX) / FX, (v - CY) / FY  # ray direction (dx, dy, 1): its parameter is the depth
    depth = np.full((HEIGHT, WIDTH), 5000.0)  # back wall
    colour = np.zeros((HEIGHT, WIDTH, 4), np.uint8)
    colour[...] = (180, 180, 200, 255)

    with np.errstate(divide="ignore", invalid="ignore"):
        floor = np.where(dy > 0, 1200.0 / dy, np.inf)
    hit = floor < depth
    depth[hit], colour[hit] = floor[hit], (90, 120, 60, 255)

    centre, radius = np.array([-600.0, 600.0, 3000.0]), 500.0  # sphere resting on the floor
    a = dx * dx + dy * dy + 1.0
    b = -2.0 * (dx * centre[0] + dy * centre[1] + centre[2])
    c = centre @ centre - radius * radius
    disc = b * b - 4 * a * c
    sphere = np.where(disc >= 0, (-b - np.sqrt(np.maximum(disc, 0))) / (2 * a), np.inf)
    hit = sphere < depth
    depth[hit], colour[hit] = sphere[hit], (200, 60, 50, 255)

    low, high = np.array([300.0, 400.0, 2500.0]), np.array([1000.0, 1200.0, 3200.0])  # box on the floor
    with np.errstate(divide="ignore", invalid="ignore"):
        near = np.zeros_like(depth)
        far = np.full_like(depth, np.inf)
        for axis, d in ((0, dx), (1, dy), (2, np.ones_like(dx))):
            t1, t2 = low[axis] / d, high[axis] / d
            near = np.maximum(near, np.nan_to_num(np.minimum(t1, t2), nan=-np.inf))
            far = np.minimum(far, np.nan_to_num(np.maximum(t1, t2), nan=np.inf))
    box = np.where(near <= far, near, np.inf)
    hit = box < depth
    depth[hit], colour[hit] = box[hit], (60, 90, 200, 255)
    return depth.astype(np.float32), colour


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--out", default="./vela-demo-out", help="output folder (default %(default)s)")
    out = parser.parse_args().out
    os.makedirs(out, exist_ok=True)
    path = lambda name: os.path.join(out, name)  # noqa: E731

    # (1) The scene, as Mats: the arrays are wrapped, not copied.
    depth_mm, colour = render_scene()
    depth = vela.Mat.from_numpy(depth_mm)
    image = vela.Mat.from_numpy(colour)
    depth.name, image.name = "depth", "colour"
    print(depth.getInfos(), image.getInfos(), sep="", end="")

    # (2) Back-projection to an F32_C4 cloud whose fourth float packs the colour (red first), in metres.
    camera = vela.CameraParameters()
    camera.fx, camera.fy, camera.cx, camera.cy = FX, FY, CX, CY
    camera.image_size = vela.Resolution(WIDTH, HEIGHT)
    camera.updateFieldsOfView()
    print("camera:", camera)
    # The rendered colour is red first; cameras and OpenCV deliver blue first, which depthToPointCloud reads.
    bgra = np.ascontiguousarray(colour[..., [2, 1, 0, 3]])
    parameters = vela.DepthToPointCloudParameters(cloud_unit=vela.UNIT.METER)
    status, cloud = vela.depthToPointCloud(depth_mm, camera, colour=bgra, parameters=parameters)
    print("depthToPointCloud", status)

    # (3) Z-up axes, on the GPU when there is one.
    mem = vela.MEM.CPU
    if cloud.updateGPUfromCPU() == vela.ERROR_CODE.SUCCESS and cloud.getPtr(vela.MEM.GPU):
        mem = vela.MEM_BOTH
    print("conversions on", "the GPU" if mem == vela.MEM_BOTH else "the host")
    print("  ", vela.convertCoordinateSystem(cloud, vela.COORDINATE_SYSTEM.IMAGE,
                                             vela.COORDINATE_SYSTEM.RIGHT_HANDED_Z_UP, mem))

    # (4) Files.
    for fmt, ext in ((vela.POINT_CLOUD_FORMAT.PLY, "ply"), (vela.POINT_CLOUD_FORMAT.PCD, "pcd"),
                     (vela.POINT_CLOUD_FORMAT.VTK, "vtk"), (vela.POINT_CLOUD_FORMAT.XYZ, "xyz")):
        print(f"cloud.{ext}", vela.savePointCloudAs(cloud, fmt, path("cloud"), withColor=True))
    for fmt, ext in ((vela.DEPTH_FORMAT.PNG, "png"), (vela.DEPTH_FORMAT.PFM, "pfm"), (vela.DEPTH_FORMAT.PGM, "pgm")):
        print(f"depth.{ext}", vela.saveDepthAs(depth, fmt, path("depth")))
    lossless = vela.PointCloudWriteOptions(vela.FILE_ENCODING.BINARY, withColor=True)
    for fmt, ext in ((vela.POINT_CLOUD_FORMAT.PLY, "ply"), (vela.POINT_CLOUD_FORMAT.PCD, "pcd")):
        print(f"cloud_lossless.{ext}", vela.writePointCloud(cloud, path(f"cloud_lossless.{ext}"), fmt, lossless))
    print("depth_lossless.pfm", vela.writeDepth(depth, path("depth_lossless.pfm"), vela.DEPTH_FORMAT.PFM))
    read_back = vela.Mat()
    print("readPointCloud", vela.readPointCloud(path("cloud_lossless.ply"), read_back), read_back.getWidth(), "points")
    near, far = depth_mm.min(), depth_mm.max()
    shade = ((far - depth_mm) / (far - near) * 255).astype(np.uint8)
    preview = np.stack([shade, 255 - np.abs(shade.astype(np.int16) * 2 - 255).astype(np.uint8), 255 - shade,
                        np.full_like(shade, 255)], axis=-1)
    print("depth_preview.png", vela.Mat.from_numpy(preview).write(path("depth_preview.png")))

    # (5) A camera pose: 1.5 m up, turned 30 degrees left and tilted down 10, in image axes and millimetres.
    rotation = vela.Rotation()
    rotation.setEulerAngles((-10.0, -30.0, 0.0), False)
    pose = vela.Transform(rotation, vela.Translation(0, -1500, 0))
    print(vela.convertCoordinateSystem(pose, vela.COORDINATE_SYSTEM.IMAGE, vela.COORDINATE_SYSTEM.RIGHT_HANDED_Z_UP))
    print(vela.convertUnit(pose, vela.UNIT.MILLIMETER, vela.UNIT.METER))
    print("pose (Z-up, metres): euler", np.round(pose.getEulerAngles(False), 3), "translation", tuple(pose.getTranslation()))
    print(vela.removeYaw(pose, vela.COORDINATE_SYSTEM.RIGHT_HANDED_Z_UP))
    print("without yaw: euler", np.round(pose.getEulerAngles(False), 3))

    # (6) A communication record through a JSON file.
    params = vela.CommunicationParameters()
    params.setForLocalNetwork("192.168.1.20", 30000)
    params.save(path("communication.json"), vela.SERIALIZATION_FORMAT.JSON)
    loaded = vela.CommunicationParameters()
    ok = loaded.load(path("communication.json"), vela.SERIALIZATION_FORMAT.JSON)
    print("communication.json", ok, loaded == params, vela.toString(loaded.communication_type),
          f"{loaded.ip_add}:{loaded.ip_port}")
    print("written to", os.path.abspath(out))


if __name__ == "__main__":
    main()
