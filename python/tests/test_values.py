"""Values on their way to the library and back."""
import copy
import fractions
import math
import pickle

import pytest

import velstd
from conftest import fresh
from velstd import AnyDict, AnySequence, Uninit, _c
from velstd._values import decode_variant

PLAIN = [None, Uninit, True, False, 0, 1, -1, 2147483647, -2147483646, 0.0, -0.0, 2.5, 1e308,
         float("inf"), "", "text", "wörld € 𝄞", "uninit", "nil"]


@pytest.mark.parametrize("value", PLAIN, ids=repr)
def test_a_value_comes_back_as_itself(value):
    back = AnySequence([value])[0]
    assert type(back) is type(value)
    assert back == value or back is value


def test_not_a_number_comes_back():
    assert math.isnan(AnySequence([math.nan])[0])


def test_the_sign_of_zero_comes_back():
    assert math.copysign(1, AnySequence([-0.0])[0]) == -1


@pytest.mark.parametrize("number", [2147483648, -2147483648, -2147483647, -2147483649, 10**30])
@pytest.mark.parametrize("make", [
    lambda n: AnySequence([n]), lambda n: velstd.IntSequence([n]), lambda n: AnyDict(a=n),
    lambda n: velstd.create("shop::Order", number=n), velstd.from_python], ids=range(5))
def test_a_number_that_does_not_fit_is_refused(make, number):
    with pytest.raises(OverflowError, match=str(number)):
        make(number)


@pytest.mark.parametrize("number", [1e126, 9e125])
@pytest.mark.parametrize("make", [
    lambda n: AnySequence([n]), lambda n: velstd.RealSequence([n]), lambda n: velstd.RealDict(a=n),
    lambda n: velstd.create("shop::Line", price=n)], ids=range(4))
def test_a_real_that_means_nil_is_refused(make, number):
    with pytest.raises(OverflowError, match="nil or uninit"):
        make(number)


@pytest.mark.parametrize("value", [b"bytes", object(), 1j, {1}, len, type, range(3)], ids=repr)
def test_what_is_no_value_is_refused(value):
    for give in (lambda: AnySequence([value]), lambda: AnyDict(key=value),
                 lambda: velstd.from_python([value]), lambda: velstd.format_value(value)):
        with pytest.raises(TypeError, match=type(value).__name__):
            give()


def test_whatever_is_an_index_is_an_int():
    class Seven:
        def __index__(self):
            return 7

    assert list(velstd.IntSequence([Seven()])) == [7]
    assert AnySequence([Seven()])[0] == 7


def test_whatever_is_a_real_number_is_a_float():
    half = fractions.Fraction(1, 2)
    assert list(velstd.RealSequence([half])) == [0.5] == list(AnySequence([half]))
    assert type(AnySequence([half])[0]) is float
    with pytest.raises(OverflowError):
        velstd.RealSequence([10**400])


def test_a_text_with_a_null_character_is_refused():
    with pytest.raises(ValueError, match="element 0.*null character"):
        velstd.StringSequence(["a\0b"])
    with pytest.raises(ValueError, match="null character"):
        AnySequence(["a\0b"])


def test_a_lone_surrogate_is_refused():
    for make in (velstd.StringSequence, AnySequence):
        with pytest.raises(UnicodeEncodeError, match="surrogates"):
            make(["\ud800"])


def test_texts_of_other_programs_are_read(texts):
    held = texts()
    assert held[0] == "wü€"  # made of wide characters
    assert held[2] is None
    assert held[3] == ""


def test_text_that_is_no_utf_8_is_told(texts):
    held = texts()
    with pytest.raises(UnicodeDecodeError):
        held[1]
    assert '"latin \\xfc"' in velstd.format_value(held)


def test_values_that_python_cannot_make_are_read(odd):
    assert odd(0)[0] is Uninit
    assert odd(2)[0] == velstd.type("shop::Line")
    nameless = odd(3)[0]
    assert (nameless.value, nameless.name, str(nameless)) == (99, None, "99")
    assert odd(4)[0] == -2147483647


def test_objects_that_are_none_are_nil_or_uninit():
    for address, value in ((None, None), (_c.UNINIT_ADDRESS, Uninit)):
        record = _c.XAny(kind=_c.KIND_OBJECT)
        record.u.o = address
        assert decode_variant(record) is value


def test_an_object_that_is_not_counted_is_refused(odd):
    with pytest.raises(TypeError, match="shop::Shelf.*not counted"):
        odd(1)[0]
    with pytest.raises(TypeError, match="not counted"):
        velstd.create("shop::Shelf")


