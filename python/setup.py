"""Installs the vekmesh package (pure Python: ctypes and numpy) with Debian's
setuptools, offline: `pip install ./python`.

The package needs libvekmesh.so at run time. With VEKMESH_LIBRARY naming it
when installing, the library is copied into the installed package, where it is
found first; otherwise it is looked for through VEKMESH_LIBRARY at run time
and on the loader path."""

import os
import shutil

from setuptools import setup
from setuptools.command.build_py import build_py


class BuildWithLibrary(build_py):
    def run(self):
        super().run()
        library = os.environ.get("VEKMESH_LIBRARY")
        if library:
            if not os.path.isfile(library):
                raise SystemExit("VEKMESH_LIBRARY=%s: no such file" % library)
            shutil.copy2(library, os.path.join(self.build_lib, "vekmesh", "libvekmesh.so"))


setup(
    name="vekmesh",
    version="0.1.0",
    description="Mesh repair and processing for 3-D printing (ctypes over libvekmesh)",
    packages=["vekmesh"],
    python_requires=">=3.9",
    install_requires=["numpy"],
    extras_require={"progress": ["tqdm"]},
    cmdclass={"build_py": BuildWithLibrary},
)
