#!/usr/bin/env python3
"""Holds docs/errors.md against the sources: every text of an exception, an abort, a failed walk,
a message of velq and a refusal of the compiler stands on the page, and the page has no other.

What the sources say is read from the arguments of the calls that raise (a sum of literals and
expressions; where a function passes a text on, from its callers). What varies is {} here and
{anything} on the page: a text of the source `"Unknown type: " + name` is `Unknown type: {name}`
there. The texts of the page are the code spans in the first column of its tables. Those under the
heading "The JSON parser" are held against the parser's own header.

Usage: errors_page_test.py ROOT [PARSER_INCLUDE_FOLDERS]   (separated by ";")
"""
import itertools
import pathlib
import re
import sys

import aborts_check

STRING = aborts_check.STRING
LITERAL = rf"{STRING}|'(?:[^'\\]|\\.)+'"
PARSER_HEADING = "The JSON parser"
CORE = ("velbase", "velstd", "korkit", "capi")
FOLDERS = (*CORE, "velext", "veljson", "tools/velq")

# Calls whose first argument is a text that users see.
RAISERS = (r"velXNativeException::Throw", r"velCreateNativeException", r"velXSerialization::Throw",
           r"velXSerialization::Create", r"velXSoapTransport::Throw", r"velXSoapHttpTransport::Throw",
           r"throw UsageError", r"throw Failure", r"throw BadDocument", r"(?:visitor\.|return )errorOccured")
# Functions that pass a text on to one of these; their callers, in files of the same folder, tell it.
PASSING = {"Refuse", "refuse", "fail", "velThrowJson", "ParkNative", "takeOperand", "takeNumber",
           "takeText", "Fail"}
# What is thrown without a text, or with one that is taken from elsewhere.
TEXTLESS = {"UsageError", "Failure", "BadDocument", "velError", "velTraverseXStop", "bad_alloc",
            "Missing", "Held"}
# Texts that are not made here: of other exceptions and of the system.
FOREIGN = {"Hint(argc>1?argv[1]:nullptr)", "text", "path", "dlerror()", "std::strerror(errno)", "message(error.what())",
           "velSummary(caught)", "velUtf8(exception->getDescription())",
           "place(error.id==kNumberOverflow?token:wrong)", "HelpText()"}
# Printed, but no error.
NO_ERRORS = {'Dictionary "{}" keys:'}
KEYWORDS = {"if", "for", "while", "switch", "catch", "return", "decltype", "noexcept"}


class Unreadable(Exception):
    pass


def unquoted(literal):
    body = literal[1:-1]
    return re.sub(r"\\(.)", lambda m: {"n": "\n", "t": "\t", "0": "\0"}.get(m[1], m[1]), body)


def calls(text, name):
    """(place, arguments) of each call of a function."""
    for match in re.finditer(rf"\b{name}\(", text):
        depth = 0
        for token in re.finditer(rf"{LITERAL}|[(){{}}\[\]]", text[match.end() - 1:]):
            depth += (token.group() in "([{") - (token.group() in ")]}")
            if depth == 0:
                inside = text[match.end():match.end() - 1 + token.start()]
                yield match.start(), split_top(inside, ",")
                break


def split_top(text, separator):
    """`text` at the separators that stand in no parentheses and no literal."""
    parts, depth, begin = [], 0, 0
    for match in re.finditer(rf"{LITERAL}|[(){{}}\[\]]|{separator}", text):
        token = match.group()
        if token in "([{":
            depth += 1
        elif token in ")]}":
            depth -= 1
        elif depth == 0 and re.fullmatch(separator, token):
            parts.append(text[begin:match.start()].strip())
            begin = match.end()
    return parts + [text[begin:].strip()]


class Function:
    """The head of a function: its name and the names of its parameters."""

    def __init__(self, name, parameters, body):
        self.name = name
        self.body = body
        self.parameters = [re.sub(r"\s*=.*", "", p).split()[-1].lstrip("*&") if p.strip() else ""
                           for p in split_top(parameters, ",")]


