#!/usr/bin/env python3
"""Shows a header to Doxygen the way the house style means it.

    filter.py HEADER      writes the header as Doxygen is to read it

Doxygen runs this for each header (INPUT_FILTER). Lines keep their numbers, so that its messages
point at the header itself. What it changes:

- The comment that opens a header becomes the documentation of the file.
- A sentence that begins with "Throws", "Aborts", "Errors:", "Threads:", "Ownership:", "Limits:" or
  "Cost:" starts a paragraph of that title. Indented blocks are shown as they stand.
- A comment holds for what follows it without a blank line as long as these are overloads with
  parameters of the same names, or the wide twin of a narrow function; one that begins with
  "These" holds for everything up to the next blank line or comment.
- The macros that stamp members into classes are replaced by what they declare.
- Pages are shown with links to headings by the names that these have elsewhere.
- What is no part of the interface goes: macros that the header itself undefines, friends, exported
  instantiations, classes that are only named, deleted functions.
"""

import pathlib
import re
import sys

# What the stamping macros declare. One line each, so that line numbers stay.
OBJECT = (
    "public: "
    "/** The descriptor of {0}, made on first use: borrowed, lives for ever. Thread-safe. "
    "@errors Throws std::bad_alloc. */ static xrttiobject* getClassRtti(); "
    "/** `p` (borrowed) as {0} if that is exactly its class; null and xuninitobject stay what "
    "they are. @errors Throws velXTypeMismatch for an object of another class. */ "
    "static {0}* cast(xobject* p); "
    "/** The same, but null for an object of another class. */ static {0}* softcast(xobject* p); "
    "/** This object as {0} or as xobject, after the name of `target`; null for any other "
    "class and for null. */ void* dyndowncast(const xrttiobject* target) override; "
    "private:"
)
ATTRIBUTED = OBJECT + (
    " protected: /** An empty object, whose attributes a deserializer sets. "
    "@param context  what travels along (borrowed, nullable) */ "
    "explicit {0}(velS11nContext* context); private:"
)
ATTRIBUTE = (
    "public: /** {doc}The attribute {1}. Until it is set it is empty: 0, the null string, uninit "
    "or a null handle. A text or object comes with a reference of its own. */ {0} get{1}() const; "
    "protected: /** Sets the attribute {1}, which takes a reference of its own. */ "
    "virtual void _s11n_set{1}({0} value); private:"
)
COLLECTION = (
    "/** {doc}See {base} for what it does. */ class {0} : public {1} {{ " + OBJECT + " public: "
    "/** Empty, with room for `entries`, and with count 0: a handle has to take it, as those of "
    "create() and createCapacity() do. @errors Throws as createCapacity(). */ "
    "explicit {0}({2} entries = 0); "
    "/** A new, empty instance with nothing reserved, held by the handle alone. "
    "@errors Throws std::bad_alloc. */ static xrchandle<{0}> create(); "
    "/** The same with room for `n` {what}; `n` is taken as signed, below 1 reserves nothing. "
    "@errors Throws std::bad_alloc, and velXNativeException \"Size limit exceeded\" beyond the "
    "limits of the template. */ static xrchandle<{0}> createCapacity(unsigned n); }};"
)

# What is between these is not shown.
CONDITION = re.compile(r"\s*/// @(cond|endcond)\b")

TITLES = ("Threads", "Ownership", "Limits", "Cost", "Errors")


def arguments(text):
    """The arguments of a macro call, split at commas outside brackets."""
    parts, depth = [""], 0
    for letter in text:
        depth += (letter in "(<") - (letter in ")>")
        if letter == "," and depth == 0:
            parts.append("")
        else:
            parts[-1] += letter
    return [part.strip() for part in parts]


def escape(text):
    """Text of a comment with everything that Doxygen would take for markup made harmless."""
    # Code and quotations are shown as they stand.
    pieces = re.split(r'(`[^`]*`|"[^"]*")', text)
    for at in range(0, len(pieces), 2):
        piece = re.sub(r"\\(?![a-z])", r"\\\\", pieces[at])
        pieces[at] = re.sub(r"([<>#%&])", r"\\\1", piece).replace("::", "\\::")
    return "".join(pieces)