def test_types_are_values_too():
    held = velstd.type("shop::Line")
    assert AnySequence([held])[0] is held


def test_uninit_is_one_and_false():
    assert not Uninit
    assert type(Uninit)() is Uninit and copy.deepcopy(Uninit) is Uninit
    assert pickle.loads(pickle.dumps(Uninit)) is Uninit
    assert repr(Uninit) == "velstd.Uninit"


def test_from_python_converts_through_all_levels():
    value = velstd.from_python({"a": [1, (2.5, None)], "b": {"c": True}})
    assert velstd.format_value(value) == (
        'anydict { "a" : anyseq [ 0 : 1 1 : anyseq [ 0 : 2.5 1 : nil ] ] '
        '"b" : anydict { "c" : true } }')


@pytest.mark.parametrize("value", PLAIN, ids=repr)
def test_from_python_leaves_plain_values_alone(value):
    assert velstd.from_python(value) is value


def test_to_python_undoes_from_python():
    value = {"a": [1, [2.5, None, True]], "b": {"c": "x", "d": {}}, "e": []}
    assert velstd.to_python(velstd.from_python(value)) == value


def test_what_occurs_twice_occurs_twice_after():
    inner = [1]
    outer = velstd.from_python([inner, inner])
    assert outer[0].is_same(outer[1])
    back = velstd.to_python(outer)
    assert back[0] is back[1]


def test_a_list_that_contains_itself_is_refused():
    value = []
    value.append([value])
    with pytest.raises(ValueError, match="contains itself"):
        velstd.from_python(value)


def test_a_sequence_that_contains_itself_becomes_such_a_list(odd):
    circle = odd(5)
    back = velstd.to_python(circle)
    assert back[0] is back
    circle.clear()


def test_depth_is_no_limit():
    value = 1
    for _ in range(5000):
        value = [value]
    back = velstd.to_python(velstd.from_python(value))
    for _ in range(5000):
        back, value = back[0], value[0]
    assert back == value == 1


def test_keys_must_be_text():
    with pytest.raises(TypeError, match="key must be a str, not int"):
        velstd.from_python({1: 2})


def test_to_python_takes_objects_apart():
    order = velstd.create("shop::Line", name="tea", color="blue")
    assert velstd.to_python([order] and AnySequence([order])) == [
        {"name": "tea", "price": 0.0, "color": "blue", "isGift": False}]


def test_objects_that_are_made_when_asked_for_are_told_apart():
    # Each has a place in memory that the one before has left.
    held = AnySequence([fresh() for _ in range(4)])
    assert len({one["made"][0] for one in velstd.to_python(held)}) == 4


def test_to_python_of_uninit_is_what_is_asked_for():
    assert velstd.to_python(AnySequence([Uninit, 1]), uninit=None) == [None, 1]
    assert velstd.to_python(Uninit) is Uninit


def test_to_python_tells_what_cannot_be_read():
    with pytest.raises(TypeError, match="shop::Lineseq"):
        velstd.to_python(velstd.create("shop::Order"))
    with pytest.raises(TypeError, match=r"int\[2\]\[3\]"):
        velstd.to_python(velstd.create("shop::Board"))


def test_printing(capsys):
    velstd.print_value([1, {"a": None}])
    velstd.print_value(velstd.IntSequence([1]), indent=2)
    assert capsys.readouterr().out == (
        'anyseq [ 0 : 1 1 : anydict { "a" : nil } ]\nintseq\n[\n  0 : 1\n]\n')


@pytest.mark.parametrize("value, text", [
    (None, "nil"), (Uninit, ""), (True, "true"), (2.5, "2.5"), ("a", '"a"'),
    (velstd.EnumValue("shop::Color", "green"), "green")], ids=repr)
def test_plain_values_are_printed(value, text):
    assert velstd.format_value(value) == text


def test_a_wrong_indent_is_refused():
    with pytest.raises(ValueError, match="indent"):
        velstd.format_value(1, indent=-1)
    with pytest.raises(TypeError, match="indent"):
        velstd.format_value(1, indent="2")


def test_comparing_goes_through_all_levels():
    one, same, other = (velstd.from_python([1, {"a": [x]}]) for x in (5, 5, 6))
    assert velstd.compare(one, same) and not velstd.compare(one, other)


def test_comparing_wants_objects():
    with pytest.raises(TypeError, match="second must be a velstd.Object, not int"):
        velstd.compare(AnySequence(), 1)
