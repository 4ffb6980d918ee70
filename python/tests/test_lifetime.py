"""References, threads, the end of the interpreter."""
import gc
import os
import subprocess
import sys
import textwrap
import threading

import pytest

import velstd
from conftest import TYPES, ledger, shop
from velstd import AnyDict, AnySequence, IntDict, IntSequence, StringSequence


def run(code):
    """What a program of its own prints."""
    program = [sys.executable, "-W", "ignore::DeprecationWarning", "-c", textwrap.dedent(code)]
    done = subprocess.run(program, capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def test_a_wrapper_holds_one_reference(count):
    line = velstd.create("shop::Line")
    assert count(line) == 1
    held = AnySequence([line, line])
    assert count(line) == 3
    again = held[0]
    assert count(line) == 4
    del again
    held.clear()
    assert count(line) == 1


def test_an_object_lives_as_long_as_somebody_holds_it():
    before = shop.velpy_live()
    held = AnyDict(line=velstd.create("shop::Line"))
    assert shop.velpy_live() == before + 1
    line = held["line"]
    del held
    assert shop.velpy_live() == before + 1
    del line
    assert shop.velpy_live() == before


def test_a_wrapper_that_dies_does_not_wait_for_another_thread():
    inside, leave = threading.Event(), threading.Event()

    def work():
        with velstd._c.guard:
            inside.set()
            assert leave.wait(20)

    before = shop.velpy_live()
    line = velstd.create("shop::Line")
    thread = threading.Thread(target=work)
    thread.start()
    assert inside.wait(20)
    del line
    assert shop.velpy_live() == before + 1
    leave.set()
    thread.join()
    assert shop.velpy_live() == before


def test_an_error_value_is_given_back():
    # Nobody gets here from outside: indexes are looked at first.
    for held in (StringSequence(["a"]), AnySequence(["a"])):
        with velstd._c.guard, pytest.raises(velstd.errors.XInvalidSeqIndex):
            held._take("get", 99)


def test_failed_calls_give_everything_back(count):
    line = velstd.create("shop::Line")
    held = AnySequence()
    for wrong in ([line, object()], [line, 2**40], [line, "a\0"], [line, ["x", b""]]):
        with pytest.raises((TypeError, ValueError, OverflowError)):
            held.extend(wrong)
    with pytest.raises(TypeError):
        velstd.create("shop::Order", extra=line, next=line)
    gc.collect()
    assert count(line) == 1


def test_the_collector_may_come_at_any_time(count):
    line = velstd.create("shop::Line")
    thresholds = gc.get_threshold()
    gc.set_threshold(1)
    try:
        for _ in range(200):
            cycle = [velstd.AnySequence([line])]
            cycle.append(cycle)
            IntSequence([1, 2])[0]
    finally:
        gc.set_threshold(*thresholds)
    del cycle
    gc.collect()
    assert count(line) == 1


def test_memory_does_not_grow():
    code = f"""
        import ctypes, gc, velstd
        velstd.load({TYPES!r})

        class Info(ctypes.Structure):
            _fields_ = [(name, ctypes.c_size_t) for name in
                        "arena ordblks smblks hblks hblkhd usmblks fsmblks uordblks fordblks "
                        "keepcost".split()]
        mallinfo = ctypes.CDLL(None).mallinfo2
        mallinfo.restype = Info

        def live():
            extra = [1, {{"k": "v" * 40}}]
            order = velstd.create("shop::Order", number=1, tags=["a" * 40], extra=extra)
            velstd.to_python(order.extra), str(order), repr(order.tags), order.attributes()
            for wrong in (lambda: order["none"], lambda: setattr(order, "next", order.tags)):
                try:
                    wrong()
                except Exception as error:
                    str(error)
            d = velstd.StringDict(a="b" * 50)
            d["a"], list(d), d.pop("a"), velstd.compare(order, order)

        def used():
            gc.collect()
            return mallinfo().uordblks

        for _ in range(100):
            live()
        before = used()
        for _ in range(500):
            live()
        print(used() - before < 20000)
    """
    assert run(code) == "True\n"


def test_memory_that_runs_out_is_an_exception():
    assert run("""
        import resource, velstd
        held = velstd.AnySequence([1] * 1000)
        resource.setrlimit(resource.RLIMIT_AS, (600 << 20, resource.RLIM_INFINITY))
        size = 0
        try:
            while True:
                size = len(held)
                held += held
        except MemoryError as error:
            print(type(error).__name__, len(held) == size, held[-1])
        held.clear()
        print(velstd.AnySequence(["again"]))
    """) == 'OutOfMemory True 1\nanyseq [ 0 : "again" ]\n'


def test_threads_share_collections():
    held, errors = AnySequence(), []
    counts = IntDict()

    def work(number):
        try:
            mine = IntSequence()
            for i in range(60):
                held.append(i)
                mine.append(i)
                counts[f"{number}"] = i
                with pytest.raises(IndexError):
                    mine[1000]
                with pytest.raises(KeyError):
                    counts["none"]
                with pytest.raises(TypeError):
                    held.append(object())
            assert list(mine) == list(range(60))
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=work, args=(n,)) for n in range(6)]
    for one in threads:
        one.start()
    for one in threads:
        one.join()
    assert not errors and len(held) == 360 and counts == {str(n): 59 for n in range(6)}