class Prose:
    """Turns the lines of one comment into markup, a line for a line."""

    def __init__(self, lines):
        self.lines = lines

    def is_block(self, at):
        """Whether a line is part of an indented block: a table, a piece of code."""
        line = self.lines[at]
        if not line.startswith("  "):
            return False
        # What a command, or an item of a list, goes on with is indented, too.
        for before in reversed(self.lines[:at]):
            if not before:
                return True
            if re.match(r"@(param|return)|- ", before):
                return False
            if not before.startswith("  "):
                return True
        return True

    def blocks(self):
        blocks = [self.is_block(at) for at in range(len(self.lines))]
        # A blank line between two lines of a block belongs to it.
        for at in range(1, len(blocks) - 1):
            if not self.lines[at] and blocks[at - 1] and blocks[at + 1]:
                blocks[at] = True
        return blocks

    def titled(self, line, first, errors):
        """A line with the titles of what begins in it. Errors have one title in a row."""
        if not errors:
            # The first sentence says what the thing is.
            place = r"([.;] )" if first else r"(^|[.;] )"
            line = re.sub(place + r"(Throws\b|Aborts?\b|Throw (?=std|vel|as |what ))",
                          r"\1@errors \2", line, count=1)
        return re.sub(rf"(^|[.] )({'|'.join(TITLES)}): (.)",
                      lambda m: f"{m.group(1)}@{m.group(2).lower()} {m.group(3).upper()}", line)

    def dedented(self, blocks):
        """The lines, with each block moved to the left."""
        lines, at = list(self.lines), 0
        while at < len(lines):
            end = at
            while end < len(lines) and blocks[end]:
                end += 1
            margin = min((len(line) - len(line.lstrip()) for line in lines[at:end] if line),
                         default=0)
            lines[at:end] = [line[margin:] for line in lines[at:end]]
            at = end + 1
        return lines

    def markup(self):
        blocks = self.blocks()
        errors = False
        result = []
        for at, line in enumerate(self.dedented(blocks)):
            if not blocks[at]:
                if not line or line.startswith("@"):
                    errors = False
                line = self.titled(escape(line), at == 0 and len(line) > 0, errors)
                errors = errors or "@errors" in line
            else:
                line = line.replace("*/", "* /").replace("/*", "/ *")
                if at == 0 or not blocks[at - 1]:
                    line = "@verbatim " + line
                if at + 1 == len(blocks) or not blocks[at + 1]:
                    line += " @endverbatim"
            result.append(line)
        return result


def strip_code(line):
    """A line without its strings, characters and comments."""
    line = re.sub(r'"(\\.|[^"\\])*"', '""', line)
    line = re.sub(r"'(\\.|[^'\\])'", "''", line)
    line = re.sub(r"/\*.*?\*/", "", line)
    return re.sub(r"//.*", "", line)


def comment(text, indent):
    """A comment of these lines. Blocks go on without a mark, which they would show."""
    if not any("@verbatim" in line for line in text):
        return [f"{indent}/// {line}" for line in text]
    text = [f"{indent}/** {text[0]}"] + text[1:]
    text[-1] += " */"
    return text


def opening(lines):
    """The comment that opens the header, as that of the file."""
    end = 0
    if lines[0].startswith("/*"):
        while not lines[end].rstrip().endswith("*/"):
            end += 1
        end += 1
        text = [re.sub(r"^(/\*| \*/?) ?", "", line) for line in lines[:end]]
        text[-1] = re.sub(r" ?\*/$", "", text[-1])
    else:
        while lines[end].startswith("//"):
            end += 1
        text = [re.sub(r"^// ?", "", line) for line in lines[:end]]
    match = re.match(r"(\S+\.h) - (.*)", text[0])
    if not match:
        sys.exit(f"{sys.argv[1]}: does not begin with a comment `name.h - purpose.`")
    name, first = match.groups()
    lines[end:] = [line.replace("the head of this file", f"the head of {name}")
                   for line in lines[end:]]
    prose = Prose([first[:1].upper() + first[1:]] + text[1:])
    marked, blocks = prose.markup(), prose.blocks()
    # The command without a name takes the rest of its line: never that of a block.
    last = max(at for at, line in enumerate(marked) if line and "verbatim" not in line and
               not blocks[at])
    marked[last] += " @file"
    lines[:end] = comment(marked, "")
    return end


def drop(lines, first, last):
    for at in range(first, last + 1):
        lines[at] = ""


def statement_end(lines, at):
    """The last line of the statement that begins at line `at`."""
    depth = 0
    while at < len(lines):
        code = strip_code(lines[at])
        for place, letter in enumerate(code):
            depth += (letter in "({[") - (letter in ")}]")
            if depth == 0 and letter == ";":
                return at
            if depth == 0 and letter == "}" and not code[place + 1:].strip().startswith(";"):
                return at
        at += 1
    return at - 1


def drop_private_macros(lines):
    undefined = {m.group(1) for line in lines if (m := re.match(r"#\s*undef\s+(\w+)", line))}
    at = 0
    while at < len(lines):
        match = re.match(r"#\s*define\s+(\w+)", lines[at])
        if match and match.group(1) in undefined:
            first = at
            while lines[at].endswith("\\"):
                at += 1
            drop(lines, first, at)
        at += 1


