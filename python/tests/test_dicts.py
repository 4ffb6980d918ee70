"""Dictionaries do what dicts do."""
import collections.abc
import copy
import random

import pytest

import velstd
from velstd import AnyDict, BoolDict, IntDict, RealDict, StringDict, Uninit

SAMPLES = {
    BoolDict: {"a": True, "b": False, "": None, "ü": Uninit},
    IntDict: {"a": 1, "b": -5, "": None, "ü": Uninit},
    RealDict: {"a": 1.5, "b": -0.0, "": None, "ü": Uninit},
    StringDict: {"a": "x", "b": "", "": None, "ü": "𝄞"},
    AnyDict: {"a": 1, "b": "y", "": None, "ü": Uninit},
}
both = pytest.mark.parametrize("cls", list(SAMPLES), ids=lambda cls: cls.__name__)


@both
def test_values_come_back(cls):
    made = cls(SAMPLES[cls])
    assert dict(made) == SAMPLES[cls] and len(made) == 4
    assert {key: made[key] for key in made} == SAMPLES[cls]
    assert made == SAMPLES[cls] and SAMPLES[cls] == made


@both
def test_it_is_a_mutable_mapping(cls):
    assert issubclass(cls, collections.abc.MutableMapping) and issubclass(cls, velstd.Dict)


@both
def test_a_missing_key_is_told(cls):
    made = cls(SAMPLES[cls])
    for use in (lambda: made["none"], lambda: made.__delitem__("none"), lambda: made.pop("none")):
        with pytest.raises(KeyError, match="none"):
            use()
    assert made.get("none", 5) == 5 and made.pop("none", 5) == 5 and "none" not in made
    assert made == SAMPLES[cls]


@both
@pytest.mark.parametrize("key", [1, None, b"a", ("a",), Uninit], ids=repr)
def test_a_key_is_a_text(cls, key):
    made = cls(SAMPLES[cls])
    for use in (lambda: made[key], lambda: made.__setitem__(key, made["a"]),
                lambda: made.__delitem__(key)):
        with pytest.raises(TypeError, match="key must be a str"):
            use()
    assert key not in made


@pytest.mark.parametrize("key", ["a\0b", "\ud800"], ids=ascii)
def test_a_key_that_cannot_be_one_is_refused(key):
    made = IntDict(a=1)
    with pytest.raises(ValueError):
        made[key] = 1
    assert key not in made and made == {"a": 1}


@both
def test_a_wrong_value_changes_nothing(cls):
    made = cls(SAMPLES[cls])
    with pytest.raises(TypeError, match="'a'"):
        made["a"] = object()
    assert made == SAMPLES[cls]


@both
def test_a_random_life_is_that_of_a_dict(cls):
    chance = random.Random(11)
    made, model = cls(), {}
    for _ in range(250):
        key = f"key{chance.randint(0, 40)}"
        value = chance.choice(list(SAMPLES[cls].values()))
        step = chance.choice([
            lambda d: d.__setitem__(key, value), lambda d: d.__delitem__(key),
            lambda d: d.pop(key, 1), lambda d: d.setdefault(key, value), lambda d: d.get(key),
            lambda d: key in d, lambda d: len(d), 
            lambda d: d.update({key: value, key + "x": value})])
        results = []
        for mapping in (made, model):
            try:
                results.append(step(mapping))
            except KeyError:
                results.append(KeyError)
        assert results[0] == results[1]
        assert dict(made) == model


def test_views():
    made = IntDict(a=1, b=2)
    assert sorted(made.keys()) == ["a", "b"] and sorted(made.values()) == [1, 2]
    assert sorted(made.items()) == [("a", 1), ("b", 2)] and made.keys() & {"a", "z"} == {"a"}


def test_many_entries_go_one_by_one_and_at_once():
    made = IntDict({str(i): i for i in range(2000)})
    taken = dict(made.popitem() for _ in range(10))
    assert len(made) == 1990 and all(str(v) == k and k not in made for k, v in taken.items())
    made.clear()
    assert len(made) == 0 and list(made) == []
    made["a"] = 1
    assert made == {"a": 1}
    with pytest.raises(KeyError):
        IntDict().popitem()


def test_an_iterator_notices_a_change_of_size():
    for change in (lambda d: d.__setitem__("new", 1), lambda d: d.__delitem__("b")):
        made = IntDict(a=1, b=2, c=3)
        with pytest.raises(RuntimeError, match="changed size"):
            for key in made:
                change(made) if key != "b" else None


def test_values_may_change_while_iterating():
    made = IntDict(a=1, b=2)
    for key in made:
        made[key] += 10
    assert made == {"a": 11, "b": 12}


def test_ways_to_make_one():
    assert IntDict([("a", 1)], b=2) == {"a": 1, "b": 2}
    assert IntDict.fromkeys("ab", 0) == {"a": 0, "b": 0}
    assert AnyDict(values=1) == {"values": 1}
    made = IntDict(a=1)
    made.__init__(b=2)
    assert made == {"b": 2}
    with pytest.raises(TypeError, match="IntDict"):
        velstd.Dict()


def test_merging():
    made = same = IntDict(a=1)
    assert made | {"b": 2} == {"a": 1, "b": 2} and type(made | {}) is IntDict
    made |= {"a": 3}
    assert same == {"a": 3}
    with pytest.raises(TypeError):
        made | 1


@both
def test_copies_are_their_own(cls):
    made = cls(SAMPLES[cls])
    for other in (made.copy(), copy.copy(made), copy.deepcopy(made)):
        assert type(other) is cls and other == made and not other.is_same(made)
        other.clear()
        assert len(made) == 4


def test_equality():
    assert IntDict(a=1) == AnyDict(a=1) == {"a": 1}
    assert IntDict(a=1) != {"a": 2} and IntDict(a=1) != {"b": 1} and IntDict(a=1) != {}
    held = RealDict(a=float("nan"))
    assert held == held and held != held.copy()
    assert IntDict() != [] and IntDict() != None  # noqa: E711
    with pytest.raises(TypeError, match="unhashable"):
        hash(IntDict())


def test_texts():
    assert repr(AnyDict(a=[1])) == "AnyDict({'a': AnySequence([1])})"
    assert str(IntDict(a=None)) == 'intdict { "a" : nil }'
