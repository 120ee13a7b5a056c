"""A wheel that carries the library: for any Python 3, but for one system. ./dev package puts the library into the package
and sets VEKAPI_VERSION."""

import os

from setuptools import setup
from wheel.bdist_wheel import bdist_wheel


class OneSystem(bdist_wheel):
    def finalize_options(self):
        super().finalize_options()
        self.root_is_pure = False

    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(version=os.environ.get("VEKAPI_VERSION", "0.1.0"), cmdclass={"bdist_wheel": OneSystem})
