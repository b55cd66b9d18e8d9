"""A small typed program that mypy --strict checks against the package's stubs."""

from typing import Tuple

import numpy as np

import vela


def to_metres(cloud: vela.Mat) -> vela.ERROR_CODE:
    return vela.convertUnit(cloud, vela.UNIT.MILLIMETER, vela.UNIT.METER, vela.MEM.CPU)


def read(path: str) -> Tuple[vela.ERROR_CODE, vela.Mat]:
    return vela.readPointCloud(path)


cloud = vela.Mat(4, 3, vela.MAT_TYPE.F32_C4)
status = to_metres(cloud)
if status != vela.ERROR_CODE.SUCCESS:
    print(status.verbose)
ok: bool = status.ok
options = vela.PointCloudWriteOptions()
options.withColor = True
options.encoding = vela.FILE_ENCODING.ASCII
written: vela.ERROR_CODE = vela.writePointCloud(cloud, "cloud.ply", vela.POINT_CLOUD_FORMAT.PLY, options)
saved: bool = vela.savePointCloudAs(cloud, vela.POINT_CLOUD_FORMAT.PLY, "cloud")
mean = float(np.mean(np.asarray(cloud)))
version: str = vela.__version__
width: int = cloud.getWidth()
