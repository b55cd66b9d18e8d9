"""Conversions at the boundary: names, out-parameters, records and geometry operators."""

import math

import pytest


def test_from_string_returns_status_and_value_leaving_it_on_failure(vela):
    assert vela.fromString("right-handed_y_up", vela.COORDINATE_SYSTEM.IMAGE) == \
        (vela.ERROR_CODE.SUCCESS, vela.COORDINATE_SYSTEM.RIGHT_HANDED_Y_UP)
    assert vela.fromString("parsec", vela.UNIT.FOOT) == (vela.ERROR_CODE.FAILURE, vela.UNIT.FOOT)
    comm = vela.CommunicationParameters.COMM_TYPE
    assert vela.fromString("1", comm.LOCAL_NETWORK) == (vela.ERROR_CODE.SUCCESS, comm.INTRA_PROCESS)
    assert vela.toString(vela.SensorsData.TemperatureData.SENSOR_LOCATION.ONBOARD_RIGHT) == "ONBOARD LEFT"
    assert vela.toString(vela.MAT_TYPE.U8_C4) == "8U C4" and vela.toString(vela.MEM_BOTH) == "Unknown"
    assert repr(vela.MEM_BOTH) == "<MEM.MEM_BOTH: 3>"
    assert vela.getObjectSubClasses(vela.OBJECT_CLASS.BAG) == [
        vela.OBJECT_SUBCLASS.BACKPACK, vela.OBJECT_SUBCLASS.HANDBAG, vela.OBJECT_SUBCLASS.SUITCASE]


def test_communication_parameters_encode_save_and_load(vela, tmp_path):
    params = vela.CommunicationParameters()
    params.setForLocalNetwork("192.168.1.2", 30000)
    assert params.encode(vela.SERIALIZATION_FORMAT.JSON) == (True, "\n".join([
        "{",
        '  "CommunicationParameters": {',
        '    "communication_type": "LOCAL NETWORK",',
        '    "ip_add": "192.168.1.2",',
        '    "ip_port": 30000',
        "  }",
        "}"]))
    assert params.encode(vela.SERIALIZATION_FORMAT.NONE) == (False, "")
    path = tmp_path / "communication.json"
    assert params.save(path, vela.SERIALIZATION_FORMAT.JSON)
    loaded = vela.CommunicationParameters()
    assert loaded.load(str(path), vela.SERIALIZATION_FORMAT.JSON) and loaded == params
    with pytest.raises(ValueError, match="type must be number, but is string"):
        loaded.decode('{"CommunicationParameters": {"ip_port": "80"}}', vela.SERIALIZATION_FORMAT.JSON)
    assert loaded == params  # nothing changed
    assert vela.extractIpPort("localhost", 5) == (True, "127.0.0.1", 5)
    assert vela.extractIpPort("localhost:80", 5) == (False, "localhost:80", 5)


def test_json_file_status_and_text(vela, tmp_path):
    path = tmp_path / "doc.json"
    path.write_text('{ "b": [1, 2],\n "a": null }')
    assert vela.loadJSONFile(path) == (vela.JSON_FILE_STATUS.SUCCESS, '{"a":null,"b":[1,2]}')
    assert vela.loadJSONFile(tmp_path / "missing.json") == (vela.JSON_FILE_STATUS.NOT_FOUND, "null")


def test_in_place_and_copying_forms_share_the_cpp_name(vela):
    m = vela.Matrix3f([[1, 2, 3], [4, 5, 6], [7, 8, 10]])
    copy = vela.Matrix3f.transpose(m)
    assert m[0, 1] == 2 and copy[0, 1] == 4
    assert m.transpose() is None and m == copy
    singular = vela.Matrix4f([0] * 16)
    assert singular.inverse() == vela.ERROR_CODE.FAILURE
    assert vela.Matrix4f.inverse(vela.Matrix4f.identity() * 2.0)[3, 3] == 0.5
    t = vela.Translation(3, 0, 4)
    assert vela.Translation.normalize(t) == vela.Translation(0.6, 0, 0.8) and t == vela.Translation(3, 0, 4)
    t.normalize()
    assert tuple(t) == pytest.approx((0.6, 0, 0.8))


def test_geometry_rejects_bad_shapes_and_indices(vela):
    with pytest.raises(ValueError, match="expected 9 numbers, got 8"):
        vela.Matrix3f(range(8))
    with pytest.raises(IndexError):
        vela.Matrix4f()[4, 0]
    with pytest.raises(IndexError):
        vela.Translation()[3]
    with pytest.raises(TypeError):
        vela.Rotation(0.5, "xyz")


def test_geometry_values_and_products(vela):
    half_turn = vela.Rotation(math.pi, vela.Translation(0, 0, 1))
    product = half_turn * half_turn  # a Matrix3f, taken where a Rotation is expected
    transform = vela.Transform(product, vela.Translation(1, 2, 3))
    assert transform.getTranslation() == vela.Translation(1, 2, 3)
    assert transform * (0, 0, 0, 1) == vela.Matrix4f([1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 1, 1, 1, 1])
    rotation = vela.Rotation()
    rotation.setEulerAngles((0, 0, 90), False)
    assert rotation.getEulerAngles(False) == pytest.approx((0, 0, 90), abs=1e-4)
    pose = vela.Pose(transform, 17, 80)
    assert (pose.timestamp, pose.pose_confidence, pose.valid) == (17, 80, False)
    assert vela.removeYaw(pose.pose_data, vela.COORDINATE_SYSTEM.IMAGE) == vela.ERROR_CODE.SUCCESS
    assert vela.removeYaw(pose.pose_data, vela.COORDINATE_SYSTEM(6)) == vela.ERROR_CODE.INVALID_COORDINATE_SYSTEM