def comment_before(lines, at):
    """The lines of the documentation right above line `at`, as (first, last), or None."""
    last = at - 1
    while last >= 0 and re.match(r"\s*//(?!/)\s*(NOLINT|cppcheck)", lines[last]):
        last -= 1
    first = last
    if last >= 0 and lines[last].strip().endswith("*/"):
        while first >= 0 and not re.match(r"\s*/\*", lines[first]):
            first -= 1
        return (first, last) if re.match(r"\s*/\*\*", lines[first]) else None
    while (first >= 0 and re.match(r"\s*///(?!<)", lines[first]) and
           not CONDITION.match(lines[first])):
        first -= 1
    return (first + 1, last) if first < last else None


def stamp(lines, begin):
    """From line `begin` on, replaces the macros that declare members."""
    for at, line in enumerate(lines[begin:], begin):
        match = re.match(r"\s*(VEL_OBJECT|VEL_ATTRIBUTED|VEL_ATTRIBUTE|VEL_COLLECTION)\((.*)\)$",
                         line)
        if not match or line.startswith("#"):
            continue
        name, given = match.group(1), arguments(match.group(2))
        text = ""
        above = comment_before(lines, at)
        if name in ("VEL_ATTRIBUTE", "VEL_COLLECTION") and above:
            text = " ".join(re.sub(r"^\s*///\s*", "", l) for l in lines[above[0]:above[1] + 1])
            drop(lines, *above)
            text += " "
        if name == "VEL_COLLECTION":
            template = re.sub(r"^xsealed<(.*)>$", r"\1", given[1])
            lines[at] = COLLECTION.format(
                *given, doc=text, base=template.split("<")[0],
                what="elements" if "sequence" in given[0] else "entries, a table of slots")
        else:
            form = {"VEL_OBJECT": OBJECT, "VEL_ATTRIBUTED": ATTRIBUTED, "VEL_ATTRIBUTE": ATTRIBUTE}
            lines[at] = form[name].format(*given, doc=text)


def drop_foreign(lines):
    """Removes friends, exported instantiations, names of classes and deleted functions."""
    for at, line in enumerate(lines):
        code = strip_code(line).strip()
        if code.startswith("extern template "):
            drop(lines, at, statement_end(lines, at))
        elif code.startswith("friend ") and code.endswith(";") and "{" not in code:
            above = comment_before(lines, at)
            if not above and not is_shared_friend(lines, at):
                lines[at] = ""
        elif code.endswith("= delete;") and "[]" not in code:
            lines[at] = ""
        elif re.match(r"(class|struct) \w+;$", code):
            first = at - lines[at - 1].strip().startswith("template <")
            if comment_before(lines, first):
                # A template of which there are only specialisations.
                lines[at] = line.replace(";", " {};")
            else:
                # What is only named has its comment where it is defined.
                drop(lines, first, at)


def is_shared_friend(lines, at):
    """Whether a friend without a comment is an overload of a documented one above it."""
    return at > 0 and "friend " in lines[at - 1] and "operator" in lines[at]


def signature(lines, first, last):
    """The name that the statement in these lines declares and those of its parameters, or None."""
    code = " ".join(strip_code(line).strip() for line in lines[first:last + 1])
    code = re.sub(r"__attribute__\(\(.*?\)\)|\[\[.*?\]\]|VELSTD_API|explicit", " ", code)
    code = re.sub(r"^\s*template\s*<(?:[^<>]|<(?:[^<>]|<[^<>]*>)*>)*>", " ", code)
    match = re.search(r"(operator\s*(?:\(\)|[^\s\w(]+|\s\S[^(]*)|~?\w+)\s*\(", code)
    if not match:
        return None
    depth, end = 1, match.end()
    while end < len(code) and depth > 0:
        depth += (code[end] == "(") - (code[end] == ")")
        end += 1
    names = [re.sub(r"\s*=.*", "", given) for given in arguments(code[match.end():end - 1])]
    # The wide twin of korStringFind is korWStringFind.
    return (match.group(1).replace("WString", "String"),
            [re.sub(r"^.*\W", "", name) for name in names])


