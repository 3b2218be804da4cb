"""The build of the wheel: CMake builds the compiled module _kivdbxt with the whole library
linked into it (KIV_PYTHON_WHEEL), and setuptools packs it with the Python files. The version is
the project's own, from the top CMakeLists.txt."""
import glob
import os
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)


def project_version():
    with open(os.path.join(ROOT, "CMakeLists.txt")) as f:
        return re.search(r"project\(kivdbxt VERSION ([0-9.]+)", f.read()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = os.path.abspath(self.build_temp)
        env = dict(os.environ)
        args = ["-DKIV_BUILD_TESTS=OFF", "-DKIV_BUILD_BENCH=OFF", "-DKIV_BUILD_TOOLS=OFF",
                "-DKIV_INSTALL=OFF", "-DKIV_BUILD_PYTHON=ON", "-DKIV_PYTHON_WHEEL=ON",
                "-DPython3_EXECUTABLE=" + sys.executable,
                # The flags of scripts/build, so that ccache serves the library's objects from
                # the usual build; the module itself is stripped.
                "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DCMAKE_MODULE_LINKER_FLAGS=-s"]
        if shutil.which("ccache"):
            args.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            env.setdefault("CCACHE_BASEDIR", ROOT)
            env.setdefault("CCACHE_NOHASHDIR", "1")
        subprocess.run(["cmake", "-S", ROOT, "-B", build] + args, check=True, env=env,
                       stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", build, "--target", "_kivdbxt",
                        "-j%d" % (os.cpu_count() or 1)], check=True, env=env)
        built = glob.glob(os.path.join(build, "python", "kivdbxt", "_kivdbxt*.so"))
        if len(built) != 1:
            raise RuntimeError("the CMake build made %d modules _kivdbxt" % len(built))
        target = self.get_ext_fullpath(ext.name)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        shutil.copyfile(built[0], target)


setup(version=project_version(),
      ext_modules=[Extension("kivdbxt._kivdbxt", sources=[])],
      cmdclass={"build_ext": CMakeBuild})
