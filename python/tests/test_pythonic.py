"""What a Python user relies on beyond the C++ names: statuses that cannot be truth-tested by mistake, the
headers' documentation on every name, signatures inspect can read, readable records, numpy on a Mat."""

import inspect
import os
import pathlib

import numpy as np
import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def _header_docs(reader):
    docs = {}
    for entity in reader.parse_tree(str(ROOT / "include")):
        if entity.doc:
            docs.setdefault(entity.key, []).append(entity.doc)
    return docs


def test_a_status_refuses_a_truth_test(vela):
    for code in (vela.ERROR_CODE.SUCCESS, vela.ERROR_CODE.FAILURE):
        with pytest.raises(TypeError, match="compare it with ERROR_CODE.SUCCESS.*status.ok.*vela.check"):
            bool(code)
    with pytest.raises(TypeError):
        if not vela.writePointCloud(vela.Mat(), "/nonexistent/cloud.ply", vela.POINT_CLOUD_FORMAT.PLY):
            pass
    assert vela.ERROR_CODE.SUCCESS.ok and vela.ERROR_CODE.CORRUPTED_FRAME.ok  # a soft warning is no failure
    assert not vela.ERROR_CODE.FAILURE.ok and not vela.ERROR_CODE.CUDA_ERROR.ok


def test_check_raises_on_failure_and_passes_results_on(vela, tmp_path):
    with pytest.raises(vela.ErrorCodeError) as raised:
        vela.check(vela.writePointCloud(vela.Mat(), str(tmp_path / "x.ply"), vela.POINT_CLOUD_FORMAT.PLY))
    assert raised.value.code == vela.ERROR_CODE.INVALID_FUNCTION_PARAMETERS
    assert str(raised.value).startswith("INVALID FUNCTION PARAMETERS: ")
    with pytest.raises(vela.ErrorCodeError) as raised:
        vela.check(False)  # savePointCloudAs and saveDepthAs return a bool, as in C++
    assert raised.value.code == vela.ERROR_CODE.FAILURE
    with pytest.raises(vela.ErrorCodeError):
        vela.check(vela.readPointCloud(str(tmp_path / "missing.ply")))
    with pytest.raises(TypeError, match="not int"):
        vela.check(0)
    assert vela.check(vela.ERROR_CODE.CORRUPTED_FRAME) == vela.ERROR_CODE.CORRUPTED_FRAME

    cloud = vela.Mat(3, 2, vela.MAT_TYPE.F32_C4)
    cloud.numpy()[...] = (1.0, 2.0, 3.0, 0.0)
    path = str(tmp_path / "cloud.ply")
    vela.check(vela.writePointCloud(cloud, path, vela.POINT_CLOUD_FORMAT.PLY))
    read = vela.check(vela.readPointCloud(path))  # the (status, cloud) form
    assert isinstance(read, vela.Mat) and (read.width, read.height) == (6, 1)
    np.testing.assert_array_equal(np.asarray(read)[0, :, :3], np.tile([1.0, 2.0, 3.0], (6, 1)))
    status, kept = vela.readPointCloud(str(tmp_path / "missing.ply"))
    assert status == vela.ERROR_CODE.FAILURE and not kept.isInit()
    assert vela.check(vela.Mat(2, 2, vela.MAT_TYPE.U8_C1).getValue(1, 1)) == 0


def test_numpy_functions_take_a_mat(vela):
    mat = vela.Mat(4, 3, vela.MAT_TYPE.U16_C1)
    mat.numpy()[...] = np.arange(12, dtype=np.uint16).reshape(3, 4)
    view = np.asarray(mat)
    assert view.shape == (3, 4) and view.dtype == np.uint16 and np.shares_memory(view, mat.numpy())
    assert np.sum(mat) == 66
    assert np.asarray(mat, dtype=np.float64)[2, 3] == 11.0
    copied = np.array(mat, copy=True)
    copied[0, 0] = 7
    assert mat.numpy()[0, 0] == 0


def test_records_print_their_fields(vela):
    assert repr(vela.DepthWriteOptions()) == "DepthWriteOptions(factor=1.0, invalidValue=0)"
    options = vela.PointCloudWriteOptions()
    options.withColor = True
    assert "withColor=True" in repr(options) and "encoding=" in repr(options)
    for name in dir(vela):
        cls = getattr(vela, name)
        if isinstance(cls, type) and not issubclass(cls, BaseException) and name != "TarnLogger":
            try:
                instance = cls()
            except TypeError:
                continue  # no default constructor
            assert " object at 0x" not in repr(instance), name


def _public_callables(vela):
    """(qualified Python name, object, C++ key) of every public function, method, class and enumeration."""
    out = []
    for name in dir(vela._vela):
        obj = getattr(vela._vela, name)
        if name.startswith("_") or isinstance(obj, type(vela)) or not callable(obj):
            continue
        out.append((name, obj, "vela::" + name))
        if isinstance(obj, type):
            for member_name, member in vars(obj).items():
                if member_name.startswith("_") and member_name != "__init__":
                    continue
                if callable(member) or isinstance(member, property) or isinstance(member, staticmethod):
                    key = "vela::{}::{}".format(name, name if member_name == "__init__" else member_name)
                    out.append((name + "." + member_name, getattr(obj, member_name), key))
    return out


