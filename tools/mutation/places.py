"""Where a small fault can be made, and what it puts there."""

import random
import re


TOKEN = re.compile(r"""
    (?P<skip> //[^\n]* | /\*.*?\*/ | "(?:\\.|[^"\\\n])*" | '(?:\\.|[^'\\\n])+' | ^[ \t]*\#[^\n]* | ^[ \t]*static_assert\b[^;]*; )
  | (?P<word> [A-Za-z_]\w* )
  | (?P<number> (?:0[xX][0-9a-fA-F']+ | 0[bB][01']+ | \d[\d']*(?:\.\d*)?(?:[eE][+-]?\d+)?) [uUlLfF]* )
  | (?P<operator> (?<=\s)(?: <= | >= | == | != | && | \|\| | << | >> | [+\-*/&|]= | [+\-*/<>&|] )(?=\s) | !(?=[\w(]) )
""", re.X | re.S | re.M)
OPERATORS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "+": "-", "-": "+", "*": "/", "/": "*",
             "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "&&": "||", "||": "&&", "&": "|", "|": "&", "&=": "|=",
             "|=": "&=", "<<": ">>", ">>": "<<", "!": ""}
COMPARISONS = {"<", "<=", ">", ">=", "==", "!="}
STATEMENT = re.compile(r"(?:\(void\))?[\w:.\->\[\]*]+(?:\(.*\)| (?:[|&^+*/-]|<<|>>)?= .*);")
SHADOW_ONLY = re.compile(r"fill\(|\w*[pP]reset\w*\(|register\w*\(") # in any order the same
LEADING = {"return", "using", "case", "break", "continue", "if", "for", "while", "else", "static_assert", "delete"}


def other_number(text, dice):
    """The same number with a bit turned over or, if it has a fraction, a quarter more."""
    digits = re.match(r"0[xX][0-9a-fA-F']+|0[bB][01']+|[^uUlLfF]+", text).group()
    suffix, digits = text[len(digits):], digits.replace("'", "")
    if re.search(r"[.eE]", digits) and not digits.lower().startswith("0x"):
        return (repr(float(digits) * 1.25) if float(digits) else "1.0") + suffix
    octal = re.fullmatch(r"0\d+", digits)
    value = int(digits, 8) if octal else int(digits, 0)
    value ^= 1 << dice.randrange(max(1, value.bit_length()))
    return (hex(value) if digits.lower().startswith(("0x", "0b")) else str(value)) + suffix


def statement(line):
    """The statement that a line is, without what it stands in; None if it is none, or not a whole one."""
    text = line.split("//")[0].strip()
    word = re.match(r"\w*", text).group()
    whole = STATEMENT.fullmatch(text) and text.count("(") == text.count(")") and line.startswith("    ")
    return text if whole and word not in LEADING else None


def order_matters(one, other):
    """Whether two statements may depend on one another: assignments only by name, shadows and slots never."""
    if SHADOW_ONLY.match(one) and SHADOW_ONLY.match(other):
        return False
    for this, that in ((one, other), (other, one)):
        target = re.match(r"[\w.\->]+(?= [^(]*= |\[)", this)
        if target and not re.search(rf"\b{re.split(r'[.>-]', target.group())[-1]}\b", that):
            return "(" in this.split("=", 1)[-1] and "(" in that
    return True


def places(text, dice):
    """All faults that a file's text may get: (kind, first character, length, instead)."""
    for token in TOKEN.finditer(text):
        found, at = token.group(), token.start()
        if token.lastgroup == "number":
            yield "constant", at, len(found), other_number(found, dice)
        elif token.lastgroup == "operator" and found in OPERATORS:
            kind = "comparison" if found in COMPARISONS else "operator"
            yield kind, at, len(found), OPERATORS[found]
        elif found in ("true", "false"):
            yield "constant", at, len(found), "false" if found == "true" else "true"
    at, before, start_before = 0, None, 0
    for line in text.splitlines(keepends=True):
        this = statement(line)
        if this:
            yield "dropped", at + line.index(this), len(this), "{}"
        if this and before and order_matters(before, this) and len(line) - len(line.lstrip()) == len(previous) - len(previous.lstrip()):
            yield "order", start_before, at + len(line) - start_before, line + previous
        result = re.match(r"\s+return ([^;{}]+);\n", line)
        if result and result.group(1) not in ("0", "true", "false", "nullptr"):
            yield "result", at + result.start(1), len(result.group(1)), "{}"
        previous, before, start_before = line, this, at
        at += len(line)


def chosen(tree, folders, seed):
    """An endless-looking row of faults without repetition: a kind by the dice, then a place of this kind."""
    dice = random.Random(seed)
    by_kind = {}
    for folder in folders:
        for path in sorted((tree / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                name = str(path.relative_to(tree))
                for kind, *place in places(path.read_text(encoding="utf-8"), dice):
                    by_kind.setdefault(kind, []).append((name, kind, *place))
    while by_kind:
        kind = dice.choice(sorted(by_kind))
        yield by_kind[kind].pop(dice.randrange(len(by_kind[kind])))
        if not by_kind[kind]:
            del by_kind[kind]
