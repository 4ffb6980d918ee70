"""Objects by the names of their types and attributes."""
import copy
import pickle
import warnings

import pytest

import velstd
from velstd import AnySequence, IntSequence, Uninit


def test_attributes_are_set_and_read():
    line = velstd.create("shop::Line", name="tea", price=12.5)
    assert (line.name, line.price, line.color, line.isGift) == ("tea", 12.5, None, False)
    line.name = "coffee"
    assert line.name == line["name"] == "coffee"
    assert line.attributes() == {"name": "coffee", "price": 12.5, "color": None, "isGift": False}


def test_an_unknown_attribute_is_told():
    line = velstd.create("shop::Line")
    with pytest.raises(AttributeError, match="'shop::Line' has no attribute 'weight'"):
        line.weight
    with pytest.raises(AttributeError, match="weight"):
        line.weight = 1
    with pytest.raises(AttributeError, match="weight"):
        velstd.create("shop::Line", weight=1)
    with pytest.raises(KeyError, match="weight"):
        line["weight"]
    with pytest.raises(KeyError, match="weight"):
        line["weight"] = 1
    with pytest.raises(AttributeError, match="cannot be deleted"):
        del line.name
    assert not hasattr(line, "weight") and getattr(line, "weight", 3) == 3


@pytest.mark.parametrize("name, value", [
    ("name", 5), ("name", b"tea"), ("price", "5"), ("color", 1.5), ("color", True), ("isGift", 1),
    ("isGift", "yes")])
def test_a_value_of_the_wrong_kind_is_told_with_the_name(name, value):
    line = velstd.create("shop::Line", name="tea", price=1, color="red", isGift=True)
    with pytest.raises(TypeError, match=f"{name} must be a"):
        setattr(line, name, value)
    with pytest.raises(TypeError, match=f"{name} must be a"):
        velstd.create("shop::Line", **{name: value})
    assert velstd.to_python(line) == {"name": "tea", "price": 1.0, "color": "red", "isGift": True}


@pytest.mark.parametrize("name, value", [
    ("next", IntSequence()), ("tags", IntSequence()), ("lines", AnySequence()),
    ("next", 1)], ids=str)
def test_an_object_of_the_wrong_type_is_told_by_the_library(name, value):
    order = velstd.create("shop::Order")
    with pytest.raises(TypeError) as caught:
        order[name] = value
    assert isinstance(caught.value, velstd.errors.XTypeMismatch)


def test_what_a_value_raises_itself_is_passed_on():
    class Torn(dict):
        def values(self):
            raise KeyError("mine")

    with pytest.raises(KeyError, match="mine"):
        velstd.create("shop::Order").extra = Torn(a=1)


def test_attributes_take_what_fits():
    order = velstd.create("shop::Order", tags=["a", None], stock={"b": 1}, extra={"c": [1]})
    assert order.tags == ["a", None] and type(order.tags) is velstd.StringSequence
    assert order.stock == {"b": 1} and type(order.stock) is velstd.IntDict
    assert order.extra == {"c": [1]}
    order.next = velstd.create("shop::Order", number=2)
    assert order.next.number == 2
    order.next = None
    assert order.next is None


def test_a_list_for_a_dictionary_is_refused_and_the_other_way():
    with pytest.raises(TypeError, match="stock must be a IntDict, not list"):
        velstd.create("shop::Order", stock=[1])
    with pytest.raises(TypeError, match="tags must be a StringSequence, not dict"):
        velstd.create("shop::Order", tags={})
    with pytest.raises(TypeError, match="lines.*standard"):
        velstd.create("shop::Order", lines=[])


def test_enumerations_take_names_numbers_and_values():
    line = velstd.create("shop::Line", color="green")
    green = line.color
    line.color = 2
    assert (line.color.name, line.color.value) == ("blue", 2)
    line.color = green
    assert line.color == green == velstd.EnumValue("shop::Color", "green")
    for wrong in ("pink", 3, -1):
        with pytest.raises(ValueError, match="shop::Color has no value"):
            line.color = wrong


def test_a_name_of_the_python_class_is_reached_in_brackets():
    order = velstd.create("shop::Order")
    assert order["type"] == 7 and order.type == velstd.type("shop::Order")
    order["type"] = 8
    assert order["type"] == 8
    with pytest.raises(AttributeError, match=r"object\['type'\]"):
        order.type = 9


def test_dir_knows_the_attributes():
    assert {"name", "price", "is_a", "attributes"} <= set(dir(velstd.create("shop::Line")))


