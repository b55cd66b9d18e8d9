"""vela: the core types of the depth-camera SDK, from Python.

Names follow the C++ interface. Mat.numpy() is a view of a Mat's host buffer and Mat.from_numpy() wraps an
array without copying; a Mat with GPU memory exposes __cuda_array_interface__ and __dlpack__.
"""

from . import _vela
from ._vela import *  # noqa: F401,F403
from ._vela import __cudaSafeCall, __doc__ as _module_doc, __version__  # noqa: F401


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


class ErrorCodeError(RuntimeError):
    """A call failed: raised by check(). `code` is the ERROR_CODE (FAILURE for a call that returned False)."""

    def __init__(self, code):
        self.code = code
        super().__init__("{}: {}".format(code, code.verbose))


def check(status):
    """Raises ErrorCodeError when `status` reports a failure, and otherwise hands back what came with it.

    `status` is what a call returned: an ERROR_CODE (a positive code is a failure; SUCCESS and the
    negative soft warnings pass and are returned), a bool (False is FAILURE; True is returned), or a tuple
    whose first item is the status: then the other items are returned, one alone or several as a tuple:

        vela.check(vela.writePointCloud(cloud, "cloud.ply", vela.POINT_CLOUD_FORMAT.PLY))
        cloud = vela.check(vela.readPointCloud("cloud.ply"))
    """
    rest = None
    if isinstance(status, tuple) and status and isinstance(status[0], (ERROR_CODE, bool)):  # noqa: F405
        status, rest = status[0], status[1:]
    if isinstance(status, bool):
        code = ERROR_CODE.SUCCESS if status else ERROR_CODE.FAILURE  # noqa: F405
    elif isinstance(status, ERROR_CODE):  # noqa: F405
        code = status
    else:
        raise TypeError("vela.check takes an ERROR_CODE, a bool or a tuple starting with one, not "
                        + type(status).__name__)
    if not code.ok:
        raise ErrorCodeError(code)
    if rest is None:
        return status
    return rest[0] if len(rest) == 1 else rest


def _mat_array(self, dtype=None, copy=None):
    """The host buffer as a numpy array, as numpy() gives it (no copy unless `dtype` asks for another type),
    so that numpy functions take a Mat directly: np.asarray(mat), np.mean(mat)."""
    import numpy

    view = self.numpy()
    return numpy.array(view, dtype=dtype, copy=True) if copy else numpy.asarray(view, dtype=dtype)


Mat.__array__ = _mat_array  # noqa: F405


def _fields_repr(self):
    """Name(field=value, ...) over the type's readable attributes, in the order they are declared."""
    fields = [name for name, member in type(self).__dict__.items()
              if isinstance(member, property) and not name.startswith("_")]
    return "{}({})".format(type(self).__qualname__,
                           ", ".join("{}={!r}".format(name, getattr(self, name)) for name in fields))


# Records and options print their fields; the types that print otherwise define their own __repr__.
for _cls in list(globals().values()):
    if (isinstance(_cls, type) and _cls.__module__ == _vela.__name__  # noqa: F405
            and "__repr__" not in _cls.__dict__ and not hasattr(_cls, "__entries")
            and any(isinstance(member, property) for member in _cls.__dict__.values())):
        _cls.__repr__ = _fields_repr
del _cls
