"""The places in the product's code that can be changed, and what each change is."""
import hashlib
import pathlib
import re
import subprocess

TOP = pathlib.Path(__file__).resolve().parent.parent.parent

# The programs whose tests cover a path, by its longest prefix here. The later ones run only if the
# earlier ones pass.
COVERING = {
    "platform/com/": ["test_platform_com", "test_platform", "test_agent_outlookaddin"],
    "platform/": ["test_platform", "test_logging", "test_channel"],
    "text/": ["test_text"],
    "config/": ["test_config"],
    "logging/": ["test_logging"],
    "channel/": ["test_channel"],
    "agent/outlookaddin/": ["test_agent_outlookaddin"],
}
# Not built natively, or nothing but data.
LEFT_OUT = re.compile(r"/win32/|^config/configpatterns\.h$|^text/suggestion\.|/(dllmain|maketypelibrary)\.cpp$")
# A row of the settings table: hundreds of strings that one test compares.
DATA = re.compile(r"\s*\{\".*RE_\w+\},$")

TOKEN = re.compile(r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<raw>R"(?P<delimiter>[^(\s]*)\(.*?\)(?P=delimiter)")
  | (?P<string>"(?:\\.|[^"\\\n])*")
  | (?P<char>'(?:\\.|[^'\\\n])+')
  | (?P<directive>^[ ]*\#(?:[^\n\\]|\\.|\\\n)*)
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|\d[\d']*)(?:[uUlL]*)\b)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><<=|>>=|<=>|->\*|<<|>>|->|\+\+|--|&&|\|\||[<>=!+\-*/%&|^]=|::|[-+*/%&|^~!<>=?:;,.(){}\[\]])
""", re.X | re.S | re.M)
KINDS = ("raw", "string", "char", "directive", "number", "word", "sign")

SWAPS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
         "+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "<<": ">>", ">>": "<<",
         "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=", "++": "--", "--": "++"}
# Binary signs are surrounded by blanks, by the rules of clang-format; those of templates, pointers
# and references aren't.
NEED_BLANKS = set(SWAPS) - {"++", "--"}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}
CONTROL = {"if", "for", "while", "switch"}
NO_STATEMENT = {"return", "using", "namespace", "class", "struct", "enum", "template", "static_assert",
                "public", "private", "protected", "case", "default", "if", "else", "for", "while", "do",
                "switch", "typedef", "friend", "extern", "constexpr", "const", "static", "inline", "auto",
                "try", "catch", "throw", "goto", "virtual", "explicit", "operator"}


class Mutant:
    """One change: text[begin:end] becomes `after`.

    [outer_begin, outer_end) is the smallest piece of code that can be written twice, once with and
    once without the change, with a choice at run time.
    """

    def __init__(self, path, text, begin, end, after, kind, outer):
        self.path, self.begin, self.end, self.after, self.kind = path, begin, end, after, kind
        self.outer_begin, self.outer_end = outer
        self.before = text[begin:end]
        self.line = text.count("\n", 0, begin) + 1
        self.source = text.split("\n")[self.line - 1].strip()
        # Not the line's number, so that a result stays valid while other lines change.
        nth = text.count(self.source, 0, begin)
        place = f"{path}:{self.source}:{nth}:{begin - text.rfind(chr(10), 0, begin)}"
        self.id = hashlib.sha1(f"{place}:{self.before}:{after}".encode()).hexdigest()[:12]

    def describe(self):
        before, after = (re.sub(r"\s+", " ", t) for t in (self.before, self.after))
        return f"{self.path}:{self.line}: {before!r} -> {after!r}   in: {self.source}"

    def record(self):
        return {"id": self.id, "path": self.path, "line": self.line, "kind": self.kind,
                "before": self.before, "after": self.after, "source": self.source}


def changed_number(text):
    digits = re.match(r"0[xX][0-9a-fA-F']+|[\d']+", text).group()
    suffix = text[len(digits):]
    value = int(digits.replace("'", ""), 0 if digits[:2] in ("0x", "0X") else 10)
    return ("1" if value == 0 else "0" if value == 1 else str(value + 1)) + suffix


def changed_string(text):
    inside = text[1:-1]
    if not inside:
        return '"mutant"'
    return '"' + ("y" if inside[0] == "x" else "x") + inside[2 if inside[0] == "\\" else 1:] + '"'


def line_of(text, place):
    return text[text.rfind("\n", 0, place) + 1:text.find("\n", place)]


class File:
    def __init__(self, path):
        self.path = path
        self.text = (TOP / path).read_text()
        self.tokens = [m for m in TOKEN.finditer(self.text) if m.lastgroup not in ("comment", "delimiter")]
        self.words = [t.group() for t in self.tokens]
        self.found = []

    def add(self, begin, end, after, kind, outer=None):
        self.found.append(Mutant(self.path, self.text, begin, end, after, kind, outer or (begin, end)))

    def mutants(self):
        """All changes, in the order of their places."""
        asserted = -1
        for index, token in enumerate(self.tokens):
            if self.words[index] == "static_assert":
                asserted = self.closing(index + 1)
            # A change inside a static_assert can only be one that doesn't compile.
            if index > asserted:
                self.token(index, next(g for g in KINDS if token.group(g) is not None))
        return self.found

    def token(self, index, kind):
        token, word = self.tokens[index], self.words[index]
        begin, end = token.start(), token.end()
        previous = self.words[index - 1] if index else ""
        if kind == "sign":
            blanks = self.text[begin - 1:begin] in (" ", "\n") and self.text[end:end + 1] in (" ", "\n")
            if word in SWAPS and (blanks or word not in NEED_BLANKS):
                self.add(begin, end, SWAPS[word], "operator", self.expression(index))
            elif word == "!" and previous != "operator":
                self.add(begin, end, "", "operator", self.expression(index))
        elif kind == "number":
            # Not the `= 0` of a pure virtual function.
            if previous != "=" or self.words[index - 2] not in (")", "const", "noexcept"):
                self.add(begin, end, changed_number(word), "constant")
        elif kind in ("string", "char"):
            # The prefix of a wide literal belongs to the choice.
            prefix = self.tokens[index - 1].end() == begin and previous in ("u", "L", "u8", "U")
            outer = (self.tokens[index - 1].start() if prefix else begin, end)
            after = changed_string(word) if kind == "string" else "'y'" if word == "'x'" else "'x'"
            if previous != "extern" and not DATA.match(line_of(self.text, begin)):
                self.add(begin, end, after, "constant", outer)
        elif word in ("true", "false"):
            self.add(begin, end, "false" if word == "true" else "true", "constant")
        elif word == "if" and index + 1 < len(self.words) and self.words[index + 1] == "(":
            self.condition(index + 1)
        if kind == "word" and previous in ("{", "}", ";", ")", "else", ":"):
            statement = self.statement(index, previous)
            if statement is not None:
                self.add(begin, statement, ";", "statement")

    def closing(self, index):
        """The index of the bracket that closes the one at `index`."""
        depth = 0
        while True:
            depth += {"(": 1, ")": -1}.get(self.words[index], 0)
            if depth == 0:
                return index
            index += 1

    def condition(self, opening):
        begin, end = self.tokens[opening].end(), self.tokens[self.closing(opening)].start()
        inner = self.text[begin:end]
        if ";" not in inner and " = " not in inner:
            for after in (f"!({inner})", f"true || ({inner})", f"false && ({inner})"):
                self.add(begin, end, after, "condition")

    def statement(self, index, previous):
        """The end of the expression statement that begins at a token, or None if none does."""
        if self.words[index] in NO_STATEMENT or (previous == ":" and self.words[index - 2] != "case"):
            return None
        if previous == ")" and not self.closes_control(index - 1):
            return None
        following = self.words[index + 1] if index + 1 < len(self.words) else ""
        if self.words[index] in ("break", "continue"):
            return self.tokens[index + 1].end() if following == ";" else None
        if self.words[index] != "delete" and following not in ("(", ".", "->", "=", "+=", "-=", "|=", "&=",
                                                               "::", "[", "++", "--"):
            return None
        depth = 0
        for at in range(index, len(self.words)):
            sign = self.words[at]
            depth += {"(": 1, "{": 1, "[": 1, ")": -1, "}": -1, "]": -1}.get(sign, 0)
            if depth < 0 or (sign == "(" and self.words[at + 1] == "*" and at == index + 3):
                return None
            if depth == 0 and sign == ";":
                return None if self.declares(index, at) else self.tokens[at].end()
        return None

    def declares(self, begin, end):
        """Whether a statement is `Type<Name> variable` or the definition of a function."""
        for at in range(begin, end - 1):
            one, other = self.tokens[at], self.tokens[at + 1]
            if other.group("word") and (one.group() == ">" or one.group("word") and one.group() != "delete"):
                return True
            if one.group() in ("(", "=", "[", "{"):
                return False
        return False

    def closes_control(self, closing):
        """Whether a closing bracket ends the head of an if, for or while."""
        depth = 0
        for at in range(closing, -1, -1):
            depth += {")": 1, "(": -1}.get(self.words[at], 0)
            if depth == 0:
                return at > 0 and (self.words[at - 1] in CONTROL or
                                   self.words[at - 2:at] == ["if", "constexpr"])
        return False

    def expression(self, index):
        """The expression around an operator, up to what binds less than any of its operators."""
        ends = {",", ";", "?", ":"} | (set() if self.words[index] in ASSIGNMENTS else ASSIGNMENTS)
        depth, left = 0, index
        while left > 0:
            word = self.words[left - 1]
            if depth == 0 and (word in ends or word in "([{" or self.tokens[left - 1].group("directive") or
                               word in ("return", "throw", "case", "else", "do") or
                               (word == ")" and self.closes_control(left - 1)) or
                               (word == "}" and left != index and self.words[left] not in (".", "->"))):
                break
            depth += 1 if word in ")]}" else -1 if word in "([{" else 0
            left -= 1
        depth, right = 0, index
        while right + 1 < len(self.words):
            word = self.words[right + 1]
            if depth == 0 and (word in ends or word in ")]}"):
                break
            depth += 1 if word in "([{" else -1 if word in ")]}" else 0
            right += 1
        return self.tokens[left].start(), self.tokens[right].end()


def sources(only):
    listed = subprocess.run(["git", "ls-files", "-z", *COVERING], cwd=TOP, check=True,
                            capture_output=True, text=True).stdout.split("\0")
    for path in sorted(listed):
        wanted = not only or any(path == o or path.startswith(o.rstrip("/") + "/") for o in only)
        if path.endswith((".cpp", ".h")) and wanted and not LEFT_OUT.search(path) and (TOP / path).exists():
            yield path


def layer_of(path):
    return max((p for p in COVERING if path.startswith(p)), key=len)


def programs_for(path):
    return COVERING[layer_of(path)]
