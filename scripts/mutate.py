"""Finds small changes that can be made to a C++ source, by its tokens alone; scripts/mutate tries them.

Only bodies of functions are changed. That `a < b` compares and `vector<int>` does not is told by the
blanks around operators, so sources are expected to be formatted (scripts/format).
"""

import hashlib
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""
      (?P<blank>\s+|//(?:[^\n\\]|\\[\s\S])*|/\*[\s\S]*?\*/)
    | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\[\s\S])*)
    | (?P<text>(?:u8|[uUL])?R"(?P<fence>[^()\\\s]{0,16})\([\s\S]*?\)(?P=fence)"
        |(?:u8|[uUL])?"(?:[^"\\\n]|\\.)*" | (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+')
    | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
    | (?P<word>[A-Za-z_]\w*)
    | (?P<sign><=>|<<=|>>=|\.\.\.|->\*|->|\+\+|--|&&|\|\||[=!<>+\-*/%&|^]=|<<|>>|::|[^\s\w])
    """,
    re.X | re.M,
)
INTEGER = re.compile(r"(0[xX][\da-fA-F']+|0[bB][01']+|[\d']+)([uUlLzZ]*)$")
REAL = re.compile(r"(\d+)(\.\d*[fFlL]?)$")

PAIRS = {"(": ")", "[": "]", "{": "}"}
SWAPS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
    "==": ("!=",), "!=": ("==",), "&&": ("||",), "||": ("&&",),
    "+": ("-",), "-": ("+",), "+=": ("-=",), "-=": ("+=",),
    "&": ("|",), "|": ("&",), "<<": (">>",), ">>": ("<<",),
}  # fmt: skip
RELATIONS = {"<", "<=", ">", ">=", "==", "!="}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
CONTROLS = {"if", "for", "while", "switch", "catch"}
TYPES = {"class", "struct", "union", "enum"}
# Words that begin a statement of no interest: nothing in it is changed.
DECLARATIVE = {"static", "constexpr", "constinit", "static_assert", "using", "typedef", "thread_local", "asm"}
# What is in their parentheses is no computation, or is a hint to the compiler or the allocator.
OPAQUE = {"sizeof", "alignof", "alignas", "decltype", "noexcept", "reserve", "__builtin_expect",
          "__builtin_prefetch", "__builtin_unreachable"}  # fmt: skip
# Calls that are not deleted: only other tools see what is missing.
UNSEEN = {"free", "reserve", "shrink_to_fit", "__builtin_prefetch"}
# Results that the empty one equals, or that are changed in another way.
UNCHANGED = {"{}", "0", "nullptr", "std::nullopt", "true", "false", '""', "*this"}
NO_STATEMENT = DECLARATIVE | CONTROLS | TYPES | OPAQUE | {
    "return", "throw", "delete", "goto", "break", "continue", "case", "default", "else", "do", "try",
    "const", "auto", "namespace", "template", "typename", "operator", "new", "co_return", "co_yield",
}  # fmt: skip


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutation:
    """One change: the text between two offsets is replaced. Lines keep their numbers."""

    file: str
    line: int  # from 1, as the column and the line on which the function's body begins
    column: int
    body: int
    start: int
    end: int
    kind: str
    before: str
    after: str
    rank: str  # where it stands among all others

    def apply(self, source):
        return source[: self.start] + self.after + source[self.end :]


class Source:
    """The tokens of a source, with the brackets that belong together."""

    def __init__(self, text):
        self.text = text
        self.tokens = [
            Token(m.lastgroup if m.lastgroup != "fence" else "text", m.group(), m.start(), m.end())
            for m in TOKEN.finditer(text)
            if m.lastgroup not in ("blank", "directive")
        ]
        self.partner = {}
        opened = []
        for i, token in enumerate(self.tokens):
            if token.kind != "sign":
                continue
            if token.text in PAIRS:
                opened.append(i)
            elif opened and token.text == PAIRS[self.tokens[opened[-1]].text]:
                start = opened.pop()
                self.partner[start], self.partner[i] = i, start

    def word(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def spaced(self, i):
        """Whether there is a blank on either side of a token, as there is around operators."""
        token = self.tokens[i]
        return self.text[token.start - 1].isspace() and self.text[token.end : token.end + 1].isspace()

    def outer(self, first, last):
        """The tokens from first up to last, without what is inside of brackets."""
        i = first
        while i < last:
            yield i
            i = self.partner[i] if self.word(i) in PAIRS and i in self.partner else i + 1

    def find(self, text, first, last):
        return next((i for i in self.outer(first, last) if self.word(i) == text), None)

    def bodies(self):
        """The functions' bodies, as the indices of their braces."""
        i = begin = 0
        while i < len(self.tokens):
            word = self.word(i)
            if word == "{" and i in self.partner:
                kind = self.brace(begin, i)
                if kind == "body":
                    yield i, self.partner[i]
                if kind in ("body", "value"):
                    i = self.partner[i]
                if kind != "value":
                    begin = i + 1
            elif word in "([" and i in self.partner:
                i = self.partner[i]
            elif word in ";}":
                begin = i + 1
            i += 1

    def brace(self, begin, i):
        """What a brace outside of functions opens, after a head that begins at `begin`."""
        if self.word(begin) == "template" and self.word(begin + 1) == "<":
            begin = self.skip_angles(begin + 1) + 1
        head = [self.word(k) for k in self.outer(begin, i)]
        if "namespace" in head or head[:1] == ["extern"] and head[1:2] and head[1].startswith('"'):
            return "scope"
        if "=" in head and "operator" not in head:
            return "value"
        if TYPES & set(head) and head[-1] != ")":
            return "scope"
        if "(" not in head:
            return "value"
        if ")" in head and ":" in head[head.index(")") :]:  # initialisers of a constructor
            if head[-1] not in (")", "}", "const", "noexcept", "override", "final", "try"):
                return "value"
        return "body"

    def skip_angles(self, i):
        """The end of the template arguments or parameters that begin with `<`, or i if they do not."""
        depth = 0
        for k in range(i, len(self.tokens)):
            word = self.word(k)
            depth += {"<": 1, ">": -1, ">>": -2}.get(word, 0)
            if depth <= 0:
                return k
            if word in ";{":
                break
        return i


