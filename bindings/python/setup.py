"""A wheel that carries the library: for any Python 3, but for one system. ./dev package puts the library into the package
and sets VEKAPI_VERSION."""

import os

from setuptools import Distribution, setup
from wheel.bdist_wheel import bdist_wheel


class CarriesLibrary(Distribution):
    def has_ext_modules(self):
        return True


class OneSystem(bdist_wheel):
    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(version=os.environ.get("VEKAPI_VERSION", "0.1.0"), distclass=CarriesLibrary, cmdclass={"bdist_wheel": OneSystem})
