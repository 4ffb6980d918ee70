"""The manual is true, and every public name has one."""
import builtins
import doctest
import inspect
import os
import re

import pytest

import velstd
from conftest import ROOT


def test_the_page_shows_what_happens(monkeypatch):
    monkeypatch.chdir(os.path.dirname(os.environ["VELSTD_TEST_STORE"]))
    page = (ROOT / "docs/python.md").read_text()
    code = "\n".join(re.findall(r"^```python\n(>>>.*?)^```$", page, flags=re.S | re.M))
    test = doctest.DocTestParser().get_doctest(code, {}, "docs/python.md", None, 0)
    assert len(test.examples) > 30
    told = []
    runner = doctest.DocTestRunner()
    runner.run(test, out=told.append)
    test.globs.clear()
    assert not told, "".join(told)


def test_the_package_shows_what_happens():
    # Of the fake name that the exceptions have, there is no module.
    result = doctest.testmod(velstd)
    assert result.attempted >= 3 and result.failed == 0


def public():
    for name in (*velstd.__all__, "type"):
        thing = getattr(velstd, name)
        yield name, thing
        if inspect.isclass(thing):
            for member, value in vars(thing).items():
                if not member.startswith("_") and (callable(value) or isinstance(value, property)):
                    yield f"{name}.{member}", value


@pytest.mark.parametrize("name, thing", list(public()), ids=lambda x: str(x)[:40])
def test_every_public_name_has_a_contract(name, thing):
    if name != "Uninit":
        assert inspect.getdoc(thing), name


def test_all_public_names_are_listed():
    found = {name for name in vars(velstd)
             if not name.startswith("_") and not inspect.ismodule(getattr(velstd, name))
             and name != "annotations"}
    assert found | {"errors"} == {*velstd.__all__, "type"}


def test_importing_all_names_leaves_the_builtins_alone():
    names = {}
    exec("from velstd import *", names)
    assert not set(names) & set(dir(builtins)) - {"__builtins__"}


def test_public_names_have_public_homes():
    for name in velstd.__all__:
        thing = getattr(velstd, name)
        if inspect.isclass(thing) or inspect.isfunction(thing):
            assert thing.__module__ == "velstd", name