class Source:
    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.functions = self.find_functions()

    def find_functions(self):
        """(start, end, Function) of each body of a function, inner ones after outer ones."""
        opened, found = [], []
        for match in re.finditer(rf"{LITERAL}|[{{}}]", self.text):
            if match.group() == "{":
                opened.append(match.start())
            elif match.group() == "}" and opened:
                start = opened.pop()
                head = self.head_before(start)
                if head:
                    found.append((start, match.end(), Function(*head, self.text[start:match.end()])))
        return sorted(found, key=lambda f: f[0])

    def head_before(self, at):
        before = re.sub(r"(\s|\bconst|\boverride|\bnoexcept)+$", "", self.text[max(0, at - 600):at])
        if not before.endswith(")"):
            return None
        depth = 0
        for i in range(len(before) - 1, -1, -1):
            depth += (before[i] == ")") - (before[i] == "(")
            if depth == 0:
                name = re.search(r"(\w+)\s*$", before[:i])
                if not name or name[1] in KEYWORDS:
                    return None
                return name[1], before[i + 1:-1]
        return None

    def function_at(self, at):
        around = [f for start, end, f in self.functions if start < at < end]
        return around[-1] if around else None


class Texts:
    """All texts of a tree of sources."""

    def __init__(self, sources):
        self.sources = sources
        self.found = {}  # text -> a file that has it

    def add(self, text, path):
        text = normal(text)
        if says_something(text) and text not in NO_ERRORS:
            self.found.setdefault(text, path)

    # ---- expressions ----

    def values(self, expression, source, function):
        """The texts that an expression can have, what is not known of them as {}."""
        expression = expression.strip()
        while True:
            call = re.fullmatch(r"(.*)\.c_str\(\)", expression, re.S)
            inner = call[1] if call else expression
            cast = re.match(r"(?:std::string|xstring)\(", inner)
            if cast and self.is_wrapped(inner[cast.end() - 1:]):
                inner = inner[cast.end() - 1:]
            if self.is_wrapped(inner):
                inner = inner[1:-1].strip()
            if inner == expression:
                break
            expression = inner
        choice = split_top(expression, r"\?")
        if len(choice) == 2:
            either = split_top(choice[1], "(?<!:):(?!:)")
            if len(either) == 2:
                return [v for e in either for v in self.values(e, source, function)]
        sums = split_top(expression, r"\+")
        if len(sums) > 1:
            each = [self.values(part, source, function) for part in sums]
            return ["".join(parts) for parts in itertools.product(*each)]
        literals = re.fullmatch(rf"\s*((?:{STRING}\s*)+)", expression)
        if literals:
            return ["".join(map(unquoted, re.findall(STRING, literals[1])))]
        if re.fullmatch(r"'(?:[^'\\]|\\.)'", expression):
            return [unquoted(expression)]
        # A literal with what a macro puts in.
        mixed = re.split(rf"({STRING})", expression)
        if len(mixed) > 1 and all(re.fullmatch(r"\s*#?\w*\s*|\s*", gap) for gap in mixed[::2]):
            return ["".join(unquoted(p) if p.startswith('"') else "{}" if p.strip() else ""
                            for p in mixed)]
        if re.fullmatch(r"-?\d+", expression):
            return [expression]
        number = re.fullmatch(r'std::to_string\("(-?\d+)"\)', expression)
        if number:
            return [number[1]]
        if function and re.fullmatch(r"\w+", expression):
            assigned = re.findall(rf"\b(?:const char\*|std::string)?\s*\b{expression} = "
                                  rf"({STRING})", function.body)
            if assigned:
                return [unquoted(literal) for literal in assigned] + ["{}"]
        return ["{}"]

    @staticmethod
    def is_wrapped(expression):
        """Whether one pair of parentheses is around all of it."""
        if not (expression.startswith("(") and expression.endswith(")")):
            return False
        depth = 0
        for match in re.finditer(rf"{LITERAL}|[()]", expression):
            depth += (match.group() == "(") - (match.group() == ")")
            if depth == 0 and match.end() < len(expression):
                return False
        return True

    # ---- the ways in which texts come out ----

    def collect(self):
        for source in self.sources:
            self.raised(source)
            self.class_messages(source)
            self.to_error_stream(source)
            self.printed(source)
            self.refused_by_compiler(source)
            self.strange(source)
        self.aborts()
        self.summaries()

    def told(self, given, source, function):
        """The texts that an argument in the body of a function has. Where that passes its own
        arguments on, its calls are asked: together, for they belong to one text."""
        names = [p for p in function.parameters if p and re.search(rf"(?<![\w.]){p}\b(?!\.back)", given)] \
            if function and function.name in PASSING else []
        if not names:
            return self.values(given, source, function)
        texts = []
        for other in self.sources:
            if other.path.parent != source.path.parent:
                continue
            for at, arguments in calls(other.text, function.name):
                if is_declaration(arguments):
                    continue
                caller = other.function_at(at)
                if caller and caller.name == function.name:
                    continue
                each = {}
                for name in names:
                    number = function.parameters.index(name)
                    argument = arguments[number] if number < len(arguments) else ""
                    each[name] = self.told(argument, other, caller) if argument else [""]
                known = False
                for chosen in itertools.product(*each.values()):
                    filled = with_texts(given, dict(zip(each, chosen)))
                    made = self.values(filled, source, None)
                    known = known or any(map(says_something, made))
                    texts += made
                used = [arguments[function.parameters.index(name)] for name in names
                        if function.parameters.index(name) < len(arguments)]
                if not known and not all(map(self.is_foreign, used)):
                    raise Unreadable(f"{other.path}: cannot follow {function.name}"
                                     f"({', '.join(arguments)})")
        if not texts:
            raise Unreadable(f"{source.path}: nothing calls {function.name}")
        return texts

    def raised(self, source):
        for raiser in RAISERS:
            for at, given in calls(source.text, raiser):
                if not given or is_declaration(given):
                    continue
                function = source.function_at(at)
                known = [t for t in self.told(given[0], source, function) if says_something(t)]
                passes = function and function.name in PASSING  # then its callers have been asked
                if not known and not passes and not self.is_foreign(given[0]):
                    raise Unreadable(f"{source.path}: cannot follow {raiser}({', '.join(given)})")
                for text in known:
                    self.add(text, source.path)

    @staticmethod
    def is_foreign(expression):
        parts = split_top(re.sub(r"\s", "", expression), r"\+")
        return all(part in FOREIGN or part.startswith(('"', "'")) or
                   re.fullmatch(r"(std::string\()?\w+\.what\(\)\)?", part) or
                   part.endswith(".c_str()") and part[:-8] in FOREIGN
                   for part in parts)

    def class_messages(self, source):
        for match in re.finditer(rf"VEL_FIXED_TEXT\(\s*({STRING})\s*\)", source.text):
            self.add(unquoted(match[1]), source.path)

    def to_error_stream(self, source):
        for at, given in calls(source.text, r"fprintf"):
            if given[0] != "stderr":
                continue
            formats = self.values(given[1], source, source.function_at(at))
            function = source.function_at(at)
            each = [self.told(argument, source, function) for argument in given[2:]]
            for form in formats:
                for chosen in itertools.product(*each):
                    filling = iter(chosen)
                    self.add(re.sub(r"%\w", lambda m: next(filling), form), source.path)

    def printed(self, source):
        if source.path.name != "velprint.cpp":
            return
        for match in re.finditer(r"\b(?:out|block)((?:\s*<<\s*(?:" + STRING + r"|'.'|[^;\"'])+?)+);",
                                 source.text):
            parts = [p for p in split_top(match[1], "<<") if p]
            if any(re.search(r"[A-Z<][a-zA-Z]", p) for p in parts if p.startswith('"')):
                self.add("".join(unquoted(p) if p[0] in "\"'" else "" if p == "std::endl" else "{}"
                                 for p in parts), source.path)

    def refused_by_compiler(self, source):
        if source.path.suffix != ".h" or "src" in source.path.parts:
            return
        text = source.text.replace("\\\n", "\n")
        for _, given in calls(text, "static_assert"):
            if len(given) > 1:
                for message in self.values(given[-1], source, None):
                    self.add(message, source.path)

    # What none of these ways covers must not come in unseen.
    def strange(self, source):
        for match in re.finditer(r"\bthrow\s+(?:std::)?(\w+)\s*[({]", source.text):
            if match[1] not in TEXTLESS:
                raise Unreadable(f"{source.path}: what does throw {match[1]} say?")
        for match in re.finditer(r"\b(vel|xport)X(\w+)::(Throw|Create)\(\s*\"", source.text):
            if match[2] not in ("NativeException", "Serialization", "SoapTransport",
                                "SoapHttpTransport", "TypeMismatch"):
                raise Unreadable(f"{source.path}: what does {match[0]} say?")
        if re.search(r"\b(perror|std::cerr|fputs|std::clog)\b", source.text) and \
                source.path.name != "velstdstreams.cpp":
            raise Unreadable(f"{source.path}: writes to the error stream in a new way")

    def aborts(self):
        core = {s.path: s.text for s in self.sources if "velext" not in s.path.parts
                and "veljson" not in s.path.parts and "velq" not in s.path.parts}
        for path in core:
            for message, _, _ in aborts_check.aborts_of(path, core):
                self.add(unquoted(message), path)

    def summaries(self):
        """What velSummary adds to the message of a class."""
        for source in self.sources:
            for _, _, function in source.functions:
                if function.name != "velSummary":
                    continue
                found = re.findall(r"dynamic_cast<(\w+)\*>|\btext \+=(.*?);", function.body, re.S)
                thrown = None
                for name, added in found:
                    thrown = name or thrown
                    if added:
                        for text in self.values(added, source, None):
                            self.add(self.message_of(thrown) + text, source.path)

    def message_of(self, name):
        for source in self.sources:
            match = re.search(rf"{name}::{name}\([^)]*\)\s*:\s*velXException\(\s*VEL_FIXED_TEXT\(\s*"
                              rf"({STRING})", source.text)
            if match:
                return unquoted(match[1])
        raise Unreadable(f"velSummary tells of {name}, which has no message")