def test_every_public_name_carries_its_header_documentation(vela, header_docs):
    headers = _header_docs(header_docs)
    undocumented, lost = [], []
    for name, obj, key in _public_callables(vela):
        doc = inspect.getdoc(obj) or ""
        # Beyond pybind11's own signature lines, some text must remain.
        text = "\n".join(line for line in doc.splitlines()
                         if line and not line.startswith(("Overloaded function", name.split(".")[-1] + "("))
                         and not line[:3].rstrip(". ").isdigit())
        if isinstance(getattr(vela._vela, name.split(".")[0]), type) and "." not in name:
            text = doc
        if not text.strip():
            undocumented.append(name)
        if key in headers and not any(text.split(". ")[0] in doc for text in headers[key]):
            lost.append(name)
    assert not undocumented, "no documentation: " + ", ".join(undocumented)
    assert not lost, "header text missing: " + ", ".join(lost)


def test_help_shows_what_the_headers_say(vela):
    assert "Writes the F32_C3 or F32_C4 `cloud` to exactly `path`" in vela.writePointCloud.__doc__
    assert "options: vela._vela.PointCloudWriteOptions = PointCloudWriteOptions()" in vela.writePointCloud.__doc__
    assert "type: vela._vela.COPY_TYPE = COPY_TYPE.CPU_CPU" in vela.Mat.copyTo.__doc__
    assert vela.UNIT.__doc__.startswith("Length unit of depths, positions and point clouds")
    assert "METER : \"METER\"" in vela.UNIT.__doc__
    assert "FAILURE : Error, something failed." in vela.ERROR_CODE.__doc__ or "FAILURE : " in vela.ERROR_CODE.__doc__
    assert vela.Mat.width.__doc__ == "columns"


def test_inspect_reads_signatures(vela):
    assert str(inspect.signature(vela.writePointCloud)) == "(cloud, path, format, options=Ellipsis)"
    assert str(inspect.signature(vela.Mat.copyTo)) == "(self, dst, type=Ellipsis, stream=0)"
    assert str(inspect.signature(vela.Mat(1, 1, vela.MAT_TYPE.U8_C1).copyTo)) == "(dst, type=Ellipsis, stream=0)"
    assert str(inspect.signature(vela.toString)) == "(*args, **kwargs)"  # one per enumeration
    assert vela.toString.__doc__.startswith("Overloaded function.")
    failing = []
    for name, obj, _ in _public_callables(vela):
        if isinstance(obj, type) or isinstance(obj, property):
            continue
        try:
            inspect.signature(obj)
        except (ValueError, TypeError):
            failing.append(name)
    assert not failing, "no signature: " + ", ".join(failing)


def test_version_is_the_projects(vela):
    cmake = (ROOT / "CMakeLists.txt").read_text()
    assert "project(vela VERSION {} ".format(vela.__version__) in cmake


@pytest.mark.skipif(not os.environ.get("VELA_PYTHON_STUBS"), reason="stubs are checked where they are built")
def test_mypy_accepts_a_typed_example(tmp_path):
    from mypy import api

    stubs = os.environ["VELA_PYTHON_STUBS"]
    # The example is held to --strict; the stubs, found through MYPYPATH, are read as an installed package's.
    config = tmp_path / "mypy.ini"
    config.write_text("[mypy]\nstrict = True\nincremental = False\n[mypy-vela.*]\nignore_errors = True\n")
    options = ["--config-file", str(config), "--cache-dir", str(tmp_path / "cache")]
    result = api.run(options + [str(ROOT / "python" / "tests" / "typed_example.py")])
    assert result[2] == 0, result[0] + result[1] + " (stubs from " + stubs + ")"
    # And mistakes are caught: a unit given as text, a status taken for a bool, an unknown keyword.
    wrong = tmp_path / "wrong.py"
    wrong.write_text("import vela\n"
                     "vela.convertUnit(vela.Mat(), 'mm', vela.UNIT.METER, vela.MEM.CPU)\n"
                     "ok: bool = vela.writePointCloud(vela.Mat(), 'a.ply', vela.POINT_CLOUD_FORMAT.PLY)\n"
                     "vela.Mat(1, 2, vela.MAT_TYPE.U8_C1, memory=vela.MEM.CPU)\n")
    result = api.run(options + [str(wrong)])
    for line in (2, 3, 4):
        assert "wrong.py:{}: error".format(line) in result[0], result[0]


@pytest.mark.parametrize("document", ["README.md", "docs/getting_started.md"])
def test_the_documents_python_samples_run(document, tmp_path, monkeypatch, capfd):
    import re
    import runpy

    samples = re.findall(r"```python\n(.*?)```", (ROOT / document).read_text(), re.S)
    assert samples
    monkeypatch.chdir(tmp_path)
    for index, sample in enumerate(samples):
        script = tmp_path / "sample_{}.py".format(index)
        script.write_text(sample)
        runpy.run_path(str(script), run_name="__main__")
    assert list(tmp_path.glob("*.p*"))  # the files they write
