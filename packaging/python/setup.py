"""The wheel fits any Python 3, and a platform: nothing in it is linked with Python, but a library and programs are."""
from setuptools import Distribution, setup
from setuptools.command.bdist_wheel import bdist_wheel


class OfAPlatform(Distribution):
    def has_ext_modules(self):
        return True


class ForAnyPython(bdist_wheel):
    def get_tag(self):
        return "py3", "none", super().get_tag()[2]


setup(distclass=OfAPlatform, cmdclass={"bdist_wheel": ForAnyPython})
