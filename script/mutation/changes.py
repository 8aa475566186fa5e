"""The changes that script/mutate makes to a C++ source: each replaces one operator, constant, return
value or string literal. Comments, preprocessor lines, static assertions and the arguments of debug log
lines, which are never written, stay as they are.

Binary operators are distinguished from references, pointers and template brackets by the blanks around them,
which the formatter guarantees."""

import dataclasses
import re

TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<text>(?:u8|[uUL])?(?:R"(?P<delimiter>[^()\s\\]{0,16})\(.*?\)(?P=delimiter)"|"(?:\\.|[^"\\\n])*"))
  | (?P<character>'(?:\\.|[^'\\\n])+')
  | (?P<number>\d(?:'?[\w.])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|<=>|\.\.\.|->\*?|::|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[-+*/%&|^!~<>=?:;,.(){}\[\]])
  | (?P<blank>\s+)
  """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

BINARY = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "&", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "%=": "*=", "&=": "|=", "|=": "&=", "^=": "&=",
    "<<=": ">>=", ">>=": "<<=",
}
STEP = {"++": "--", "--": "++"}

# Returned values whose value-initialized counterpart is the same, or which are constants changed as such.
SAME_AS_DEFAULT = re.compile(r"(0|true|false|nullptr|\{\}|std::nullopt|\w*(SUCCESS|Success)|[\w:]*::kNone)")

# No test can see a change in these arguments: the compiler checks the one, and the other writes nothing.
UNSEEN = ("static_assert", "writeDebug")

KINDS = ("operator", "constant", "return", "text")


@dataclasses.dataclass(frozen=True)
class Change:
    file: str
    kind: str
    line: int
    begin: int
    end: int
    old: str
    new: str

    def apply(self, source):
        return source[: self.begin] + self.new + source[self.end :]

    def __str__(self):
        old, new = (" ".join(text.split()) for text in (self.old, self.new))
        return f"{self.file}:{self.line}: {old} -> {new or 'nothing'}"


def changes_of(file, source):
    """All changes to the source, in the order of KINDS, then of their places."""
    tokens = [token for token in TOKEN.finditer(source) if token.lastgroup != "comment"]
    code = [token for token in tokens if _kind(token) not in ("blank", "comment", "directive")]
    found = []

    def add(kind, begin, end, new):
        line = source.count("\n", 0, begin) + 1
        found.append(Change(file, kind, line, begin, end, source[begin:end], new))

    unseen_until = -1
    for place, token in enumerate(code):
        begin, end, word = token.start(), token.end(), token.group()
        before = code[place - 1].group() if place else ""
        if word in UNSEEN:
            unseen_until = source.find(";", begin)
        if begin < unseen_until:
            continue
        kind = _kind(token)
        if kind == "operator":
            new = _other_operator(source, token, before)
            if new is not None:
                add("operator", begin, end, new)
        elif kind == "number":
            add("constant", begin, end, _other_number(word))
        elif word in ("true", "false"):
            add("constant", begin, end, "false" if word == "true" else "true")
        elif kind == "character":
            add("constant", begin, end, "'y'" if word == "'x'" else "'x'")
        elif kind == "text" and before != "extern":
            opening = re.match(r'[^"]*"([^()\s\\]{0,16}\()?', word) if "R\"" in word[:4] else re.match(r'[^"]*"', word)
            add("text", begin, end, word[: opening.end()] + "x" + word[opening.end() :])
        elif word == "return":
            last = _end_of_statement(code, place)
            value = source[code[place + 1].start() : last].strip() if last else ""
            if last and not value:
                add("return", begin, end, "")
            elif last and not SAME_AS_DEFAULT.fullmatch(value):
                add("return", begin, last, "return {}")
    return sorted(found, key=lambda change: KINDS.index(change.kind))


def _kind(token):
    return "text" if token.lastgroup == "delimiter" else token.lastgroup


def _other_operator(source, token, before):
    word, begin, end = token.group(), token.start(), token.end()
    if before == "operator":
        return None
    if word in STEP:
        return STEP[word]
    if word == "!":
        return ""
    if word == "~":
        return "" if before != "::" and not source[end : end + 1].isupper() else None
    blanks = source[begin - 1 : begin].isspace() and source[end : end + 1].isspace()
    return BINARY.get(word) if blanks else None


def _other_number(word):
    """The number plus one; minus one where all its bits may be set already."""
    digits = re.match(r"0[xX][0-9a-fA-F']+|0[bB][01']+|[0-9']+", word).group()
    value = int(digits.replace("'", ""), 8 if re.fullmatch(r"0[0-7']+", digits) else 0)
    all_set = value > 1 and value & (value + 1) == 0 and digits[:2] in ("0x", "0X", "0b", "0B")
    other = value - 1 if all_set else value + 1
    text = hex(other) if digits[:2] in ("0x", "0X") else f"0{other:o}" if digits[0] == "0" and value else str(other)
    return text + word[len(digits) :]


def _end_of_statement(code, place):
    """Where the `;` of the statement that begins at `place` stands; None within a larger expression."""
    depth = 0
    for token in code[place:]:
        word = token.group()
        if word in ("(", "[", "{"):
            depth += 1
        elif word in (")", "]", "}"):
            depth -= 1
        elif word == ";" and depth == 0:
            return token.start()
        if depth < 0:
            break
    return None
