#!/usr/bin/env python3
"""Unpacks every PPD of Debian's openprinting-ppds driver archive into a folder.

The driver ships its PPDs as one xz stream inside a Python program; asking it
for one file at a time ("cat URI") decompresses the archive from the start
each time, which would take hours for the whole set. This loads the driver's
index once, decompresses the archive once and writes each file under OUT by
its archive path. Also copies (unzipped) the plain files under /usr/share/ppd/openprinting.
"""
import argparse
import importlib.machinery
import importlib.util
import lzma
import base64
import gzip
import os
import sys

DRIVER = "/usr/lib/cups/driver/openprinting-ppds"
PLAIN = "/usr/share/ppd/openprinting"


def load_driver(path):
    loader = importlib.machinery.SourceFileLoader("openprinting_driver", path)
    found = importlib.util.spec_from_loader(loader.name, loader)
    module = importlib.util.module_from_spec(found)
    loader.exec_module(module)  # the driver only runs main() as __main__
    return module


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("out", help="folder to write the PPDs into")
    ap.add_argument("--driver", default=DRIVER)
    args = ap.parse_args()
    if not os.path.exists(args.driver):
        sys.exit(f"corpus-extract: {args.driver} is missing (apt-get install openprinting-ppds)")

    index = load_driver(args.driver).load()
    archive = lzma.decompress(base64.b64decode(index.pop("ARCHIVE").encode("ascii")))
    written = 0
    for key, (start, length, _entries) in index.items():
        rel = key.split("/", 1)[1] if "/" in key else key
        dest = os.path.join(args.out, "archive", rel)
        os.makedirs(os.path.dirname(dest), exist_ok=True)
        with open(dest, "wb") as f:
            f.write(archive[start:start + length])
        written += 1
    plain = 0
    for root, _dirs, files in os.walk(PLAIN):
        for name in files:
            src = os.path.join(root, name)
            dest = os.path.join(args.out, "plain", os.path.relpath(src, PLAIN))
            os.makedirs(os.path.dirname(dest), exist_ok=True)
            with open(src, "rb") as f:
                data = f.read()
            if data[:2] == b"\x1f\x8b":  # the plain files are gzipped PPDs
                data = gzip.decompress(data)
            with open(dest, "wb") as f:
                f.write(data)
            plain += 1
    print(f"corpus-extract: {written} archive PPDs and {plain} plain files in {args.out}")


if __name__ == "__main__":
    main()
