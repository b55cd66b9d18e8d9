#!/usr/bin/env python3
"""Writes the type stubs of the built package `vela` (vela/__init__.pyi, vela/_vela.pyi) and its py.typed
marker into OUT_DIR, from the module itself: mypy's stub generator reads the signatures that pybind11 puts at
the head of each docstring. What it cannot know is corrected here, in one place.

usage: make_stubs.py OUT_DIR   (the package must be importable, e.g. through PYTHONPATH)
"""

import os
import re
import shutil
import sys
import tempfile

from mypy.stubgen import main as stubgen  # mypy's stub generator (Debian: mypy)


def _valid_annotation(text):
    try:
        compile(text, "<annotation>", "eval")
        return True
    except SyntaxError:
        return False


def fix_extension(text):
    # A property's docstring is prose, whose first words the generator may take for its type ("PCD only: keeps
    # the grid"): a type must be an expression of names the stub knows.
    known = set(re.findall(r"^class (\w+)", text, flags=re.M)) | {
        "int", "float", "bool", "str", "bytes", "tuple", "list", "dict", "object", "None", "Any", "List", "Tuple",
        "Dict", "Optional", "Union", "Callable", "ClassVar", "numpy", "ndarray", "typing", "os", "PathLike"}

    def fixed(annotation):
        names = re.findall(r"[A-Za-z_][A-Za-z0-9_]*", annotation)
        return annotation if _valid_annotation(annotation) and set(names) <= known else "Any"

    text = re.sub(r"-> (.+?): \.\.\.$", lambda m: "-> " + fixed(m.group(1)) + ": ...", text, flags=re.M)
    text = re.sub(r"^(    [A-Za-z_][A-Za-z0-9_]*): (.+)$",
                  lambda m: m.group(1) + ": " + (m.group(2) if m.group(2).startswith("ClassVar") else fixed(m.group(2))),
                  text, flags=re.M)
    # numpy.ndarray takes a shape and a dtype argument; pybind11 writes only the element type.
    text = re.sub(r"numpy\.ndarray\[[^\]]*\]", "numpy.ndarray", text)
    # Attributes set from Python (Mat.__array__, the in-place-or-copy methods) are not C functions.
    text = re.sub(r"\n\s+__array__: ClassVar\[function\] = \.\.\.", "", text)
    text = re.sub(r"\n\s+__entries: ClassVar\[dict\] = \.\.\.", "", text)
    text = text.replace("class Mat:\n", "class Mat:\n    def __array__(self, dtype: Any = ..., copy: Optional[bool] = ...)"
                        " -> numpy.ndarray: ...\n", 1)
    text = text.replace("from typing import ", "from typing import Optional, ", 1)
    # An ERROR_CODE cannot be truth-tested (__bool__ raises), which mypy should know too.
    text = re.sub(r"(class ERROR_CODE:\n)", r"\1    def __bool__(self) -> NoReturn: ...\n", text)
    text = text.replace("from typing import ", "from typing import NoReturn, ", 1)
    if "\n__version__: str" not in text:
        text += "\n__version__: str\n"
    return text


def fix_package(text):
    # The star import leaves out underscore names; the version is one of them.
    text += "\nfrom ._vela import __version__ as __version__\n"
    text = text.replace("def check(status): ...",
                        "def check(status: Any) -> Any: ...")
    if "from typing import Any" not in text:
        text = "from typing import Any\n" + text
    return text


def main(out_dir):
    # Stubs from an earlier run beside the module would be read instead of the module.
    for name in ("_vela.pyi", "__init__.pyi"):
        if os.path.exists(os.path.join(out_dir, name)):
            os.remove(os.path.join(out_dir, name))
    with tempfile.TemporaryDirectory() as scratch:
        stubgen(["-p", "vela", "-o", scratch, "--quiet"])
        package = os.path.join(scratch, "vela")
        with open(os.path.join(package, "_vela.pyi"), encoding="utf-8") as stub:
            extension = fix_extension(stub.read())
        with open(os.path.join(package, "__init__.pyi"), encoding="utf-8") as stub:
            init = fix_package(stub.read())
    os.makedirs(out_dir, exist_ok=True)
    for name, text in (("_vela.pyi", extension), ("__init__.pyi", init), ("py.typed", "")):
        with open(os.path.join(out_dir, name + ".tmp"), "w", encoding="utf-8") as target:
            target.write(text)
        os.replace(os.path.join(out_dir, name + ".tmp"), os.path.join(out_dir, name))
    shutil.rmtree(os.path.join(out_dir, "__pycache__"), ignore_errors=True)
    return 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1]))
