# The Python reference, from the module's docstrings (which carry the C++ headers' documentation):
# `cmake --build build/release --target python_docs` writes it to build/release/docs/python.
import vela

project = "vela (Python)"
release = version = vela.__version__
extensions = ["sphinx.ext.autodoc"]
autodoc_default_options = {"members": True, "undoc-members": True, "show-inheritance": False,
                           "member-order": "alphabetical"}
autodoc_docstring_signature = True
html_theme = "alabaster"
exclude_patterns = []


def _plain_text(app, what, name, obj, options, lines):
    """The docstrings are plain text from the C++ headers: a '|' is an absolute value, not an rST substitution."""
    lines[:] = [line.replace("|", "\\|") for line in lines]


def setup(app):
    app.connect("autodoc-process-docstring", _plain_text)
