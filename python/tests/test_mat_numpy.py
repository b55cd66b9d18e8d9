import gc
import weakref

import numpy as np
import pytest

# Each MAT_TYPE's numpy dtype and channel count, written out independently of the bindings.
LAYOUTS = {
    "F32_C1": (np.float32, 1), "F32_C2": (np.float32, 2), "F32_C3": (np.float32, 3), "F32_C4": (np.float32, 4),
    "U8_C1": (np.uint8, 1), "U8_C2": (np.uint8, 2), "U8_C3": (np.uint8, 3), "U8_C4": (np.uint8, 4),
    "U16_C1": (np.uint16, 1), "S8_C4": (np.int8, 4),
}


def shape_of(height, width, channels):
    return (height, width) if channels == 1 else (height, width, channels)


@pytest.mark.parametrize("name", sorted(LAYOUTS))
def test_every_mat_type_round_trips_through_numpy_at_the_same_address(vela, name):
    dtype, channels = LAYOUTS[name]
    mat = vela.Mat(5, 3, getattr(vela.MAT_TYPE, name))
    view = mat.numpy()
    item = np.dtype(dtype).itemsize
    assert view.dtype == dtype
    assert view.shape == shape_of(3, 5, channels)
    assert view.strides[:2] == (5 * channels * item, channels * item)
    assert view.ctypes.data == mat.getPtr(vela.MEM.CPU)

    # Written through the view, read by the library at (x, y) = (4, 2): rows are y, columns x.
    value = tuple(range(1, channels + 1))
    view[2, 4] = value if channels > 1 else value[0]
    status, read = mat.getValue(4, 2)
    assert status == vela.ERROR_CODE.SUCCESS
    assert read == (value if channels > 1 else value[0])

    array = np.zeros(shape_of(3, 5, channels), dtype)
    wrapped = vela.Mat.from_numpy(array)
    assert wrapped.dataType == getattr(vela.MAT_TYPE, name)
    assert not wrapped.isMemoryOwner()
    assert wrapped.getPtr() == array.ctypes.data
    assert wrapped.numpy().ctypes.data == array.ctypes.data


def test_full_hd_point_cloud_view_is_the_mats_buffer(vela):
    mat = vela.Mat(1920, 1080, vela.MAT_TYPE.F32_C4)
    view = mat.numpy()
    assert view.ctypes.data == mat.getPtr()
    assert view.shape == (1080, 1920, 4) and view.strides == (1920 * 16, 16, 4)
    assert not view.flags.owndata


def test_view_outlives_the_freed_mat(vela):
    mat = vela.Mat(4, 2, vela.MAT_TYPE.U16_C1)
    assert mat.setTo(513) == vela.ERROR_CODE.SUCCESS
    view = mat.numpy()
    mat.free()
    assert not mat.isInit()
    del mat
    gc.collect()
    np.testing.assert_array_equal(view, np.full((2, 4), 513, np.uint16))
    view[0, 0] = 7  # still writable memory of its own buffer


def test_reallocating_leaves_an_earlier_view_on_the_old_buffer(vela):
    mat = vela.Mat(3, 3, vela.MAT_TYPE.U8_C1)
    mat.setTo(9)
    old = mat.numpy()
    mat.alloc(3, 3, vela.MAT_TYPE.U8_C1)
    mat.setTo(1)
    assert old.ctypes.data != mat.getPtr()
    assert (old == 9).all()


def test_wrapped_array_lives_as_long_as_a_mat_or_view_refers_to_it(vela):
    array = np.arange(24, dtype=np.float32).reshape(2, 3, 4)
    alive = weakref.ref(array)
    mat = vela.Mat.from_numpy(array)
    shared = vela.Mat(mat)  # shares the handle
    del array
    gc.collect()
    assert alive() is not None
    del mat
    gc.collect()
    view = shared.numpy()
    del shared
    gc.collect()
    assert alive() is not None
    assert view[1, 2, 3] == 23.0
    del view
    gc.collect()
    assert alive() is None


def test_from_numpy_refuses_rows_that_are_not_packed_and_copies_them_when_asked(vela):
    big = np.zeros((4, 10, 4), np.float32)
    columns = big[:, 2:8]  # rows 160 bytes apart, 96 bytes long
    for scattered in (columns, big[:, ::2]):
        with pytest.raises(ValueError, match="copy=True"):
            vela.Mat.from_numpy(scattered)
    copied = vela.Mat.from_numpy(columns, copy=True)
    assert copied.isMemoryOwner() and (copied.width, copied.height, copied.stepCPU) == (6, 4, 96)
    assert copied.setValue(5, 3, (1, 2, 3, 4)) == vela.ERROR_CODE.SUCCESS
    assert copied.getValue(5, 3) == (vela.ERROR_CODE.SUCCESS, (1, 2, 3, 4))
    assert tuple(copied.numpy()[3, 5]) == (1, 2, 3, 4)
    assert not big.any(), "the copy is not the slice"
    clone = vela.Mat()
    assert clone.clone(copied) == vela.ERROR_CODE.SUCCESS
    np.testing.assert_array_equal(clone.numpy(), copied.numpy())