def test_errors_go_to_the_thread_that_made_them():
    wrong = []

    def work(name):
        line = velstd.create("shop::Line")
        for i in range(60):
            try:
                line[f"{name}{i}"]
            except KeyError as error:
                if error.Key != f"{name}{i}" or not error.VelObject.is_same(line):
                    wrong.append(error)

    threads = [threading.Thread(target=work, args=(n,)) for n in "abcd"]
    for one in threads:
        one.start()
    for one in threads:
        one.join()
    assert not wrong


def test_a_thread_may_wait_for_another_inside_an_iterable():
    def values():
        def other():
            done.append(IntSequence([7])[0])

        done = []
        thread = threading.Thread(target=other)
        thread.start()
        thread.join(20)
        yield from done

    assert IntSequence(values()) == [7]
    made = IntSequence()
    made[0:0] = values()
    assert made == [7]


def test_objects_that_are_left_go_before_the_interpreter():
    assert run(f"""
        import atexit, ctypes, velstd
        shop = ctypes.CDLL({TYPES!r})
        # Functions that are registered first are called last.
        import weakref
        atexit.register(lambda: print(shop.velpy_live()))
        weakref.finalize._registered_with_atexit = False
        weakref.finalize(velstd.Object, int)
        line = velstd.create("shop::Line")
        velstd.held = [line, velstd.AnySequence([line])]
        cycle = [line]
        cycle.append(cycle)
        print(shop.velpy_live())
    """) == "1\n0\n"


def test_the_interpreter_ends_with_threads_at_work():
    assert run("""
        import threading, time, velstd
        def work():
            while True:
                velstd.AnySequence([[1], {"a": 2}]).pop()
        for _ in range(3):
            threading.Thread(target=work, daemon=True).start()
        time.sleep(0.2)
        print("end")
    """) == "end\n"


def test_a_child_process_goes_on():
    assert run("""
        import os, threading, velstd
        stop = False
        def work():
            while not stop:
                velstd.IntSequence([1]).pop()
        threads = [threading.Thread(target=work) for _ in range(2)]
        for one in threads: one.start()
        held = velstd.IntSequence([1, 2])
        for _ in range(20):
            child = os.fork()
            if not child:
                held.append(3)
                os._exit(0 if held == [1, 2, 3] else 1)
            assert os.waitpid(child, 0)[1] == 0
        stop = True
        for one in threads: one.join()
        print(held)
    """) == "intseq [ 0 : 1 1 : 2 ]\n"


def test_a_signal_handler_may_use_the_library():
    assert run("""
        import signal, velstd
        calls = 0
        def handler(*_):
            global calls
            calls += 1
            try:
                velstd.IntDict()["none"]
            except KeyError:
                pass
            velstd.AnySequence([[1]])
        signal.signal(signal.SIGALRM, handler)
        signal.setitimer(signal.ITIMER_REAL, 0.001, 0.001)
        line = velstd.create("vellib::XFunc")
        wrong = 0
        while calls < 100:
            try:
                line["none"]
                wrong += 1
            except KeyError as error:
                wrong += error.Key != "none"
            wrong += velstd.IntSequence([5])[0] != 5
        signal.setitimer(signal.ITIMER_REAL, 0)
        print(wrong)
    """) == "0\n"


def test_the_ledger_sees_a_reference_that_is_kept():
    # The check of all other tests: what is not given back is counted.
    before = ledger.held()
    made = StringSequence(["a"])
    velstd._c.lib.xrcattach_c(made._address)
    assert ledger.held()[:2] == (before[0], before[1] + 2)
    velstd._c.lib.xrcrelease_c(made._address)
    record = velstd._values.make_text("a", "a")
    assert ledger.held()[:2] == (before[0] + 1, before[1] + 1)
    velstd._c.lib.xstrunlock_c(velstd._values.byref(record))


def test_locales_have_no_say():
    for locale in ("C", "C.UTF-8", "de_DE.ISO-8859-1"):
        code = (r"import velstd; s = velstd.StringSequence(['w\xfc\u20ac\U0001d11e']);"
                r"o = velstd.create('vellib::XFunc', Name='\xfc');"
                r"print(ascii(s[0]), ascii(str(s)), ascii(o.Name))")
        done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True,
                              env={**os.environ, "LC_ALL": locale})
        assert done.stdout == (
            "'w\\xfc\\u20ac\\U0001d11e' 'stringseq [ 0 : \"w\\xfc\\u20ac\\U0001d11e\" ]' '\\xfc'\n"
        ), (locale, done.stderr)
