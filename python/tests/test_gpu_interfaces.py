import ctypes
import gc

import numpy as np
import pytest

KDLCPU, KDLCUDA, KDLCUDAHOST, KDLCUDAMANAGED = 1, 2, 3, 13
KDLINT, KDLUINT, KDLFLOAT = 0, 1, 2


class DLDevice(ctypes.Structure):
    _fields_ = [("device_type", ctypes.c_int), ("device_id", ctypes.c_int)]


class DLDataType(ctypes.Structure):
    _fields_ = [("code", ctypes.c_uint8), ("bits", ctypes.c_uint8), ("lanes", ctypes.c_uint16)]


class DLTensor(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("device", DLDevice), ("ndim", ctypes.c_int),
                ("dtype", DLDataType), ("shape", ctypes.POINTER(ctypes.c_int64)),
                ("strides", ctypes.POINTER(ctypes.c_int64)), ("byte_offset", ctypes.c_uint64)]


class DLManagedTensor(ctypes.Structure):
    _fields_ = [("dl_tensor", DLTensor), ("manager_ctx", ctypes.c_void_p),
                ("deleter", ctypes.CFUNCTYPE(None, ctypes.c_void_p))]


_get_pointer = ctypes.pythonapi.PyCapsule_GetPointer
_get_pointer.restype = ctypes.c_void_p
_get_pointer.argtypes = [ctypes.py_object, ctypes.c_char_p]


def read_capsule(capsule):
    tensor = DLManagedTensor.from_address(_get_pointer(capsule, b"dltensor")).dl_tensor
    ndim = tensor.ndim
    return {
        "data": tensor.data, "device": (tensor.device.device_type, tensor.device.device_id),
        "dtype": (tensor.dtype.code, tensor.dtype.bits, tensor.dtype.lanes),
        "shape": tuple(tensor.shape[i] for i in range(ndim)),
        "strides": tuple(tensor.strides[i] for i in range(ndim)), "byte_offset": tensor.byte_offset,
    }


# (type, width, height, typestr, DLPack dtype, channels, bytes per channel)
PITCHED = [
    ("F32_C3", 5, 4, "<f4", (KDLFLOAT, 32, 1), 3, 4),
    ("U16_C1", 7, 3, "<u2", (KDLUINT, 16, 1), 1, 2),
    ("S8_C4", 3, 2, "|i1", (KDLINT, 8, 1), 4, 1),
]


@pytest.mark.parametrize("name, width, height, typestr, dtype, channels, item", PITCHED)
def test_array_interfaces_describe_pitched_gpu_rows(sim, name, width, height, typestr, dtype, channels, item):
    mat = sim.Mat(width, height, getattr(sim.MAT_TYPE, name), sim.MEM.GPU)
    pitch = 512  # the simulated device pads every row to 512 bytes
    assert mat.stepGPU == pitch
    address = mat.getPtr(sim.MEM.GPU)
    shape = (height, width, channels) if channels > 1 else (height, width)
    byte_strides = (pitch, channels * item, item)[:len(shape)]
    assert mat.__cuda_array_interface__ == {
        "shape": shape, "typestr": typestr, "data": (address, False), "version": 3,
        "strides": byte_strides, "stream": 1,
    }
    assert mat.__dlpack_device__() == (KDLCUDA, 0)
    assert read_capsule(mat.__dlpack__(stream=1)) == {
        "data": address, "device": (KDLCUDA, 0), "dtype": dtype, "shape": shape,
        "strides": tuple(s // item for s in byte_strides), "byte_offset": 0,
    }


def test_dlpack_capsule_keeps_gpu_buffer_alive_after_the_mat_goes(sim):
    before = sim._sim_live_allocations()
    mat = sim.Mat(16, 16, sim.MAT_TYPE.F32_C1, sim.MEM.GPU)
    capsule = mat.__dlpack__()
    address = mat.getPtr(sim.MEM.GPU)
    del mat
    gc.collect()
    assert sim._sim_live_allocations() == before + 1
    assert read_capsule(capsule)["data"] == address
    del capsule  # never consumed: its destructor releases the tensor
    gc.collect()
    assert sim._sim_live_allocations() == before


@pytest.mark.parametrize("mem, device", [("MEM_MANAGED", KDLCUDAMANAGED), ("MEM_UNIFIED", KDLCUDAHOST)])
def test_memory_seen_by_both_sides_is_exported_as_such(sim, mem, device):
    mat = sim.Mat(8, 2, sim.MAT_TYPE.U8_C4, getattr(sim, mem))
    assert mat.__dlpack_device__() == (device, 0)
    interface = mat.__cuda_array_interface__
    # The GPU sees the device address, the host its host address: one address for managed memory, two
    # (here) for mapped memory.
    assert interface["data"][0] == mat.getPtr(sim.MEM.GPU)
    assert mat.getPtr(sim.MEM.CPU) == mat.numpy().ctypes.data
    assert (mat.getPtr(sim.MEM.GPU) == mat.getPtr(sim.MEM.CPU)) == (mem == "MEM_MANAGED")
    assert interface["strides"] == (32, 4, 1)


def test_host_mat_has_no_cuda_interface_but_exports_dlpack_to_numpy(any_vela):
    mat = any_vela.Mat(3, 2, any_vela.MAT_TYPE.F32_C2)
    mat.setTo((1.5, -2.0))
    assert not hasattr(mat, "__cuda_array_interface__")
    assert mat.__dlpack_device__() == (KDLCPU, 0)
    array = np.from_dlpack(mat)
    assert array.ctypes.data == mat.getPtr()
    np.testing.assert_array_equal(array, np.tile(np.float32([1.5, -2.0]), (2, 3, 1)))


def test_dlpack_arguments_are_checked(sim):
    mat = sim.Mat(4, 4, sim.MAT_TYPE.F32_C1, sim.MEM.GPU)
    with pytest.raises(ValueError, match="ambiguous"):
        mat.__dlpack__(stream=0)
    with pytest.raises(BufferError, match="without copying"):
        mat.__dlpack__(copy=True)
    with pytest.raises(BufferError, match="another device"):
        mat.__dlpack__(dl_device=(KDLCPU, 0))
    assert read_capsule(mat.__dlpack__(stream=12345))["device"] == (KDLCUDA, 0)


def test_gpu_content_written_through_the_library_reads_back(sim):
    mat = sim.Mat(5, 3, sim.MAT_TYPE.F32_C4, sim.MEM.GPU)
    assert mat.setTo((1.0, 2.0, 3.0, 4.0), sim.MEM.GPU) == sim.ERROR_CODE.SUCCESS
    assert mat.setValue(4, 2, (9.0, 8.0, 7.0, 6.0), sim.MEM.GPU) == sim.ERROR_CODE.SUCCESS
    host = sim.Mat()
    assert mat.copyTo(host, sim.COPY_TYPE.GPU_CPU) == sim.ERROR_CODE.SUCCESS
    view = host.numpy()
    assert tuple(view[2, 4]) == (9.0, 8.0, 7.0, 6.0) and tuple(view[0, 0]) == (1.0, 2.0, 3.0, 4.0)
