"""Sequences do what lists do."""
import collections.abc
import copy
import random

import pytest

import velstd
from velstd import AnySequence, BoolSequence, IntSequence, RealSequence, StringSequence, Uninit

SAMPLES = {
    BoolSequence: [True, False, None, Uninit, True],
    IntSequence: [1, -5, None, Uninit, 2147483647],
    RealSequence: [1.5, -0.0, None, Uninit, float("inf")],
    StringSequence: ["a", "", None, "ü𝄞", "uninit"],
    AnySequence: [1, "b", None, Uninit, 2.5],
}
CLASSES = list(SAMPLES)
both = pytest.mark.parametrize("cls", CLASSES, ids=lambda cls: cls.__name__)


@both
def test_elements_come_back(cls):
    values = SAMPLES[cls]
    made = cls(values)
    assert list(made) == values
    assert [made[i] for i in range(-5, 5)] == values + values
    assert len(made) == 5 and made


@both
def test_it_is_a_mutable_sequence(cls):
    assert issubclass(cls, collections.abc.MutableSequence) and issubclass(cls, velstd.Sequence)


@both
def test_an_index_past_an_end_is_refused(cls):
    made = cls(SAMPLES[cls])
    for index in (5, -6, 10**30, -10**30):
        with pytest.raises(IndexError):
            made[index]
        with pytest.raises(IndexError):
            made[index] = SAMPLES[cls][0]
        with pytest.raises(IndexError):
            del made[index]
        with pytest.raises(IndexError):
            made.pop(index)
    assert made == SAMPLES[cls]


@both
@pytest.mark.parametrize("index", [None, "0", 1.0, object()], ids=repr)
def test_an_index_is_an_integer(cls, index):
    with pytest.raises(TypeError, match="indices must be integers"):
        cls()[index]


@both
def test_slices_are_sequences_of_the_same_class(cls):
    made, values = cls(SAMPLES[cls]), SAMPLES[cls]
    for start in (None, -7, -2, 0, 1, 4, 9):
        for stop in (None, -7, -1, 0, 3, 9):
            for step in (None, 1, 2, -1, -3):
                part = made[start:stop:step]
                assert type(part) is cls
                assert part == values[start:stop:step]


@both
def test_slices_are_deleted_as_in_lists(cls):
    for start in (None, -7, -2, 0, 1, 4, 9):
        for stop in (None, -7, -1, 0, 3, 9):
            for step in (None, 1, 2, -1, -3):
                made, values = cls(SAMPLES[cls]), list(SAMPLES[cls])
                del made[start:stop:step]
                del values[start:stop:step]
                assert made == values


@both
def test_slices_are_assigned_as_in_lists(cls):
    for index in (slice(1, 3), slice(None), slice(9, 9), slice(3, 1), slice(-2, None), slice(0, 0)):
        for new in ([], SAMPLES[cls][:1], SAMPLES[cls] * 2):
            made, values = cls(SAMPLES[cls]), list(SAMPLES[cls])
            made[index] = new
            values[index] = new
            assert made == values


def test_an_extended_slice_takes_as_many_as_it_has():
    made = IntSequence(range(6))
    made[::-2] = [10, 20, 30]
    assert made == [0, 30, 2, 20, 4, 10]
    with pytest.raises(ValueError, match="size 1 to extended slice of size 3"):
        made[::2] = [1]


def test_a_sequence_is_assigned_to_a_part_of_itself():
    made = IntSequence(range(4))
    made[1:3] = made
    assert made == [0, 0, 1, 2, 3, 3]
    made[:] = iter(made)
    assert made == [0, 0, 1, 2, 3, 3]


@both
def test_a_wrong_element_changes_nothing(cls):
    made = cls(SAMPLES[cls])
    wrong = [SAMPLES[cls][0], object()]
    for change in (lambda: made.extend(wrong), lambda: made.append(wrong[1]),
                   lambda: made.insert(0, wrong[1]), lambda: made.__setitem__(0, wrong[1]),
                   lambda: made.__setitem__(slice(0, 2), wrong)):
        with pytest.raises(TypeError, match="must be|no value"):
            change()
        assert made == SAMPLES[cls]


@pytest.mark.parametrize("cls, wrong", [
    (BoolSequence, 1), (BoolSequence, "true"), (IntSequence, 1.0), (IntSequence, "1"),
    (RealSequence, "1"), (RealSequence, 1j), (StringSequence, 1), (StringSequence, b"b"),
    (StringSequence, Uninit)], ids=repr)
def test_elements_are_of_their_kind(cls, wrong):
    with pytest.raises(TypeError, match=f"element 0 must be a.*{type(wrong).__name__}"):
        cls([wrong])


def test_reals_take_ints():
    assert list(map(type, RealSequence([1, 2.0, True]))) == [float] * 3


@both
def test_a_random_life_is_that_of_a_list(cls):
    chance = random.Random(7)
    made, model = cls(), []
    for _ in range(400):
        value = chance.choice(SAMPLES[cls])
        at = chance.randint(-12, 12)
        step = chance.choice([
            lambda s: s.append(value), lambda s: s.insert(at, value), lambda s: s.pop(),
            lambda s: s.pop(at), lambda s: s.reverse(), lambda s: s.extend([value] * 2),
            lambda s: s.__setitem__(at, value), lambda s: s.__delitem__(slice(at, at + 2)),
            lambda s: s.__setitem__(slice(at, at + 1), [value, value]), lambda s: s.remove(value),
            lambda s: s.index(value), lambda s: s.count(value), lambda s: s.__iadd__([value])])
        results = []
        for sequence in (made, model):
            try:
                result = step(sequence)
                results.append(list(result) if result is made else result)
            except (IndexError, ValueError) as error:
                results.append(type(error))
        assert results[0] == results[1]
        assert list(made) == model
        if len(model) > 30:
            made.clear()
            model.clear()


