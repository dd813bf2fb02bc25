"""Builds the zelimage extension with the project's own CMake build."""

import os
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = os.path.dirname(os.path.abspath(__file__))


class CMakeExtension(Extension):
    def __init__(self, name):
        super().__init__(name, sources=[])


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        package_dir = os.path.dirname(os.path.abspath(self.get_ext_fullpath(ext.name)))
        build_dir = os.path.join(os.path.abspath(self.build_temp), "cmake")
        configure = [
            "cmake", "-S", ROOT, "-B", build_dir, "-G", "Ninja",
            "-DCMAKE_BUILD_TYPE=Release",
            "-DZEL_BUILD_TESTS=OFF", "-DZEL_BUILD_TOOLS=OFF", "-DZEL_BUILD_EXAMPLES=OFF", "-DZEL_BUILD_PYTHON=ON",
            "-DPython_EXECUTABLE=" + sys.executable,
            "-DZEL_PYTHON_PACKAGE_DIR=" + package_dir,
        ]
        subprocess.check_call(configure)
        jobs = os.environ.get("JOBS", "2")
        subprocess.check_call(["cmake", "--build", build_dir, "--target", "_zelimage", "-j", jobs])


setup(ext_modules=[CMakeExtension("zelimage._zelimage")], cmdclass={"build_ext": CMakeBuild})
