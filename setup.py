"""Builds the extension `vela._vela` with the project's CMake build and puts it, with the shared library
it links and the type stubs, into the package.

Environment:
  VELA_CMAKE_BUILD_DIR    the CMake build directory (default build/python-<interpreter>); reused when it
                          exists, so a second install only rebuilds what changed (ccache helps a fresh one)
  VELA_CUDA_ARCHITECTURES the CUDA architectures to compile (default: the project's list of every
                          generation); one, e.g. "75", makes a quick build for a single GPU
  VELA_BUILD_JOBS         parallel build jobs (default: the CPU count)
"""

import os
import re
import shutil
import subprocess
import sys
import sysconfig

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


def project_version():
    """The version of the CMake project, the one source of the version."""
    with open(os.path.join(ROOT, "CMakeLists.txt"), encoding="utf-8") as cmake_lists:
        match = re.search(r"project\(vela\s+VERSION\s+([0-9.]+)", cmake_lists.read())
    if not match:
        raise RuntimeError("no project version in CMakeLists.txt")
    return match.group(1)


class CMakeBuild(build_ext):
    """Configures and builds the CMake target `vela_python`, installs it into a scratch prefix laid out as the
    package, and copies the package's files from there."""

    def build_extension(self, ext):
        tag = sysconfig.get_config_var("SOABI") or "python"
        build_dir = os.environ.get("VELA_CMAKE_BUILD_DIR") or os.path.join(ROOT, "build", "python-" + tag)
        prefix = os.path.join(build_dir, "wheel-prefix")
        configure = [
            "cmake", "-S", ROOT, "-B", build_dir,
            "-DCMAKE_BUILD_TYPE=Release",
            "-DVELA_BUILD_PYTHON=ON", "-DVELA_BUILD_TESTS=OFF", "-DVELA_BUILD_EXAMPLES=OFF",
            "-DPython_EXECUTABLE=" + sys.executable,
            # The package directory holds the module and the library side by side ($ORIGIN).
            "-DVELA_PYTHON_INSTALL_DIR=.", "-DCMAKE_INSTALL_LIBDIR=vela",
        ]
        architectures = os.environ.get("VELA_CUDA_ARCHITECTURES")
        if architectures:
            configure.append("-DCMAKE_CUDA_ARCHITECTURES=" + architectures)
        jobs = os.environ.get("VELA_BUILD_JOBS") or str(os.cpu_count() or 1)
        subprocess.check_call(configure)
        subprocess.check_call(["cmake", "--build", build_dir, "--target", "vela_python", "vela_python_stubs",
                               "-j", jobs])
        shutil.rmtree(prefix, ignore_errors=True)
        subprocess.check_call(["cmake", "--install", build_dir, "--prefix", prefix])

        package_out = os.path.dirname(self.get_ext_fullpath(ext.name))
        os.makedirs(package_out, exist_ok=True)
        package_in = os.path.join(prefix, "vela")
        for name in sorted(os.listdir(package_in)):
            source = os.path.join(package_in, name)
            # The library goes in under its SONAME only; the development links and CMake/pkg-config files
            # are for C++ consumers of an installed prefix.
            if os.path.islink(source) or not os.path.isfile(source):
                continue
            if name.startswith("libvela.so."):
                name = "libvela.so." + name.split(".")[2]
            shutil.copyfile(source, os.path.join(package_out, name))
            shutil.copymode(source, os.path.join(package_out, name))


setup(
    version=project_version(),
    ext_modules=[Extension("vela._vela", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    zip_safe=False,
)
