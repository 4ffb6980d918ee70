"""What the library raises are exceptions of Python."""
import gc
import traceback

import pytest

import velstd
from velstd import errors


@pytest.mark.parametrize("name, builtin", [
    ("XInvalidSeqIndex", IndexError), ("XInvalidDictIndex", IndexError),
    ("XInvalidArrayIndex", IndexError), ("XNegativeIndex", IndexError),
    ("XInvalidDictKey", KeyError),
    ("XTypeMismatch", TypeError), ("XNull", ValueError), ("XNotInitialized", ValueError),
    ("OutOfMemory", MemoryError), ("SizeLimitExceeded", OverflowError),
    ("XSerialization", Exception)])
def test_exceptions_are_pythons_own_too(name, builtin):
    cls = getattr(errors, name)
    assert issubclass(cls, builtin) and issubclass(cls, errors.XException)
    assert issubclass(cls, velstd.Error) and cls.__name__ == name and cls.__doc__


def test_classes_are_derived_as_their_types():
    for one in velstd.types():
        if not one.is_a("vellib::Throwable"):
            continue
        cls = velstd.error_class(one)
        assert cls.type_name == one.name
        for parent in one.parents:
            assert issubclass(cls, velstd.error_class(parent))


def test_only_exceptions_have_classes():
    with pytest.raises(TypeError, match="shop::Line is no type of exceptions"):
        velstd.error_class("shop::Line")
    with pytest.raises(LookupError):
        velstd.error_class("no::Such")
    with pytest.raises(AttributeError):
        errors.XNoSuch
    with pytest.raises(AttributeError):
        errors.XFunc


def test_the_module_lists_its_classes():
    assert {"XNull", "OutOfMemory", "Error"} <= set(dir(errors)) and "XFunc" not in dir(errors)
    for name in dir(errors):
        assert issubclass(getattr(errors, name), velstd.Error)


def test_an_exception_of_ones_own_has_attributes(fail):
    with pytest.raises(velstd.error_class("shop::XSoldOut")) as caught:
        fail(3)
    error = caught.value
    assert error.Left == 3 and error.Description == "Sold out."
    assert error.attributes == {"Description": "Sold out.", "Left": 3}
    assert str(error) == str(error.object) == velstd.format_value(error.object)
    assert error.type_name == "shop::XSoldOut" == error.object.type_name
    assert "Left" in dir(error) and not hasattr(error, "Right")
    assert repr(error).startswith("XSoldOut('shop::XSoldOut {")


def test_each_exception_is_caught_by_its_parents(fail):
    for cls in (velstd.error_class("shop::XSoldOut"), errors.XException, errors.Throwable,
                velstd.Error, Exception):
        with pytest.raises(cls):
            fail(1)


def test_a_traceback_tells_type_and_text(fail):
    try:
        fail(2)
    except velstd.Error:
        text = traceback.format_exc()
    assert 'velstd.errors.XSoldOut: shop::XSoldOut { Description : "Sold out."' in text


def test_a_long_text_is_cut():
    order = velstd.create("shop::Order")
    with pytest.raises(errors.XTypeMismatch) as caught:
        order.lines = velstd.IntSequence(range(2000))
    assert len(str(caught.value)) == 1000 and str(caught.value).endswith(" ...")


def test_an_exception_keeps_what_it_is_about(count):
    line = velstd.create("shop::Line")
    with pytest.raises(KeyError) as caught:
        line["none"]
    assert caught.value.VelObject.is_same(line) and caught.value.Key == "none"
    assert count(line) == 2
    del caught
    gc.collect()
    assert count(line) == 1


def test_an_exception_is_held_once(count, fail):
    with pytest.raises(velstd.Error) as caught:
        fail(1)
    assert count(caught.value.object) == 1


def test_an_error_of_pythons_has_no_object():
    error = velstd.Error("mine", 5)
    assert error.object is None and error.attributes == {} and str(error) == "mine, 5"
    assert not hasattr(error, "Description")


def test_an_exception_is_not_pickled(fail):
    import pickle

    with pytest.raises(velstd.Error) as caught:
        fail(1)
    with pytest.raises(TypeError, match="cannot pickle XSoldOut"):
        pickle.dumps(caught.value)


def test_an_exception_in_another_encoding_is_told(fail):
    with pytest.raises(errors.XNativeException, match=r"caf\\xe9"):
        fail(-1)


def test_an_exception_that_cannot_be_held_is_told_by_its_type(fail):
    with pytest.raises(velstd.Error, match="shop::XLoose, which is not counted") as caught:
        fail(-2)
    assert type(caught.value) is velstd.Error


def test_an_exception_that_is_none_is_told():
    with velstd._c.guard:
        velstd._c.lib.xsetexc_c(velstd._c.UNINIT_ADDRESS)
        with pytest.raises(velstd.Error, match="that is none"):
            velstd._c.check()


def test_parents_that_are_parents_of_each_other_agree():
    from velstd._errors import _made

    both = _made("x::Both", [errors.Throwable, errors.XNull], None)
    assert both.__bases__ == (errors.XNull,)


def test_what_was_pending_before_stays_pending(fail):
    from conftest import shop
    from velstd._c import lib

    # Somebody else's, from before Python was asked.
    shop.velpy_fail(9)
    with pytest.raises(KeyError):
        velstd.IntDict()["a"]
    assert velstd.IntSequence([1])[0] == 1
    with pytest.raises(velstd.Error) as caught:
        fail(4)
    assert caught.value.Left == 4
    address = lib.xextractexc_c()
    with velstd._c.guard:
        from velstd._objects import adopt, canonical
        assert adopt(canonical(address)).Left == 9


def test_the_size_limit_is_an_overflow():
    from velstd import _errors, _objects

    native = velstd.create("vellib::XNativeException", StringRep="Size limit exceeded")
    assert type(_errors.error_of(native)) is errors.SizeLimitExceeded
    native.StringRep = "Out of memory"
    assert isinstance(_errors.error_of(native), MemoryError)
    native.StringRep = "else"
    assert type(_errors.error_of(native)) is errors.XNativeException
    assert _objects.classes
