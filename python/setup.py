"""The wheel carries a native library, so it is a platform wheel: tagged
py3-none-PLATFORM (no Python ABI is involved), PLATFORM being
$QZ_WHEEL_PLATFORM (linux_x86_64, win_amd64) or this machine's."""
import os

from setuptools import setup
from setuptools.dist import Distribution
from wheel.bdist_wheel import bdist_wheel


class NativeDistribution(Distribution):
    def has_ext_modules(self):
        return True


class PlatformWheel(bdist_wheel):
    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        platform = os.environ.get("QZ_WHEEL_PLATFORM") or super().get_tag()[2]
        return "py3", "none", platform


setup(distclass=NativeDistribution, cmdclass={"bdist_wheel": PlatformWheel})
