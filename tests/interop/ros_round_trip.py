#!/usr/bin/python3
"""ROS's own Python message code on a cloud vela filled: deserialise it, read every point with
point_cloud2.read_points and compare with what the Mat holds; then fill a cloud of the same points with
point_cloud2.create_cloud, colour first and an extra field behind, and serialise it for vela to read back.

    ros_round_trip.py VELA_MSG EXPECTED_TXT OUT_MSG
"""

import io
import math
import struct
import sys

from sensor_msgs import point_cloud2
from sensor_msgs.msg import PointCloud2, PointField
from std_msgs.msg import Header


def float32_bits(value):
    return struct.unpack("<I", struct.pack("<f", value))[0]


def main():
    vela_msg, expected_txt, out_msg = sys.argv[1:4]
    cloud = PointCloud2()
    with open(vela_msg, "rb") as f:
        cloud.deserialize(f.read())
    points = list(point_cloud2.read_points(cloud, field_names=("x", "y", "z", "rgb")))
    with open(expected_txt) as f:
        expected = [line.split() for line in f]
    assert len(points) == len(expected) == cloud.width * cloud.height, (len(points), len(expected))
    for i, (point, want) in enumerate(zip(points, expected)):
        for got, text in zip(point[:3], want[:3]):
            value = float(text)
            if math.isnan(value):
                assert math.isnan(got), (i, point, want)
            else:
                assert float32_bits(got) == float32_bits(value), (i, point, want)
        rgb = float32_bits(point[3])  # 0x00RRGGBB as ROS tools unpack it
        assert ((rgb >> 16) & 255, (rgb >> 8) & 255, rgb & 255) == tuple(int(v) for v in want[3:6]), (i, rgb, want)

    fields = [PointField("rgb", 0, PointField.UINT32, 1), PointField("z", 4, PointField.FLOAT32, 1),
              PointField("x", 8, PointField.FLOAT32, 1), PointField("y", 12, PointField.FLOAT32, 1),
              PointField("intensity", 16, PointField.FLOAT32, 1)]
    rows = [(float32_bits(p[3]), p[2], p[0], p[1], 0.5) for p in points]
    out = point_cloud2.create_cloud(Header(frame_id="camera"), fields, rows)
    out.height, out.width = cloud.height, cloud.width  # organised as the original
    out.row_step = out.point_step * out.width
    buffer = io.BytesIO()
    out.serialize(buffer)
    with open(out_msg, "wb") as f:
        f.write(buffer.getvalue())


if __name__ == "__main__":
    main()