def with_texts(expression, texts):
    """An expression with those of its names replaced by literals."""
    def literal(match):
        text = texts.get(match.group())
        if text is None:
            return match.group()
        return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'
    return re.sub(rf"{LITERAL}|(?<![\w.])\w+\b(?!\.back)", literal, expression)


def is_declaration(given):
    return any(re.fullmatch(r"(const\s+)?[\w:<>]+(\s+const)?[\s*&]+\w+(\s*=.*)?", part)
               for part in given if part)


def normal(text):
    """Without what velq puts in front, with one blank where there are several, {} for what varies
    in the end but not in front: that is a path or a place."""
    text = " ".join(text.split())
    text = re.sub(r"^velq: ", "", text)
    text = re.sub(r"(\{\})+", "{}", text)
    return re.sub(r"^\{\}(: )?", "", text).strip()


def says_something(text):
    return re.search("[A-Za-z]{2}", normal(text).replace("{}", "")) is not None


def read_sources(root):
    sources = []
    private = re.search(r"set\(VELSTD_PRIVATE_HEADERS([^)]*)\)",
                        (root / "CMakeLists.txt").read_text(encoding="utf-8"))[1].split()
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.suffix in (".cpp", ".h") and path.name not in private:
                sources.append(Source(path.relative_to(root), aborts_check.code(path)))
    return sources


