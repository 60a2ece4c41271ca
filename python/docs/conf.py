"""Sphinx settings of the API reference: `make docs` writes it to build/docs/python."""
import os
import sys

sys.path.insert(0, os.path.abspath(".."))

project = "qvt for Python"
extensions = ["sphinx.ext.autodoc", "numpydoc"]
autodoc_member_order = "bysource"
autodoc_typehints = "none"  # the docstrings say the types, as numpydoc reads them
numpydoc_show_class_members = False
numpydoc_validation_checks = {"all", "GL01", "GL02", "SA01", "EX01", "ES01", "RT02", "PR02", "SS05", "SS06",
                              "GL08", "PR09", "RT05", "SS03", "YD01"}
html_theme = "classic"
html_show_sourcelink = False