def test_parents_are_known():
    express = velstd.create("shop::Express", number=1, hours=3)
    assert express.is_a("shop::Order") and express.is_a(velstd.type("shop::Express"))
    assert not express.is_a("shop::Line") and not express.is_a("int")
    assert not velstd.create("shop::Order").is_a("shop::Express")
    assert list(express.attributes())[0] == "number" and list(express.attributes())[-1] == "hours"
    with pytest.raises(LookupError, match="no::Such"):
        express.is_a("no::Such")
    with pytest.raises(TypeError, match="type must be"):
        express.is_a(5)


def test_unions_show_the_branch_in_use():
    pay = velstd.create("shop::Payment", kind=2, cash=5)
    assert pay.attributes() == {"kind": 2, "cash": 5} and pay.cash == 5
    pay.kind = 1
    pay.card = "gold"
    assert pay.attributes() == {"kind": 1, "card": "gold"} == velstd.to_python(pay)
    pay.kind = 77
    assert list(pay.attributes()) == ["kind", "other"]
    with pytest.raises(AttributeError):
        pay.cheque
    with pytest.raises(KeyError):
        pay["cheque"]


def test_a_deprecated_attribute_warns():
    letter = velstd.create("shop::Letter", Subject="a")
    letter["_s11n_deprecated"] = "Stamp"
    with pytest.warns(DeprecationWarning, match="shop::Letter: attribute Stamp"):
        letter["Stamp"] = 1
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        letter.Subject = "b"
    assert letter.Subject == "b"


@pytest.mark.parametrize("name, error", [
    ("no::Such", LookupError), ("", LookupError), ("shop::Color", TypeError), ("int", TypeError),
    ("a\0b", ValueError), (5, TypeError), (None, TypeError)], ids=repr)
def test_what_cannot_be_made_is_told(name, error):
    with pytest.raises(error):
        velstd.create(name)


def test_identity_is_that_of_the_object():
    line = velstd.create("shop::Line")
    again, other = AnySequence([line])[0], velstd.create("shop::Line")
    assert again is not line and again.is_same(line) and again == line and hash(again) == hash(line)
    assert other != line and not other.is_same(line) and line != 5 and not line.is_same(None)
    assert {line: 1}[again] == 1
    assert velstd.compare(line, other)


def test_texts():
    line = velstd.create("shop::Line", name="tea", price=1.5, color="red")
    assert str(line) == 'shop::Line { name : "tea" price : 1.5 color : red isGift : false }'
    assert repr(line).startswith("<velstd.Object shop::Line at 0x")
    assert (line.type_name, line.type.kind) == ("shop::Line", "struct")


def test_copies():
    order = velstd.create("shop::Order", number=4, extra=[1])
    shallow = copy.copy(order)
    assert shallow.number == 4 and not shallow.is_same(order) and shallow.extra.is_same(order.extra)
    pay = velstd.create("shop::Payment", kind=1, card="x")
    assert copy.deepcopy(pay).attributes() == {"kind": 1, "card": "x"}
    line = velstd.create("shop::Line", name="a", price=2)
    deep = copy.deepcopy(AnySequence([line, line]))
    assert deep[0].is_same(deep[1]) and not deep[0].is_same(line)
    assert velstd.compare(deep[0], line)


def test_what_cannot_be_copied_is_told():
    with pytest.raises(TypeError, match="shop::Lineseq cannot be copied"):
        copy.deepcopy(velstd.create("shop::Order"))


@pytest.mark.parametrize("make", [
    lambda: velstd.create("shop::Line"), lambda: IntSequence([1]), lambda: velstd.AnyDict(a=1),
    lambda: velstd.type("shop::Line"), lambda: velstd.EnumValue("shop::Color", 0),
    lambda: velstd.type("shop::Line").attributes[0]], ids=range(6))
def test_pickling_is_refused(make):
    for protocol in range(pickle.HIGHEST_PROTOCOL + 1):
        with pytest.raises(TypeError, match="cannot pickle.*to_python"):
            pickle.dumps(make(), protocol)


def test_objects_are_not_called_into_being():
    for cls in (velstd.Object, velstd.Type, velstd.Attribute):
        with pytest.raises(TypeError):
            cls()


def test_an_object_is_no_collection():
    line = velstd.create("shop::Line")
    with pytest.raises(TypeError, match="not iterable"):
        iter(line)
    with pytest.raises(TypeError):
        "name" in line
    with pytest.raises(TypeError, match="name must be a str"):
        line[0]


def test_what_has_never_been_set_reads_so():
    assert velstd.create("shop::Payment", kind=9)["other"] is Uninit
