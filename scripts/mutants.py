"""Small wrong changes of C++ source text, and which of them are known to change nothing.

scripts/mutate.py has the tests look for them. Here is only what needs no build: what can be changed
in a text, which changes a seed chooses, and the list of equivalent ones."""

import collections
import dataclasses
import hashlib
import re

TOKEN = re.compile(
    r"""
      (?P<space>\s+)
    | (?P<comment>//[^\n]*|/\*.*?\*/)
    | (?P<directive>(?<![^\n])[ \t]*\#(?:[^\n\\]|\\.)*)
    | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"
        | (?:u8|[uUL])?"(?:[^"\\\n]|\\.)*" | (?:u8|[uUL])?'(?:[^'\\\n]|\\.)+')
    | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
    | (?P<name>[A-Za-z_]\w*)
    | (?P<mark2><=>|<<=|>>=|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
    """,
    re.VERBOSE | re.DOTALL,
)
INTEGER = re.compile(r"(0[xX])?([0-9a-fA-F']+)([uUlLzZ]*)")

# Between two operands. clang-format puts blanks around these, and around nothing else that looks so.
OTHER_OPERATOR = {
    "<": "<=",
    "<=": "<",
    ">": ">=",
    ">=": ">",
    "==": "!=",
    "!=": "==",
    "+": "-",
    "-": "+",
    "*": "/",
    "/": "*",
    "%": "*",
    "&&": "||",
    "||": "&&",
    "&": "|",
    "|": "&",
    "^": "|",
    "<<": ">>",
    ">>": "<<",
    "+=": "-=",
    "-=": "+=",
    "|=": "&=",
    "&=": "|=",
}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}
OTHER_WORD = {"true": "false", "false": "true"}
OTHER_STEP = {"++": "--", "--": "++"}
# What returns these is changed by another operator, or comes to the same.
PLAIN_RESULTS = {
    *("true", "false", "nullptr", "{}", "std::nullopt", "0", "FALSE", "S_OK", "ERROR_SUCCESS"),
    "kErrorSuccess",
}
NOT_STATEMENTS = {
    *("auto", "case", "class", "const", "constexpr", "default", "delete", "do", "else", "enum"),
    *("explicit", "extern", "for", "friend", "goto", "if", "inline", "namespace", "operator"),
    *("private", "protected", "public", "return", "static", "static_assert", "struct", "switch"),
    *("template", "throw"),
    *("typedef", "typename", "union", "using", "virtual", "while"),
}


@dataclasses.dataclass(frozen=True)
class sToken:
    kind: str
    text: str
    begin: int
    end: int


@dataclasses.dataclass(frozen=True)
class sMutant:
    """One line of a file, changed in one place."""

    file: str
    line: int  # counted from 1
    before: str
    after: str
    occurrence: int = 0  # how many lines of the file in front of it have the same text
    above: str = ""  # the line in front of it that is not blank

    @property
    def names(self):
        """What the list of equivalents may name it by."""
        change = self.before.strip(), self.after.strip()
        return (self.file, "", *change), (self.file, self.above, *change)

    def is_in(self, equivalents):
        return any(name in equivalents for name in self.names)

    @property
    def identity(self):
        parts = (self.file, self.before, str(self.occurrence), self.after)
        return hashlib.sha256("\0".join(parts).encode()).hexdigest()[:16]

    def apply(self, text):
        lines = text.split("\n")
        lines[self.line - 1] = self.after
        return "\n".join(lines)


def tokens_of(text):
    """-> all that is code: no comments, directives and blanks; strings are there, to be left alone"""
    found = []
    for match in TOKEN.finditer(text):
        kind = match.lastgroup if match.lastgroup != "mark" else "string"
        if kind not in ("space", "comment", "directive"):
            found.append(sToken(kind, match.group(), match.start(), match.end()))
    return found


def matching(tokens, opening):
    """-> the index of the bracket that closes the one at `opening`, or None"""
    depth = 0
    for index in range(opening, len(tokens)):
        if tokens[index].text in ("(", "[", "{"):
            depth += 1
        elif tokens[index].text in (")", "]", "}"):
            depth -= 1
            if depth == 0:
                return index
    return None


def checked_by_the_compiler(tokens):
    """-> the indices of what stands in static_assert(...)"""
    found = set()
    for index, token in enumerate(tokens):
        if token.text == "static_assert":
            end = matching(tokens, index + 1)
            found.update(range(index, end + 1 if end else len(tokens)))
    return found


def other_numbers(text):
    """-> the integers next to it, written as it is"""
    match = INTEGER.fullmatch(text)
    if not match or (not match[1] and match[2][0] == "0" and len(match[2]) > 1):
        return
    prefix, digits, suffix = match[1] or "", match[2].replace("'", ""), match[3]
    if not prefix and not digits.isdigit():
        return
    value = int(digits, 16 if prefix else 10)
    for other in (value + 1, value - 1):
        if other >= 0:
            yield f"{prefix}{other:0{len(digits)}X}{suffix}" if prefix else f"{other}{suffix}"


def is_call_or_assignment(tokens):
    """Whether an expression makes a statement of its own that is worth something."""
    if tokens[0].text in ("++", "--"):
        return True
    if [token.text for token in tokens] in (["break"], ["continue"], ["return"]):
        return True
    index = 1 if tokens[0].text == "*" else 0
    if index == len(tokens) or tokens[index].kind != "name" or tokens[index].text in NOT_STATEMENTS:
        return False
    called = False
    index += 1
    while index < len(tokens):
        text = tokens[index].text
        if text in (".", "->", "::"):
            index += 2
        elif text in ("(", "["):
            end = matching(tokens, index)
            if end is None:
                return False
            called = text == "("
            index = end + 1
        else:
            return text in ASSIGNMENTS or text in ("++", "--")
    return called