def texts_of_page(page):
    """(own texts, texts of the parser), each with its line."""
    own, parser, heading = {}, {}, ""
    for number, line in enumerate(page.splitlines(), 1):
        if line.startswith("#"):
            heading = line.strip("# ")
        cell = re.match(r"\| (`.*?) \|", line)
        for span in re.findall(r"`([^`]+)`", cell[1]) if cell else []:
            to = parser if heading == PARSER_HEADING else own
            text = re.sub(r"\{[^}]*\}", "{}", span)
            to[text if to is parser else normal(text)] = number
    return own, parser


def compare(sources, page):
    """What is wrong, a line each."""
    texts = Texts(sources)
    texts.collect()
    own, _ = texts_of_page(page)
    wrong = [f"{path}: not on the page: {text}"
             for text, path in sorted(texts.found.items()) if text not in own]
    wrong += [f"docs/errors.md:{line}: in no source: {text}"
              for text, line in own.items() if text not in texts.found]
    return wrong, len(texts.found)


def compare_parser(folders, page):
    header = "".join(path.read_text(encoding="utf-8", errors="replace")
                     for folder in dict.fromkeys(folders.split(";"))
                     for path in sorted(pathlib.Path(folder, "nlohmann").rglob("*.hpp")))
    header = re.sub(r'"\s*"', "", header).replace("\\\\", "\\").replace('\\"', '"')
    return [f"docs/errors.md:{line}: not in the parser: {text}"
            for text, line in texts_of_page(page)[1].items()
            if not all(part.strip() in header for part in text.split("{}"))]


