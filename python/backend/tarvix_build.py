"""A PEP 517 build backend for the tarvix package, written with the standard library only.

The package is pure Python, so a wheel is a zip of the package folder plus its metadata. Keeping
the backend in the tree means that ``pip install ./python`` needs nothing from a package index,
which build servers without network access (and Debian's python3-venv with no PyPI) rely on.
"""

from __future__ import annotations

import base64
import hashlib
import io
import os
import re
import tarfile
import zipfile
from pathlib import Path
from typing import Dict, List, Optional, Tuple

ROOT = Path(__file__).resolve().parent.parent
PACKAGE = "tarvix"


def _project() -> Dict[str, object]:
    text = (ROOT / "pyproject.toml").read_text(encoding="utf-8")
    try:
        import tomllib

        return tomllib.loads(text)["project"]
    except ImportError:  # before Python 3.11: the few plain keys this file uses
        project: Dict[str, object] = {}
        for key in ("name", "version", "description", "requires-python"):
            match = re.search(r'^%s\s*=\s*"([^"]*)"' % re.escape(key), text, re.MULTILINE)
            if match:
                project[key] = match.group(1)
        project["entry-points"] = {"pytest11": {"tarvix": "tarvix.testing"}}
        return project


def _names() -> Tuple[str, str]:
    project = _project()
    return str(project["name"]), str(project["version"])


def _metadata() -> str:
    project = _project()
    lines = [
        "Metadata-Version: 2.1",
        "Name: %s" % project["name"],
        "Version: %s" % project["version"],
        "Summary: %s" % project.get("description", ""),
        "Requires-Python: %s" % project.get("requires-python", ">=3.8"),
        "Description-Content-Type: text/markdown",
        "",
        (ROOT / "README.md").read_text(encoding="utf-8"),
    ]
    return "\n".join(lines)


def _entry_points() -> str:
    groups = _project().get("entry-points", {})
    text = ""
    for group, entries in dict(groups).items():  # type: ignore[arg-type]
        text += "[%s]\n" % group + "".join("%s = %s\n" % item for item in dict(entries).items()) + "\n"
    return text


def _package_files() -> List[Path]:
    files = []
    for path in sorted((ROOT / PACKAGE).rglob("*")):
        if path.is_file() and "__pycache__" not in path.parts and path.suffix not in (".pyc", ".pyo"):
            files.append(path)
    return files


def _record_line(name: str, data: bytes) -> str:
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode("ascii")
    return "%s,sha256=%s,%d" % (name, digest, len(data))


def _write_wheel(wheel_directory: str, contents: List[Tuple[str, bytes]]) -> str:
    name, version = _names()
    dist_info = "%s-%s.dist-info" % (name, version)
    contents = contents + [
        (dist_info + "/METADATA", _metadata().encode("utf-8")),
        (dist_info + "/WHEEL", b"Wheel-Version: 1.0\nGenerator: tarvix_build\nRoot-Is-Purelib: true\nTag: py3-none-any\n"),
        (dist_info + "/entry_points.txt", _entry_points().encode("utf-8")),
    ]
    record = [_record_line(path, data) for path, data in contents] + [dist_info + "/RECORD,,"]
    contents.append((dist_info + "/RECORD", ("\n".join(record) + "\n").encode("utf-8")))

    filename = "%s-%s-py3-none-any.whl" % (name, version)
    with zipfile.ZipFile(os.path.join(wheel_directory, filename), "w", zipfile.ZIP_DEFLATED) as wheel:
        for path, data in contents:
            info = zipfile.ZipInfo(path, date_time=(2024, 1, 1, 0, 0, 0))
            info.external_attr = 0o644 << 16
            wheel.writestr(info, data, zipfile.ZIP_DEFLATED)
    return filename


def get_requires_for_build_wheel(config_settings: Optional[dict] = None) -> List[str]:
    return []


def get_requires_for_build_sdist(config_settings: Optional[dict] = None) -> List[str]:
    return []


def get_requires_for_build_editable(config_settings: Optional[dict] = None) -> List[str]:
    return []


def build_wheel(wheel_directory: str, config_settings: Optional[dict] = None,
                metadata_directory: Optional[str] = None) -> str:
    contents = [(path.relative_to(ROOT).as_posix(), path.read_bytes()) for path in _package_files()]
    return _write_wheel(wheel_directory, contents)


def build_editable(wheel_directory: str, config_settings: Optional[dict] = None,
                   metadata_directory: Optional[str] = None) -> str:
    """An editable install: a .pth file that puts this folder on sys.path."""
    return _write_wheel(wheel_directory, [(PACKAGE + ".pth", (str(ROOT) + "\n").encode("utf-8"))])


def build_sdist(sdist_directory: str, config_settings: Optional[dict] = None) -> str:
    name, version = _names()
    base = "%s-%s" % (name, version)
    filename = base + ".tar.gz"
    with tarfile.open(os.path.join(sdist_directory, filename), "w:gz", format=tarfile.PAX_FORMAT) as sdist:
        for path in [ROOT / "pyproject.toml", ROOT / "README.md", ROOT / "backend" / "tarvix_build.py"] + _package_files():
            sdist.add(str(path), arcname="%s/%s" % (base, path.relative_to(ROOT).as_posix()))
        info = tarfile.TarInfo("%s/PKG-INFO" % base)
        data = _metadata().encode("utf-8")
        info.size = len(data)
        sdist.addfile(info, io.BytesIO(data))
    return filename
