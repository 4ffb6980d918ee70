"""What can be asked of types."""
import copy

import pytest

import velstd


def test_types_are_listed_by_name():
    names = [one.name for one in velstd.types()]
    assert names == sorted(names) and len(names) == len(set(names))
    assert {"int", "anyseq", "vellib::XException", "shop::Order"} <= set(names)


def test_every_type_is_found_by_its_name():
    for one in velstd.types():
        assert velstd.type(one.name) is one


def test_every_type_answers_every_question():
    kinds = set()
    for one in velstd.types():
        kinds.add(one.kind)
        for question in ("is_counted", "parents", "attributes", "discriminator", "branches",
                         "values", "element_type", "dimensions"):
            getattr(one, question)
        for attribute in one.attributes:
            assert isinstance(attribute.type, velstd.Type) and attribute.name
        assert repr(one) == f"<velstd.Type {one.name}: {one.kind}>"
    assert {"basic", "enum", "object", "struct", "union", "sequence", "dictionary"} <= kinds


@pytest.mark.parametrize("name, error", [
    ("no such", LookupError), ("", LookupError), ("a\0", ValueError), (1, TypeError),
    (None, TypeError), (b"int", TypeError)], ids=repr)
def test_an_unknown_name_is_told(name, error):
    with pytest.raises(error):
        velstd.type(name)


def test_a_structure_has_attributes():
    line = velstd.type("shop::Line")
    assert [(a.name, a.type.name, a.is_optional) for a in line.attributes] == [
        ("name", "string", False), ("price", "real", False), ("color", "shop::Color", True),
        ("isGift", "bool", False)]
    assert line.is_counted and line.parents == () and line.element_type is None
    assert repr(line.attributes[0]) == "<velstd.Attribute name: string>"


def test_a_structure_has_those_of_its_parents_first():
    express = velstd.type("shop::Express")
    assert express.parents == (velstd.type("shop::Order"),)
    assert [a.name for a in express.attributes] == [
        "number", "lines", "tags", "stock", "extra", "next", "type", "hours"]
    assert express.is_a("shop::Order") and not velstd.type("shop::Order").is_a(express)


def test_a_union_has_branches():
    pay = velstd.type("shop::Payment")
    assert pay.kind == "union" and pay.discriminator.name == "kind"
    assert {label: branch.name for label, branch in pay.branches.items()} == {
        1: "card", 2: "cash", None: "other"}
    assert [a.name for a in pay.attributes] == ["kind", "card", "cash", "other"]


def test_an_enumeration_has_values():
    color = velstd.type("shop::Color")
    assert [(v.name, int(v), str(v)) for v in color.values] == [
        ("red", 0, "red"), ("green", 1, "green"), ("blue", 2, "blue")]
    assert repr(color.values[1]) == "<shop::Color.green: 1>"


def test_values_of_enumerations_are_equal_by_type_and_number():
    red = velstd.EnumValue("shop::Color", "red")
    assert red == velstd.EnumValue(velstd.type("shop::Color"), 0) and len({red, red}) == 1
    assert red != velstd.EnumValue("shop::Color", 1) and red != 0 and red != "red"
    assert velstd.AnySequence([red])[0] == red


@pytest.mark.parametrize("type, value, error", [
    ("shop::Color", "pink", ValueError), ("shop::Color", 3, ValueError),
    ("shop::Color", -1, ValueError), ("shop::Color", 2**40, OverflowError),
    ("shop::Color", None, TypeError), ("shop::Line", 0, TypeError), (5, 0, TypeError),
    ("no::Such", 0, LookupError), ("shop::Color", "a\0", ValueError)], ids=repr)
def test_values_that_an_enumeration_has_not(type, value, error):
    with pytest.raises(error):
        velstd.EnumValue(type, value)


def test_collections_tell_their_elements():
    assert velstd.type("shop::Lineseq").element_type == velstd.type("shop::Line")
    assert velstd.type("intdict").element_type.name == "int"


def test_an_array_tells_its_sizes():
    cells = velstd.create("shop::Board").cells.type
    assert (cells.kind, cells.dimensions, cells.element_type.name) == ("array", (2, 3), "int")
    assert velstd.type("intseq").dimensions == () and velstd.type("int").element_type is None


def test_copies_of_types_are_themselves():
    for one in (velstd.type("int"), velstd.type("shop::Line").attributes[0],
                velstd.EnumValue("shop::Color", 0)):
        assert copy.copy(one) is copy.deepcopy(one) is one


def test_each_collection_has_its_type():
    for cls in (velstd.BoolSequence, velstd.IntSequence, velstd.RealSequence, velstd.StringSequence,
                velstd.AnySequence):
        assert cls().type.kind == "sequence"
    for cls in (velstd.BoolDict, velstd.IntDict, velstd.RealDict, velstd.StringDict,
                velstd.AnyDict):
        made = cls()
        assert made.type.kind == "dictionary"
        assert type(velstd.AnySequence([made])[0]) is cls


def test_types_are_hashable_and_equal_by_name():
    line = velstd.type("shop::Line")
    assert {line: 1}[velstd.create("shop::Line").type] == 1 and line != "shop::Line"