class Finder:
    """Collects the changes of one source."""

    def __init__(self, file, text):
        self.file = file
        self.source = Source(text)
        self.found = []
        self.body = 0

    def line(self, offset):
        return self.source.text.count("\n", 0, offset) + 1

    def add(self, kind, first, last, *after):
        """Offers to replace the tokens from first to last by one of some texts."""
        self.found.append((kind, self.source.tokens[first].start, self.source.tokens[last].end, after, self.body))

    def run(self):
        for first, last in self.source.bodies():
            self.body = self.line(self.source.tokens[first].start)
            skipped = self.skipped(first, last)
            for i in range(first + 1, last):
                if i not in skipped:
                    self.look_at(i, last)
        return self.found

    def skipped(self, first, last):
        """What is not changed in a body: types, template arguments, labels, constants of the compiler."""
        source, skipped = self.source, set()
        for i in range(first + 1, last):
            word, end = source.word(i), i
            if i in skipped:
                continue
            if word in DECLARATIVE and source.word(i - 1) in (";", "{", "}", ")"):
                end = source.find(";", i, last)
            elif word == "case":
                end = source.find(":", i, last)
            elif word == "<" and source.tokens[i - 1].end == source.tokens[i].start:
                end = source.skip_angles(i)
            elif word in OPAQUE and source.word(i + 1) == "(":
                end = source.partner.get(i + 1)
            elif word == "[" and source.word(i + 1) == "[":
                end = source.partner.get(i)
            elif word == "[" and self.declares_array(i):
                end = source.partner.get(i)
            if end is not None and end > i:
                skipped.update(range(i, end + 1))
        return skipped

    def declares_array(self, i):
        source = self.source
        return (source.tokens[i - 1].kind == "word"
                and (source.tokens[i - 2].kind == "word" or source.word(i - 2) in (">", "*"))
                and source.word(i - 2) not in NO_STATEMENT)  # fmt: skip

    def look_at(self, i, last):
        source, token = self.source, self.source.tokens[i]
        if token.kind == "number":
            self.constant(i)
        elif token.kind == "sign":
            if token.text in SWAPS and source.spaced(i):
                if self.computes(i):
                    self.add("operator", i, i, *SWAPS[token.text])
            elif token.text in ("++", "--"):
                self.add("operator", i, i, "--" if token.text == "++" else "++")
            elif token.text == "!":
                self.add("negation", i, i, "")
        elif token.text in ("true", "false"):
            self.add("constant", i, i, "false" if token.text == "true" else "true")
        elif token.text in ("if", "while") and source.word(i + 1) == "(":
            self.condition(i + 1)
        elif token.text == "return":
            self.result(i, last)
        elif token.text == "break" and source.word(i + 1) == ";":
            self.add("jump", i, i, "continue", "")
        elif token.text == "continue" and source.word(i + 1) == ";":
            self.add("jump", i, i, "break")
        elif self.begins_statement(i):
            self.statement(i, last)

    def constant(self, i):
        text = self.source.word(i)
        if integer := INTEGER.match(text):
            digits, suffix = integer.group(1).replace("'", ""), integer.group(2)
            octal = len(digits) > 1 and digits.isdigit() and digits[0] == "0"
            value = int(digits, 8 if octal else 0)
            form = "0x{:x}" if digits[:2] in ("0x", "0X") else "{}"
            values = (0, 2) if value == 1 else (value + 1,)
            self.add("constant", i, i, *(form.format(v) + suffix for v in values))
        elif real := REAL.match(text):
            self.add("constant", i, i, str(int(real.group(1)) + 1) + real.group(2))

    def computes(self, i):
        """Whether an operator is one of numbers, as far as can be seen: not one of texts or streams."""
        source, operator = self.source, self.source.word(i)
        if operator in ("+", "<<", ">>") and "text" in (source.tokens[i - 1].kind, source.tokens[i + 1].kind):
            return source.word(i - 1).startswith("'") or source.word(i + 1).startswith("'")
        if operator not in ("<<", ">>"):
            return True
        k = i - 1
        while source.word(k) not in (";", "{", "}", "(", "[", "=", ",", "return"):
            if source.tokens[k].kind == "text":
                return False
            k = source.partner[k] - 1 if source.word(k) in (")", "]") else k - 1
        return source.word(k) in ("(", "[", "=", ",", "return")

    def condition(self, opening):
        """Negates a condition, unless a swapped or removed operator in it does the same."""
        source, closing = self.source, self.source.partner.get(opening)
        if closing is None or closing == opening + 1:
            return
        words = [source.word(k) for k in source.outer(opening + 1, closing)]
        if ";" in words or "=" in words:  # it declares something
            return
        joined = "&&" in words or "||" in words
        if not joined and (words[0] == "!" or RELATIONS & set(words)):
            return
        inner = source.text[source.tokens[opening + 1].start : source.tokens[closing - 1].end]
        self.add("condition", opening + 1, closing - 1, f"!({inner})")

    def result(self, i, last):
        source = self.source
        end = source.find(";", i, last)
        if end is None or end == i + 1:
            return
        value = source.text[source.tokens[i + 1].start : source.tokens[end - 1].end]
        if value not in UNCHANGED and not INTEGER.match(value):
            lines = value.count("\n")
            self.add("result", i + 1, end - 1, "{}" + "\n" * lines)

    def begins_statement(self, i):
        source, before = self.source, self.source.word(i - 1)
        if source.tokens[i].kind != "word" or source.word(i) in NO_STATEMENT:
            return False
        if before == ")":
            return source.word(source.partner.get(i - 1, 0) - 1) in CONTROLS
        return before in (";", "{", "}", "else", "do")

    def statement(self, i, last):
        """Deletes a call whose value is not used, or an assignment."""
        source, k, called = self.source, i, ""
        while k < last:
            word = source.word(k)
            if word in ("(", "[") and k in source.partner:
                called = source.word(k - 1) if word == "(" else ""
                k = source.partner[k] + 1
            elif source.tokens[k].kind == "word" and (k == i or source.word(k - 1) in ("::", ".", "->")):
                called = ""
                k += 1
                if source.word(k) == "<" and source.tokens[k].start == source.tokens[k - 1].end:
                    k = source.skip_angles(k) + 1
            elif word in ("::", ".", "->"):
                k += 1
            else:
                break
        word = source.word(k)
        if word in ASSIGNMENTS:
            k, called = source.find(";", k, last) or last, word
        if called and called not in UNSEEN and source.word(k) == ";":
            lines = source.text.count("\n", source.tokens[i].start, source.tokens[k].start)
            self.add("statement", i, k - 1, "\n" * lines)


def digest(*parts):
    return hashlib.sha256("\0".join(map(str, parts)).encode()).hexdigest()


def mutations(file, text, seed):
    """The changes of a source. Their ranks hang on the seed, the file and the line's text only, so that
    an edit elsewhere leaves them as they are."""
    lines, seen = text.split("\n"), {}
    for kind, start, end, texts, body in Finder(file, text).run():
        before = text[start:end]
        row, column = text.count("\n", 0, start), start - text.rfind("\n", 0, start)
        key = (lines[row].strip(), kind, column, before)
        seen[key] = seen.get(key, 0) + 1
        rank = digest(seed, file, *key, seen[key])
        after = texts[int(rank, 16) % len(texts)]
        yield Mutation(file, row + 1, column, body, start, end, kind, before, after, rank)