def test_nothing_is_popped_from_an_empty_one():
    with pytest.raises(IndexError, match="pop from empty sequence"):
        IntSequence().pop()


def test_sorting():
    made = IntSequence([3, 1, 2])
    made.sort()
    assert made == [1, 2, 3]
    made.sort(key=lambda x: -x)
    assert made == [3, 2, 1]
    words = StringSequence(["b", "A"])
    words.sort(key=str.lower, reverse=True)
    assert words == ["b", "A"]


@both
def test_copies_are_their_own(cls):
    made = cls(SAMPLES[cls])
    for other in (made.copy(), copy.copy(made), copy.deepcopy(made), made[:], made + []):
        assert type(other) is cls and other == made and not other.is_same(made)
        other.pop()
        assert len(made) == 5


def test_a_copy_shares_and_a_deep_copy_does_not():
    made = AnySequence([[1]])
    assert copy.copy(made)[0].is_same(made[0])
    deep = copy.deepcopy(made)
    assert deep == made and not deep[0].is_same(made[0])


def test_a_deep_copy_keeps_what_is_shared(odd):
    inner = AnySequence([1])
    copied = copy.deepcopy(AnySequence([inner, inner]))
    assert copied[0].is_same(copied[1])
    circle = odd(5)
    other = copy.deepcopy(circle)
    assert other[0].is_same(other)
    circle.clear()
    other.clear()


def test_equality():
    assert IntSequence([1, 2]) == IntSequence([1, 2]) == [1, 2]
    assert IntSequence([1]) != IntSequence([2]) and IntSequence([1]) != [1, 1]
    assert IntSequence([1]) == AnySequence([1]) == RealSequence([1])
    held = RealSequence([float("nan")])
    assert held == held and held != held.copy()
    assert IntSequence([1]) != (1,) and IntSequence() != "" and IntSequence() != None  # noqa: E711


def test_it_is_not_hashable():
    with pytest.raises(TypeError, match="unhashable"):
        hash(IntSequence())


def test_membership():
    made = AnySequence([1, "b", None])
    assert 1 in made and "b" in made and None in made and object() not in made and 2 not in made


def test_adding_makes_a_new_one():
    assert IntSequence([1]) + [2] + IntSequence([3]) == [1, 2, 3]
    with pytest.raises(TypeError):
        IntSequence() + 1
    made = same = IntSequence([1])
    made += made
    assert same == [1, 1]


def test_an_iterator_sees_what_is_appended():
    made = IntSequence([1])
    seen = []
    for value in made:
        seen.append(value)
        if len(made) < 4:
            made.append(value + 1)
    assert seen == [1, 2, 3, 4]


def test_texts():
    made = AnySequence([1, "a", [True], {"k": None}])
    assert repr(made) == "AnySequence([1, 'a', AnySequence([True]), AnyDict({'k': None})])"
    assert str(IntSequence([1, None])) == "intseq [ 0 : 1 1 : nil ]"


def test_a_sequence_that_contains_itself_has_a_text(odd):
    circle = odd(5)
    assert repr(circle) == "AnySequence([AnySequence([...])])"
    circle.clear()


def test_a_deep_sequence_has_a_text():
    value = velstd.AnySequence()
    for _ in range(5000):
        value = AnySequence([value])
    assert "..." in repr(value)


def test_a_list_that_is_put_in_is_copied():
    given = [1]
    made = AnySequence([given, {"a": 1}])
    given.append(2)
    assert type(made[0]) is AnySequence and made[0] == [1]
    assert type(made[1]) is velstd.AnyDict
    made[0].append(3)  # but what is in is the sequence itself
    assert made[0] == [1, 3]


def test_the_base_has_no_elements():
    with pytest.raises(TypeError, match="IntSequence"):
        velstd.Sequence([1])


def test_a_class_of_ones_own():
    class Scores(IntSequence):
        def __init__(self, best):
            super().__init__([best])

        def best(self):
            return max(self)

    made = Scores(5)
    made.append(7)
    assert made.best() == 7 and type(made[:]) is IntSequence
    made.__init__(1)
    assert made == [1]


def test_a_class_of_ones_own_keeps_what_it_likes():
    class Named(IntSequence):
        pass

    made = Named([1])
    made.name = "n"
    assert made.name == "n" and made == [1]
    del made.name
    assert not hasattr(made, "name")
    with pytest.raises(AttributeError):
        made._address = 22
    with pytest.raises(AttributeError):
        del made._address


def test_a_class_that_forgets_its_base_is_empty():
    class Empty(IntSequence):
        def __init__(self):
            pass

    assert Empty() == []


def test_an_iterable_that_fails_changes_nothing():
    def values():
        yield 1
        raise KeyError("mine")

    made = IntSequence([5])
    with pytest.raises(KeyError, match="mine"):
        made.extend(values())
    assert made == [5]


def test_a_sequence_has_no_attributes_to_set():
    with pytest.raises(AttributeError):
        IntSequence().name = 1
    with pytest.raises(AttributeError):
        IntSequence().name
