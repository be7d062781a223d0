"""`pip install ./python` in fresh virtual environments, offline, then the README's Python snippet
and the pytest plugin as a user meets them (found through the installed entry point)."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest

ROOT = Path(__file__).resolve().parents[2]


def _make_venv(folder, system_site_packages):
    try:
        import ensurepip  # noqa: F401  (python3-venv provides it on Debian)
        import venv  # noqa: F401
    except ImportError:
        pytest.skip("the venv module (Debian: python3-venv) is not installed")
    command = [sys.executable, "-m", "venv"] + (["--system-site-packages"] if system_site_packages else []) + [
        str(folder)]
    subprocess.run(command, check=True, timeout=240)
    python = folder / "bin" / "python"
    # --no-index: the install must need nothing from a package index (the build backend is in
    # the tree); without it a missing requirement would show as a slow network failure.
    subprocess.run([str(python), "-m", "pip", "install", "--no-index", "--disable-pip-version-check", "-q",
                    str(ROOT / "python")], check=True, timeout=240, cwd=str(folder))
    return python


def _clean_environment():
    environment = dict(os.environ)
    environment.pop("PYTHONPATH", None)  # only the installed copy may be found
    return environment


def test_readme_snippet_runs_from_a_fresh_install(tmp_path):
    python = _make_venv(tmp_path / "venv", system_site_packages=False)
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    section = readme[readme.index("\n## Python"):]
    snippet = re.search(r"```python\n(.*?)```", section, re.DOTALL).group(1)
    result = subprocess.run([str(python), "-c", snippet], capture_output=True, text=True, timeout=120,
                            cwd=str(tmp_path), env=_clean_environment())
    assert result.returncode == 0, result.stderr
    assert "I2C bus 0: 0x48 0x50" in result.stdout
    installed = subprocess.run([str(python), "-c", "import tarvix; print(tarvix.__file__)"], capture_output=True,
                               text=True, env=_clean_environment(), cwd=str(tmp_path), check=True)
    assert str(tmp_path / "venv") in installed.stdout


def test_the_installed_plugin_gives_users_the_fixture(tmp_path):
    python = _make_venv(tmp_path / "venv", system_site_packages=True)  # Debian's pytest, our package
    (tmp_path / "test_user.py").write_text(
        "import tarvix\n"
        "def test_production_code_on_the_bench(virtual_adapter):\n"
        "    with tarvix.Adapter(serial=virtual_adapter.serial) as dev:\n"
        "        dev.i2c.init()\n"
        "        assert dev.i2c.scan() == [0x48, 0x50]\n")
    result = subprocess.run([str(python), "-m", "pytest", "-q", "-p", "no:cacheprovider", str(tmp_path)],
                            capture_output=True, text=True, timeout=120, cwd=str(tmp_path),
                            env=_clean_environment())
    assert result.returncode == 0, result.stdout + result.stderr
    assert "1 passed" in result.stdout
