"""edits.py - the mutants of a C++ source: each is one small edit of its text that a careful test should notice.

Comments, texts, preprocessor lines, static_asserts and template heads stay as they are. The layout of clang-format
tells operators apart: a binary operator stands between spaces; the brackets of templates, pointers and references in
types do not.
"""
import re

# What an operator between spaces becomes; one mutant for each.
kBinary = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["+"], "/": ["*"], "%": ["/"], "<<": [">>"], ">>": ["<<"],
    "&": ["|"], "|": ["&"], "^": ["&"], "&&": ["||"], "||": ["&&"],
    "+=": ["-="], "-=": ["+="], "*=": ["+="], "/=": ["*="], "|=": ["&="], "&=": ["|="], "^=": ["|="],
    "<<=": [">>="], ">>=": ["<<="],
}
kUnary = {"++": "--", "--": "++"}
kWords = {"true": "false", "false": "true"}
# Longest first, so that a shorter operator is not found inside a longer one.
kOperator = re.compile(r"(?<= )(" + "|".join(re.escape(o) for o in sorted(kBinary, key=len, reverse=True)) + r")(?=[ \n])")
kStep = re.compile(r"\+\+|--")
kNumber = re.compile(r"(?<![\w.'])(0[xX][0-9a-fA-F']+|\d[\d']*)([uUlL]*)(?![\w.'])")
kWord = re.compile(r"(?<!\w)(true|false)(?!\w)")
kNot = re.compile(r"!(?=[\w(*:])")
kCondition = re.compile(r"(?<!\w)(?:if|while)(?: constexpr)? \(")
kCall = re.compile(r"(?<=[;{})])(?:\s*else)?\s*(?:[A-Za-z_][\w:]*(?:<[^<>;(){}]*>)?(?:\.|->))*[A-Za-z_~][\w:]*(?:<[^<>;(){}]*>)?\(")
kOpaque = re.compile(
    r"//[^\n]*|/\*.*?\*/"                                      # comments
    r"|R\"(?P<mark>[^\s()\\]*)\(.*?\)(?P=mark)\""              # raw texts
    r"|(?<!\w)(?:u8|[LuU])?\"(?:\\.|[^\"\\\n])*\""             # texts
    r"|(?<![\w'])'(?:\\.|[^'\\\n])+'"                          # characters; not the marks inside a number
    r"|^[ \t]*#(?:[^\n\\]|\\.|\\\n)*"                          # preprocessor lines
    , re.DOTALL | re.MULTILINE)
kFixed = re.compile(r"(?<!\w)(static_assert|alignas) ?\(|(?<!\w)(template) ?<")
kNoCalls = {"if", "for", "while", "switch", "return", "catch", "sizeof", "alignof", "decltype", "KV_ASSERT"}


class Mutant:
    """One edit: these characters of the text of a file become others."""

    def __init__(self, path, text, start, end, new):
        self.path, self.start, self.end, self.new = path, start, end, new
        self.line = text.count("\n", 0, start) + 1
        first = text.rfind("\n", 0, start) + 1
        last = text.find("\n", end)
        last = len(text) if last < 0 else last
        self.before = " ".join(text[first:last].split())
        self.after = " ".join((text[first:start] + new + text[end:last]).split())

    def key(self):
        return self.path, self.before, self.after

    def apply(self, text):
        return text[:self.start] + self.new + text[self.end:]

    def __str__(self):
        return f"{self.path}:{self.line}\n- {self.before}\n+ {self.after}"


def blank(match):
    return re.sub(r"[^\n]", " ", match[0])


def closing(text, start, opening, end):
    """The place of the bracket that closes the one at start, or None."""
    depth = 0
    for at in range(start, len(text)):
        if text[at] == opening:
            depth += 1
        elif text[at] == end:
            depth -= 1
            if depth == 0:
                return at
    return None


def code_of(text):
    """The text with everything that is not to be changed as spaces, every character at its place."""
    code = kOpaque.sub(blank, text)
    at = 0
    while match := kFixed.search(code, at):
        pair = "<>" if match[2] else "()"
        last = closing(code, match.end() - 1, *pair)
        at = match.end() if last is None else last + 1
        code = code[:match.start()] + re.sub(r"[^\n]", " ", code[match.start():at]) + code[at:]
    return code


def neighbours(number):
    """A number one more and one less, in the way it is written."""
    digits, suffix = number[1].replace("'", ""), number[2]
    value, form = (int(digits, 16), "0x{:X}") if digits[:2].lower() == "0x" else (int(digits), "{}")
    return [form.format(near) + suffix for near in (value + 1, value - 1) if near >= 0]


def edits(code):
    """(start, end, new text) of every mutant."""
    for match in kOperator.finditer(code):
        for new in kBinary[match[1]]:
            yield match.start(1), match.end(1), new
    for match in kStep.finditer(code):
        yield match.start(), match.end(), kUnary[match[0]]
    for match in kNumber.finditer(code):
        for new in neighbours(match):
            yield match.start(), match.end(), new
    for match in kWord.finditer(code):
        yield match.start(), match.end(), kWords[match[0]]
    for match in kNot.finditer(code):
        yield match.start(), match.end(), ""
    for match in kCondition.finditer(code):
        last = closing(code, match.end() - 1, "(", ")")
        if last is not None and code[match.end():last].strip():
            first = max(match.end(), code.rfind(";", match.end(), last) + 1)
            yield first, last, f" !({code[first:last].strip()})" if first > match.end() else f"!({code[first:last]})"
    yield from removed_calls(code)


def removed_calls(code):
    """Statements that are one call, whose result nobody uses."""
    for match in kCall.finditer(code):
        name = re.search(r"([\w~]+)(?:<[^<>]*>)?\($", match[0])[1]
        start = match.start() + len(match[0]) - len(match[0].lstrip())
        start += re.match(r"else\s*", code[start:]).end() if code.startswith("else", start) else 0
        last = closing(code, match.end() - 1, "(", ")")
        if name not in kNoCalls and last is not None and code[last + 1:last + 2] == ";" and is_in_function(code, start):
            yield start, last + 1, ""


def is_in_function(code, place):
    """Whether a statement may stand here: a declaration of a class or namespace has a type in front of its name."""
    depth, at = 0, place - 1
    while at >= 0:
        if code[at] == "}":
            depth += 1
        elif code[at] == "{":
            if depth == 0:
                head = code[max(code.rfind(";", 0, at), code.rfind("{", 0, at), code.rfind("}", 0, at)) + 1:at]
                return not re.search(r"(?<!\w)(class|struct|union|enum|namespace)(?!\w)[^()]*$", head)
            depth -= 1
        at -= 1
    return False


def mutants_of(path, text):
    """Every mutant of this source, in the order of its text; texts that come out the same are one."""
    code = code_of(text)
    found = {}
    for start, end, new in edits(code):
        # What stands between is taken from the code: a text inside a negated condition must stay.
        new = new if code[start:end] == text[start:end] else new.replace(code[start:end].strip(), text[start:end].strip())
        mutant = Mutant(path, text, start, end, new)
        found.setdefault((start, end, new), mutant)
    return [found[key] for key in sorted(found)]
