"""Finds single faults that can be planted into a C++ source, in its text and without a parser.

Neither Debian nor npm has a maintained tool that plants faults into C++. The sources have the
layout of .clang-format: spaces distinguish operators from the brackets of templates and from
references. A fault that does not compile is left out later.
"""

import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    //[^\n]* | /\*.*?\*/ | \#(?:[^\n\\]|\\.)* | R"(\w*)\(.*?\)\1"
    | "(?:\\.|[^"\\\n])*" | '(?:\\.|[^'\\\n])+' | [A-Za-z_]\w* | \d[\w'.]*
    | <<= | >>= | :: | -> | && | \|\| | [=!<>+\-*/%&|^]= | \+\+ | -- | << | >> | \S
    """, re.VERBOSE | re.DOTALL)

COMPARISONS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "=="}
LOGIC = {"&&": "||", "||": "&&"}
ARITHMETIC = {"+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++"}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "|=", "&=", "^=", "++", "--"}
NO_STATEMENTS = set("""alignas auto break case catch class const constexpr continue default delete
    do else enum explicit extern for friend goto if inline namespace new operator private protected
    public return static static_assert struct switch template thread_local throw try typedef
    typename union using virtual void while""".split())


@dataclass(frozen=True)
class Fault:
    file: str  # relative to the top folder
    kind: str
    start: int
    end: int
    old: str
    new: str
    line: int
    text: str  # of the line

    def planted(self, source):
        return source[:self.start] + self.new + source[self.end:]

    def title(self):
        old, new = (re.sub(r"\s+", " ", part) for part in (self.old, self.new))
        return f"{self.file}: {self.kind}: {old} becomes {new}"


class Source:
    """The tokens of a source, without comments and preprocessor lines."""

    def __init__(self, file, text):
        self.file = file
        self.text = text
        self.tokens = [match for match in TOKEN.finditer(text)
                       if not match[0].startswith(("//", "/*", "#"))]
        self.partners = self._partners()

    def _partners(self):
        """The place of each bracket's partner."""
        partners, opened = {}, []
        for place, token in enumerate(self.tokens):
            if token[0] in "([{":
                opened.append(place)
            elif token[0] in ")]}" and opened:
                partners[place] = opened.pop()
                partners[partners[place]] = place
        return partners

    def word(self, place):
        return self.tokens[place][0] if 0 <= place < len(self.tokens) else ""

    def stands_alone(self, place):
        """Whether a token has space on both sides, as binary operators have."""
        token = self.tokens[place]
        return self.text[token.start() - 1].isspace() and self.text[token.end():][:1].isspace()

    def fault(self, kind, start, end, new):
        begin = self.text.rfind("\n", 0, start) + 1
        return Fault(self.file, kind, start, end, self.text[start:end], new,
                     self.text.count("\n", 0, start) + 1,
                     self.text[begin:self.text.index("\n", start)].strip())

    def exchange(self, place, kind, new):
        return self.fault(kind, self.tokens[place].start(), self.tokens[place].end(), new)


def operator_fault(source, place):
    word = source.word(place)
    if word in ("++", "--"):
        return source.exchange(place, "arithmetic", ARITHMETIC[word])
    if word == "!":
        return source.exchange(place, "condition", "")
    for kind, table in (("comparison", COMPARISONS), ("condition", LOGIC),
                        ("arithmetic", ARITHMETIC)):
        if word in table and source.stands_alone(place):
            return source.exchange(place, kind, table[word])
    return None


def constant_fault(source, place):
    word = source.word(place)
    if word in ("true", "false"):
        return source.exchange(place, "constant", "false" if word == "true" else "true")
    if word[0].isdigit() and "." not in word:
        return source.exchange(place, "constant", f"({word} + 1)")
    if word[0] == '"' and source.word(place - 1) != "extern":
        return source.exchange(place, "constant", '"~' + word[1:])
    if word[0] == "'":
        return source.exchange(place, "constant", "'~'")
    return None


def negated_condition(source, place):
    """The condition of an if or a while, negated; a declaration in it stays."""
    if source.word(place) not in ("if", "while") or source.word(place + 1) != "(":
        return None
    first, last = place + 2, source.partners[place + 1]
    ends = [at for at in range(first, last) if source.word(at) == ";"]
    first = ends[-1] + 1 if ends else first
    words = {source.word(at) for at in range(first, last)}
    if source.word(first) in ("const", "auto") or \
            (words & {"==", "!="} and not words & {"&&", "||"}):  # the same as a changed comparison
        return None
    start, end = source.tokens[first].start(), source.tokens[last].start()
    return source.fault("condition", start, end, f"!({source.text[start:end]})")


def begins_statement(source, place):
    before = source.word(place - 1)
    if before in (";", "{", "}", "else"):
        return True
    if before == ":":  # of a label, which ends its line
        return source.text[source.tokens[place - 1].end()] == "\n"
    return before == ")" and source.word(source.partners[place - 1] - 1) in ("if", "for", "while")


def is_declaration(words):
    """Whether a type comes before a name."""
    for place, (first, second) in enumerate(zip(words, words[1:])):
        joined = re.fullmatch(r"\w+", first) or (first in "&*>" and place > 0)
        if joined and re.fullmatch(r"\w+", second):
            return True
    return False


def dropped_statement(source, place):
    """A call or an assignment, left out."""
    if not begins_statement(source, place) or source.word(place) in NO_STATEMENTS:
        return None
    head, at, acts = [], place, ""
    while source.word(at) not in (";", "", "{", "}"):
        word = source.word(at)
        if word in ASSIGNMENTS:
            acts = acts or "assignment"
        elif word == "(":
            acts = acts or "call"
            at = source.partners[at]
        if not acts:
            head.append(word)
        at += 1
    if not acts or source.word(at) != ";" or is_declaration(head) or \
            source.word(at - 1) in ("default", "delete", "override"):
        return None
    return source.fault(f"dropped {acts}", source.tokens[place].start(), source.tokens[at].start(),
                        "")


def faults_of(file, text):
    source = Source(file, text)
    found = []
    for place in range(len(source.tokens)):
        for find in (operator_fault, constant_fault, negated_condition, dropped_statement):
            fault = find(source, place)
            if fault is not None:
                found.append(fault)
    return found
