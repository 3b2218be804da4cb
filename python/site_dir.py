"""Prints the folder, relative to an install prefix, where this Python finds packages."""
import os
import sys
import sysconfig

prefix = os.path.abspath(sys.argv[1])
version = "python%d.%d" % sys.version_info[:2]
for rel in ("lib/%s/dist-packages" % version, "lib/python3/dist-packages"):
    if os.path.join(prefix, rel) in sys.path:
        print(rel)
        break
else:
    paths = {"base": prefix, "platbase": prefix}
    print(os.path.relpath(sysconfig.get_path("platlib", "posix_prefix", vars=paths), prefix))
