"""vela: the core types of the depth-camera SDK, from Python.

Names follow the C++ interface. Mat.numpy() is a view of a Mat's host buffer and Mat.from_numpy() wraps an
array without copying; a Mat with GPU memory exposes __cuda_array_interface__ and __dlpack__.
"""

from ._vela import *  # noqa: F401,F403
from ._vela import __cudaSafeCall, __doc__ as _module_doc  # noqa: F401


class _InPlaceOrCopy:
    """One C++ name for two functions: m.transpose() changes m, Matrix3f.transpose(m) returns a copy."""

    def __init__(self, in_place, copying):
        self._in_place = in_place
        self._copying = copying

    def __get__(self, instance, owner):
        return self._copying if instance is None else self._in_place.__get__(instance, owner)


def _serve_both(cls, name):
    setattr(cls, name, _InPlaceOrCopy(cls.__dict__[name], getattr(cls, "_" + name)))


for _cls, _names in ((Matrix3f, ("transpose", "inverse")),  # noqa: F405
                     (Matrix4f, ("transpose", "inverse")),  # noqa: F405
                     (Translation, ("normalize",))):  # noqa: F405
    for _name in _names:
        _serve_both(_cls, _name)
del _cls, _names, _name