def share(lines, at):
    """From line `at` on, gives each comment to all declarations that it is about."""
    while at < len(lines):
        # A comment, and the statement below it.
        if not re.match(r"\s*(///(?!<)|/\*\*(?!<))", lines[at]) or CONDITION.match(lines[at]):
            at += 1
            continue
        first = at
        if lines[at].strip().startswith("/**"):
            while not lines[at].rstrip().endswith("*/"):
                at += 1
            at += 1
            if re.search(r"\*/\s*\S", lines[at - 1]):
                continue
        else:
            while (at < len(lines) and re.match(r"\s*///(?!<)", lines[at]) and
                   not CONDITION.match(lines[at])):
                at += 1
        text = [re.sub(r"^\s*(///|/\*\*| \*)\s?", "", line) for line in lines[first:at]]
        text[-1] = re.sub(r"\s*\*/$", "", text[-1])
        text = Prose(text).markup()
        indent = re.match(r"\s*", lines[first]).group(0)
        lines[first:at] = comment(text, indent)
        if any("verbatim" in line for line in text):
            continue
        joined = " ".join(text)
        for_all = joined.startswith("These ")
        name, start = None, True
        while at < len(lines):
            code = lines[at].strip()
            if re.match(r"//(?!/)\s*(NOLINT|cppcheck)", code):
                at += 1
                continue
            # The members of a class have comments of their own.
            head = code if not code.startswith("template") else re.sub(
                r"^template\s*<.*?>\s+(?=\w)", "", " ".join(lines[at:at + 3]))
            if not code or re.match(r"//|/\*|#|public:|private:|protected:|}|VEL_[A-Z]+\(|"
                                    r"(class|struct|enum|union)\b", head):
                break
            end = statement_end(lines, at)
            this = signature(lines, at, end)
            if start:
                name, start = this, False
            elif for_all or (this and this == name):
                blank = re.match(r"\s*", lines[at]).group(0)
                lines[at] = f"{blank}/** {joined} */ {lines[at].strip()}"
            else:
                break
            at = end + 1


def reopen_std(lines):
    """Puts specialisations of std::hash, which Doxygen finds no scope for, into its namespace."""
    for at, line in enumerate(lines):
        match = re.match(r"struct (?:VELSTD_API )?std::(hash<.*> \{.*)$", line)
        if not match:
            continue
        above = comment_before(lines, at - 1)
        first = above[0] if above else at - 1
        end = statement_end(lines, at)
        lines[first] = "/** The standard library's. */ namespace std { " + lines[first]
        lines[at] = "struct " + match.group(1)
        lines[end] += " }"


def sections(lines):
    """Makes groups of what follows the headings of the C interface, with the text below them."""
    opened, at = False, 0
    while at < len(lines):
        match = re.match(r"/\* -{4,} (.*?) -{4,}( \*/)?$", lines[at])
        if match:
            title = match.group(1)
            lines[at] = f"/** @name {title[0].upper()}{title[1:]}"
            if opened:
                lines[at] = "/** @} */ " + lines[at]
            if match.group(2):
                lines[at] += " */"
            while not lines[at].endswith("*/"):
                at += 1
                lines[at] = re.sub(r"^ \* ?", "", escape(lines[at]))
            lines[at] += " /** @{ */"
            opened = True
        elif opened and lines[at].startswith("#ifdef __cplusplus"):
            lines[at - 1] += "/** @} */"
            opened = False
        at += 1


def page(text, stem):
    """A page of Markdown, with what Doxygen reads otherwise than others do."""
    # It loses a link whose text goes over the end of a line.
    text = re.sub(r"\[[^\]\n]*\n[^\]\n]*\]\(", lambda link: link.group(0).replace("\n", " "), text)
    lines, is_code = text.split("\n"), False
    for at, line in enumerate(lines):
        if re.match(r" *```", line):
            is_code = not is_code
        if is_code:
            continue
        # Headings have the names that links to them say, each page its own.
        heading = re.match(r"##+ (.*)", line)
        if heading:
            words = re.sub(r"[^\w\- ]", "", heading.group(1).lower()).replace(" ", "-")
            line += f" {{#{stem}-{words}}}"
        pieces = re.split(r"(`[^`]*`)", line)
        for place in range(0, len(pieces), 2):
            # A backslash before a letter is one, no command.
            piece = re.sub(r"\\(?=[a-zA-Z])", r"\\\\", pieces[place])
            piece = re.sub(r"\]\(#", f"](#{stem}-", piece)
            pieces[place] = re.sub(r"\]\((?:[\w/.]*/)?(\w+)\.md#", r"](#\1-", piece)
        for place in range(1, len(pieces), 2):
            # An apostrophe would end the code, and what comes then would be no code.
            if re.search(r"['\\]", pieces[place]):
                pieces[place] = f"`{pieces[place]}`"
        lines[at] = "".join(pieces)
    return "\n".join(lines)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        text = file.read()
    if sys.argv[1].endswith(".md"):
        sys.stdout.write(page(text, pathlib.Path(sys.argv[1]).stem))
        return
    lines = text.split("\n")
    end = opening(lines)
    drop_private_macros(lines)
    drop_foreign(lines)
    share(lines, end)
    sections(lines)
    reopen_std(lines)
    stamp(lines, end)
    sys.stdout.write("\n".join(lines))


main()