def test_wrapping_a_step_shorter_than_a_packed_row_is_refused(vela):
    rows = np.zeros((4, 6), np.float32)
    mat = vela.Mat(6, 4, vela.MAT_TYPE.F32_C1, rows.ctypes.data, 20, vela.MEM.CPU)
    assert not mat.isInit() and mat.width == 0
    wrapped = vela.Mat(6, 4, vela.MAT_TYPE.F32_C1, rows.ctypes.data, 24, vela.MEM.CPU)
    assert wrapped.isInit() and wrapped.stepCPU == 24


@pytest.mark.parametrize("array, message", [
    (np.zeros((2, 2), np.float64), "no MAT_TYPE"),
    (np.zeros((2, 2, 3), np.int8), "no MAT_TYPE"),
    (np.zeros((2, 2, 5), np.uint8), "no MAT_TYPE"),
    (np.zeros((2, 2, 2, 2), np.uint8), "4-dimensional"),
    (np.zeros((2, 2), ">u2"), "big-endian"),
])
def test_from_numpy_rejects_arrays_no_mat_can_hold(vela, array, message):
    with pytest.raises(ValueError, match=message):
        vela.Mat.from_numpy(array)


def test_from_numpy_refuses_read_only_arrays(vela):
    array = np.zeros((2, 2), np.float32)
    array.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        vela.Mat.from_numpy(array)


def test_element_values_are_checked_against_the_mat_type(vela):
    mat = vela.Mat(2, 2, vela.MAT_TYPE.U8_C4)
    with pytest.raises(ValueError, match="4 numbers, not 3"):
        mat.setTo((1, 2, 3))
    with pytest.raises(ValueError, match=r"0\.\.255, not 256"):
        mat.setTo((1, 2, 3, 256))
    with pytest.raises(TypeError, match="integers"):
        mat.setTo((1, 2, 3, 4.5))
    with pytest.raises(IndexError, match="outside the 2 x 2 grid"):
        mat.setValue(2, 0, (0, 0, 0, 0))
    signed = vela.Mat(1, 1, vela.MAT_TYPE.S8_C4)
    assert signed.setValue(0, 0, (-128, 127, -1, 0)) == vela.ERROR_CODE.SUCCESS
    assert signed.getValue(0, 0) == (vela.ERROR_CODE.SUCCESS, (-128, 127, -1, 0))
    # Outside the grid the library answers with a status.
    assert mat.getValue(5, 5) == (vela.ERROR_CODE.FAILURE, (0, 0, 0, 0))


def test_status_codes_print_short_text_with_verbose_one_attribute_away(vela):
    code = vela.ERROR_CODE
    assert str(code.CORRUPTED_FRAME) == "CORRUPTED_FRAME"
    assert str(code.INVALID_AREA_FILE) == "INVALID ARE FILE"
    assert code.MOTION_SENSORS_REQUIRED.verbose == \
        "The module needs the sensors to be enabled (see InitParameters::sensors_required) "
    assert code.SENSORS_MODULE_SERIAL_NOT_VALID.verbose == "Unknown error"
    assert vela.toString(code(34)) == "Unknown" and code(-5).verbose == "Unknown error"
    assert vela.Mat().move(vela.Mat()) == code.FAILURE


def test_mat_without_host_memory_has_no_numpy_view(sim):
    gpu = sim.Mat(4, 4, sim.MAT_TYPE.F32_C1, sim.MEM.GPU)
    with pytest.raises(ValueError, match="no host memory"):
        gpu.numpy()
    with pytest.raises(ValueError, match="empty"):
        sim.Mat().numpy()
    assert gpu.updateCPUfromGPU() == sim.ERROR_CODE.SUCCESS
    assert gpu.numpy().shape == (4, 4)


def test_without_a_gpu_gpu_allocations_fail_quietly(vela):
    mat = vela.Mat(8, 8, vela.MAT_TYPE.F32_C1, vela.MEM.GPU)
    if mat.getPtr(vela.MEM.GPU) != 0:
        pytest.skip("a GPU is present")
    assert not hasattr(mat, "__cuda_array_interface__")
    assert mat.setTo(1.0, vela.MEM.GPU) == vela.ERROR_CODE.FAILURE
    with pytest.raises(BufferError):
        mat.__dlpack__()
