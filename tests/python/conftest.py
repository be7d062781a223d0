# The package's own pytest plugin gives the tests their emulated adapters, as it gives them to
# users; CMake puts python/ on PYTHONPATH and names the libraries of the build tree.
pytest_plugins = ["tarvix.testing"]
