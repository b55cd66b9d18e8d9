import importlib
import pathlib
import sys

import pytest


@pytest.fixture(scope="session")
def vela():
    """The package on the library."""
    return importlib.import_module("vela")


@pytest.fixture(scope="session")
def sim():
    """The same bindings on the simulated GPU: device memory is pitched to 512 bytes and cannot be read
    from the host."""
    return importlib.import_module("_vela_sim")


@pytest.fixture(params=["vela", "_vela_sim"])
def any_vela(request):
    """Each build of the bindings, for host behaviour that both must share."""
    return importlib.import_module(request.param)


@pytest.fixture(scope="session")
def header_docs():
    """scripts/header_docs.py, the reader of the headers' documentation, as a module."""
    sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
    try:
        return importlib.import_module("header_docs")
    finally:
        sys.path.pop(0)