class cSource:
    """The text of one file, and what can be changed in it."""

    def __init__(self, file, text):
        self.file = file
        self.text = text
        self.lines = text.split("\n")
        self.tokens = tokens_of(text)
        self._starts = [0]
        for line in self.lines:
            self._starts.append(self._starts[-1] + len(line) + 1)
        self._left_alone = checked_by_the_compiler(self.tokens)
        self._occurrences = collections.Counter()

    def mutants(self):
        """-> for each line that can be changed, its mutants in a fixed order"""
        index = 0
        above = ""
        for number, line in enumerate(self.lines, 1):
            begin, end = self._starts[number - 1], self._starts[number] - 1
            first = index
            while index < len(self.tokens) and self.tokens[index].begin < end:
                index += 1
            found = []
            for start, stop, new in self._changes(first, index):
                if stop <= end:
                    after = line[: start - begin] + new + line[stop - begin :]
                    found.append(
                        sMutant(self.file, number, line, after, self._occurrences[line], above)
                    )
            self._occurrences[line] += 1
            above = line.strip() or above
            if found:
                yield list(dict.fromkeys(found))

    def _changes(self, first, last):
        """The changes of the tokens of one line. -> (begin, end, new text)"""
        indices = [index for index in range(first, last) if index not in self._left_alone]
        if not indices:
            return
        for index in indices:
            yield from self._token_changes(index)
            yield from self._condition_changes(index, last)
        yield from self._statement_changes(first, last)

    def _token_changes(self, index):
        token = self.tokens[index]
        new = []
        if token.kind == "number":
            new = other_numbers(token.text)
        elif token.text in OTHER_WORD:
            new = [OTHER_WORD[token.text]]
        elif token.text in OTHER_STEP:
            new = [OTHER_STEP[token.text]]
        elif token.text == "!":
            new = [""]
        elif token.text in OTHER_OPERATOR and self._stands_alone(index):
            new = [OTHER_OPERATOR[token.text]]
        for text in new:
            yield token.begin, token.end, text

    def _stands_alone(self, index):
        """With blanks around it, and no text of a message next to it."""
        token = self.tokens[index]
        around = self.text[token.begin - 1 : token.begin] + self.text[token.end : token.end + 1]
        neighbours = self.tokens[max(index - 1, 0) : index + 2]
        return len(around) == 2 and around.isspace() and all(one.kind != "string" for one in neighbours)

    def _condition_changes(self, index, last):
        if self.tokens[index].text != "if" or index + 1 >= last or self.tokens[index + 1].text != "(":
            return
        end = matching(self.tokens, index + 1)
        if end is None or end >= last:
            return
        inner = self.tokens[index + 2 : end]
        if any(token.text in (";", "=", "{") for token in inner):
            return
        begin, stop = self.tokens[index + 1].end, self.tokens[end].begin
        yield begin, stop, f"!({self.text[begin:stop]})"

    def _statement_changes(self, first, last):
        line = self.tokens[first:last]
        if line[-1].text != ";" or [token.text for token in line].count(";") != 1 or len(line) < 2:
            return
        if first == 0 or self.tokens[first - 1].text not in (";", "{", "}", ":"):
            return
        if line[0].text == "return" and len(line) > 2:
            begin, end = line[1].begin, line[-1].begin
            if self.text[begin:end].strip() not in PLAIN_RESULTS:
                yield begin, end, "{}"
        elif is_call_or_assignment(line[:-1]):
            yield line[0].begin, line[-1].begin, ""


def rank(seed, text):
    """Where a seed puts something: a change of one file leaves the places of all others."""
    return hashlib.sha256(f"{seed}\0{text}".encode()).digest()


def chosen(sources, seed):
    """-> one mutant of each line that can be changed, in the order that the seed gives them"""
    found = []
    for source in sources:
        for mutants in source.mutants():
            found.append(min(mutants, key=lambda mutant: rank(seed, mutant.identity)))
    return sorted(found, key=lambda mutant: rank(seed, f"{mutant.identity} place"))


class MalformedList(Exception):
    """The list of equivalents cannot be understood."""


def read_equivalents(text):
    """The list of mutants that do what the original does. -> {(file, line above, before, after): why}

    Each has the file, the line behind "- ", the changed line behind "+ " and the reason, on as many lines
    as it takes. Where not all lines with that text are meant, the one above stands in front, behind two
    blanks. Blank lines are between them, and lines that start with # are comments."""
    found = {}
    for paragraph in re.split(r"\n\s*\n", text):
        lines = [line for line in paragraph.splitlines() if line.strip() and not line.startswith("#")]
        if not lines:
            continue
        file = lines.pop(0).strip()
        above = lines.pop(0).strip() if lines and lines[0].startswith("  ") else ""
        if len(lines) < 3 or lines[0][:2] != "- " or lines[1][:2] != "+ ":
            raise MalformedList(f"no file, '- ', '+ ' and reason: {file}")
        key = (file, above, lines[0][2:].strip(), lines[1][2:].strip())
        if key in found:
            raise MalformedList(f"twice: {' '.join(key)}")
        found[key] = " ".join(line.strip() for line in lines[2:])
    return found


def stale(equivalents, read_text):
    """-> the entries that name no possible change any more; `read_text` gives a file's text, or None"""
    possible = {}
    for file in {key[0] for key in equivalents}:
        text = read_text(file)
        source = cSource(file, text) if text is not None else None
        possible[file] = set()
        for line in source.mutants() if source else ():
            for mutant in line:
                possible[file].update(mutant.names)
    return [key for key in equivalents if key not in possible[key[0]]]
