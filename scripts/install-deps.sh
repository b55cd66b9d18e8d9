#!/usr/bin/env bash
# Installs the Debian packages vela builds and tests with; silent when they are all present.
set -euo pipefail

packages=(cmake make g++ pkg-config ccache clang-format clang-tidy clang libclang-rt-14-dev doxygen
          libgtest-dev libbenchmark-dev
          libopencv-dev libeigen3-dev nlohmann-json3-dev libspdlog-dev libfmt-dev liblzf-dev
          # the Python module and its tests
          python3-dev pybind11-dev python3-pybind11 python3-numpy libdlpack-dev python3-pytest
          # pip installs of the package (pyproject.toml), its type stubs and the Python reference
          python3-pip python3-venv python3-setuptools python3-wheel mypy python3-sphinx
          # readers the file tests open vela's point clouds with, and the peers the benchmarks compare against
          libpcl-dev libopen3d-dev
          # the adapters' tests: OpenCV's contrib depth module, ROS 1 messages in C++ and Python, Open3D
          libopencv-contrib-dev libsensor-msgs-dev libroscpp-core-dev python3-sensor-msgs python3-roslib
          python3-open3d python3-opencv
          # the performance plot
          python3-matplotlib)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
