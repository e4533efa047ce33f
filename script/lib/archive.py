"""archive.py FOLDER NAME TIME FILE: packs FOLDER/NAME as NAME/... into a ZIP archive whose bytes depend on nothing but the
files' names and contents and TIME (seconds since 1970), which every entry gets."""

import sys
import time
import zipfile
from pathlib import Path

folder, name, seconds, target = sys.argv[1:]
moment = time.gmtime(int(seconds))[:6]
with zipfile.ZipFile(target, "w") as archive:
    for path in sorted((path for path in Path(folder, name).rglob("*") if path.is_file()), key=str):
        entry = zipfile.ZipInfo(path.relative_to(folder).as_posix(), moment)
        entry.compress_type = zipfile.ZIP_DEFLATED
        entry.create_system = 3  # Unix, whose permissions follow
        entry.external_attr = 0o100644 << 16
        archive.writestr(entry, path.read_bytes(), compresslevel=9)