# ---- the check itself ----

# What stands in a source, and the texts that it has.
SAMPLES = (
    ('void f() { velXNativeException::Throw("Plain text"); }', {"Plain text"}),
    ('void f(int n) { velXNativeException::Throw(("Number: " + std::to_string(n)).c_str()); }',
     {"Number: {}"}),
    ('void f(bool b) { velXNativeException::Throw(b ? "One way" : "Other way"); }',
     {"One way", "Other way"}),
    ('void Refuse(const char* what, int of) { velXNativeException::Throw((what + text(of)).c_str()); }\n'
     'void g() { Refuse("First: ", 1); }\nvoid h() { if (x()) { Refuse("Second: ", y); } }',
     {"First: {}", "Second: {}"}),
    ('void fail(const std::string& what, int x = 0) const { velThrowJson(place(token) + what, x); }\n'
     'void velThrowJson(const std::string& text, int s) { velXSerialization::Throw(text.c_str(), s); }\n'
     'void g() { fail("in " + name()); fail(a ? "big \\"q\\"" : "case d"); }\nvoid h() { velThrowJson("top", 1); }',
     {"in {}", 'big "q"', "case d", "top"}),
    ('void f() { throw Failure(where + (found ? " is no text" : " is missing")); }',
     {"is no text", "is missing"}),
    ('std::string takeOperand(const std::string& what) { throw UsageError(what + " is missing"); }\n'
     'void g() { a.takeOperand("the file"); }', {"the file is missing"}),
    ('void f() { const char* text = "Unknown kind"; try { g(); } catch (x*) { text = "Known kind"; }\n'
     '  heed(visitor.errorOccured(text, e)); }', {"Unknown kind", "Known kind"}),
    ('int Fail(const std::string& message) { std::fprintf(stderr, "velq: %s%s", message.c_str(), '
     'message.back() == \'\\n\' ? "" : "\\n"); }\nvoid g() { Fail("out of memory"); Fail(e.what()); }',
     {"out of memory"}),
    ('#define M(C) static_assert(C::x, "the class \'" #C "\' must " how " do")', None),
    ('velXOdd::velXOdd(int n) : velXException(VEL_FIXED_TEXT("Odd number")) {}\n'
     'std::string velSummary(int* e) { if (dynamic_cast<velXOdd*>(e)) { text += ": " + s(e); } }',
     {"Odd number", "Odd number: {}"}),
)


def check_self():
    for number, (code, expected) in enumerate(SAMPLES):
        name = "velstd/inc/sample.h" if expected is None else "velstd/services/sample.cpp"
        texts = Texts([Source(pathlib.Path(name), code)])
        texts.collect()
        wanted = expected or {"the class '{}' must {} do"}
        if set(texts.found) != wanted:
            sys.exit(f"sample {number}: read {sorted(texts.found)}, expected {sorted(wanted)}")
    for code in ('void fail(const std::string& what) { throw Failure(what); }\nvoid f() { fail(other(1)); }',
                 'void f() { throw std::runtime_error("new"); }',
                 'void f() { velXNativeException::Throw(unknown(1)); }',
                 'void f() { velXTimeout::Throw("text"); }',
                 'void f() { std::cerr << "text"; }'):
        try:
            Texts([Source(pathlib.Path("velstd/sample.cpp"), code)]).collect()
        except Unreadable:
            continue
        sys.exit(f"not noticed: {code}")


def main(root, parser):
    check_self()
    root = pathlib.Path(root)
    page = (root / "docs/errors.md").read_text(encoding="utf-8")
    try:
        wrong, count = compare(read_sources(root), page)
    except Unreadable as error:
        wrong, count = [str(error)], 0
    if parser:
        wrong += compare_parser(parser, page)
    print("\n".join(wrong) or f"all {count} texts stand on the page")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else ""))
