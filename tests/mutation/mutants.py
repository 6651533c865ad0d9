"""Mutants of the library: one small change in one line each."""

import dataclasses
import re

TOKEN = re.compile(
    r'//.*|"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'|[A-Za-z_]\w*|\d[\w\']*'
    r"|<<=|>>=|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|::|."
)
NUMBER = re.compile(r"(0[xX][0-9A-Fa-f]+|\d+)([uU]?)$")
NAMED_NUMBER = re.compile(r"(SPAN_(E_|OK$|TOKEN_|OPER_|SNMP_|RX|TX|BOTH|VALUE)|IF_INDEX_(TYPE|PORT)|VEX_)")
CALL = re.compile(r"\s*[A-Za-z_][\w:.>-]*\(.*\);( *//.*)?$")
ASSIGNMENT = re.compile(r"\s*[*]?[A-Za-z_][\w.>\[\]*()-]* [-+|&^]?= [^;]*;( *//.*)?$")
JUMP = re.compile(r"\s*(if \(.*\) (return|continue)\b.*|continue|break);( *//.*)?$")
COMPARISON = re.compile(r"[^&|]* [=!]= [^&|]*$")  # turned round by its operator already
CONDITION = re.compile(r"(.*\bif )\((.*)\)( [^()]*[{;]| return .*;|)( *//.*)?$")

# The room of a variable or a field: one more is no other program, and the layouts are asserted.
ROOM = re.compile(r"\s*(alignas\(\d+\) )?\w+ \w+\[[^\]]+\]( = .*)?;")

# Binary operators, which stand between blanks.
OPERATORS = {
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
    "*": "+", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "|", "+=": "-=", "-=": "+=",
    "^=": "|=", "|=": "&=",
}  # fmt: skip
SWAPS = {"true": "false", "false": "true", "++": "--", "--": "++", "__func__": '"~"'}

# What a line may stand in: the start of a function, behind its type, or of a record.
CONTROL = {"if", "for", "while", "switch", "return", "catch", "static_assert", "else"}
FUNCTION = re.compile(r"\s*(?:\[\[[^\]]*\]\] )?[A-Za-z_][^=(]*[ *&]([A-Za-z_~]\w*)\(")
RECORD = re.compile(r"\s*(?:struct|class|union) (\w+)[^;]*\{")


@dataclasses.dataclass(frozen=True)
class Mutant:
    path: str  # below the library's folder
    line: int
    old: str
    new: str
    place: str  # the function or the record around it, maybe none

    def change(self):
        return f"{self.old.strip()} => {self.new.strip()}"

    def names(self):
        """What survivors.txt may know it by: the change in its file, or at its place there."""
        return {f"{self.path}: {self.change()}", f"{self.path}, {self.place}: {self.change()}"}


def balanced(text):
    depth = 0
    for character in text:
        depth += {"(": 1, ")": -1}.get(character, 0)
        if depth < 0:
            return False
    return depth == 0


def replaced(token, before, after):
    """What a token becomes, or None."""
    number = NUMBER.match(token)
    if number:
        value = int(number[1], 0)
        return f"{value - 1 if value == 0xFFFFFFFF else value + 1}{number[2]}"
    if token.startswith('"'):
        return '"~' + token[1:]
    if NAMED_NUMBER.match(token):
        return f"({token} + 1)"
    if token in OPERATORS and before.endswith(" ") and after.startswith(" "):
        return OPERATORS[token]
    if token == "!":
        return ""
    return SWAPS.get(token)


def changed_tokens(line):
    start = line.index("]") if ROOM.match(line) else 0
    for match in TOKEN.finditer(line, start):
        before, after = line[: match.start()], line[match.end() :]
        new = replaced(match[0], before, after)
        if new is not None:
            yield before + new + after


def changed_statements(line):
    """The line without its statement; the line with its condition turned round."""
    statement = line.strip()
    if any(form.match(line) for form in (CALL, ASSIGNMENT, JUMP)) and balanced(statement.split("//")[0]):
        if not statement.startswith(("return", "static_assert")):
            yield line[: len(line) - len(line.lstrip())] + ";"
    condition = CONDITION.match(line)
    if condition and "constexpr" not in line:
        head, test, rest = condition[1], condition[2], line[condition.end(2) + 1 :]
        if balanced(test) and not COMPARISON.match(test):
            yield f"{head}(!({test})){rest}"


def indentation(line):
    return len(line) - len(line.lstrip())


def opens(lines):
    """Whether the first statement of these lines has a body."""
    for line in lines:
        code = line.split("//")[0].rstrip()
        if code.endswith(("{", ";", "}")):
            return code.endswith("{")
    return False


def place_of(lines, number):
    """The name of what the line with that number stands in: the next one above that begins further left."""
    limit = indentation(lines[number - 1])
    for at in range(number - 2, -1, -1):
        line = lines[at]
        if not line.strip() or indentation(line) >= limit:
            continue
        limit = indentation(line)
        if line.split()[0].rstrip("(") in CONTROL:
            continue
        start = FUNCTION.match(line) or RECORD.match(line)
        if start and opens(lines[at:]):
            return start[1]
    return ""


def mutants_of(path, text):
    """All mutants of a file, in the order of its lines. Assertions are left alone: they are no part of the program."""
    found = []
    asserting = False
    lines = text.splitlines()
    for number, line in enumerate(lines, 1):
        code = line.strip()
        asserting = asserting or code.startswith("static_assert")
        if not asserting and not code.startswith(("#", "//")):
            for new in dict.fromkeys([*changed_tokens(line), *changed_statements(line)]):
                found.append(Mutant(path, number, line, new, place_of(lines, number)))
        if code.endswith(";"):
            asserting = False
    return found
