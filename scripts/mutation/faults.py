"""Finds the places of a C++ file where a fault can be planted, by rule: a fault replaces one piece of its text."""

import hashlib
import re
from collections import Counter
from dataclasses import dataclass, replace


@dataclass(frozen=True)
class Fault:
    path: str
    start: int  # the piece of the file's text that is replaced
    end: int
    replacement: str
    line: int
    old: str  # the lines it stands in, joined to one, before and after
    new: str
    nth: int = 1  # of the lines of the file that read so

    def apply(self, text):
        return text[: self.start] + self.replacement + text[self.end :]

    def key(self):
        return "\t".join((self.path, str(self.line), self.old, self.new))


def without_texts(text):
    """The code alone, at the same offsets: comments and lines of the preprocessor are blank, and the contents of
    literals are underlines."""
    pattern = re.compile(
        r"""(?P<comment>//[^\n]*|/\*.*?\*/)
          | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
          | (?P<raw>R"(?P<tag>[^(\s]*)\(.*?\)(?P=tag)")
          | (?P<string>"(?:\\.|[^"\\\n])*")
          | (?P<char>(?<![0-9a-fA-F])'(?:\\.|[^'\\\n])*')""",
        re.VERBOSE | re.DOTALL | re.MULTILINE,
    )

    def blank(match):
        found = match.group()
        if match.lastgroup in ("comment", "directive"):
            return re.sub(r"[^\n]", " ", found)
        return found[0] + re.sub(r"[^\n]", "_", found[1:-1]) + found[-1]

    return pattern.sub(blank, text)


def closing(code, opening):
    """The place of the bracket that closes the one at `opening`."""
    depth = 0
    for place in range(opening, len(code)):
        depth += (code[place] in "([{") - (code[place] in ")]}")
        if depth == 0:
            return place
    raise ValueError("a bracket is not closed")


CONTROL = re.compile(
    r"\s*(?:(?:if|while|for|switch)\b(?:\s+constexpr)?\s*(?=\()|else\b|do\b|try\b|case\b[^:]*:(?!:)|default:)")
DECLARATION = re.compile(r"\s*(?:const\s+)?[\w:<>,]+[\s*&]+(?:\w+|\[[\w, ]+\])\s*(?:=(?!=)|\{)")
KEYWORDS = re.compile(r"(?:return|throw|delete|new|using|static_assert|assert|goto|operator|public|private)\b")
CALL = re.compile(r"[A-Za-z_(*:+-][\w:.>\[\]()*&+-]*\(")
ASSIGNMENT = re.compile(r"[A-Za-z_*(][\w:.>\[\]()*-]*\s*(?:[-+|&^*/]|<<|>>)?=(?!=)")


class Finder:
    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.code = without_texts(text)
        self.faults = []

    def find(self):
        self.operators()
        self.conditions()
        self.constants()
        self.statements()
        unique = {fault.key(): fault for fault in self.faults}
        found = Counter()
        for key, fault in sorted(unique.items(), key=lambda item: item[1].start):
            found[fault.old, fault.new] += 1
            unique[key] = replace(fault, nth=found[fault.old, fault.new])
        return list(unique.values())

    def add(self, start, end, replacement):
        first = self.text.rfind("\n", 0, start) + 1
        last = self.text.find("\n", end)
        before = self.text[first:last]
        if re.search(r"\bassert\(|\bstatic_assert\(|= 0;\s*$|^\s*template <", self.code[first:last]):
            return
        after = self.text[first:start] + replacement + self.text[end:last]
        joined = (" ".join(part.split()) for part in (before, after))
        line = self.text.count("\n", 0, start) + 1
        self.faults.append(Fault(self.path, start, end, replacement, line, *joined))

    def each(self, pattern):
        return re.finditer(pattern, self.code)

    def operators(self):
        turned = {
            "==": ["!="], "!=": ["=="], "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "+=": ["-="], "-=": ["+="],
            "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
        }
        for match in self.each(r"(?<=\s)(?:==|!=|<=|>=|<|>|&&|\|\||\+=|-=|\+|-)(?=\s)"):
            # Texts are joined, never subtracted.
            beside = self.code[: match.start()].rstrip()[-1:] + self.code[match.end() :].lstrip()[:1]
            if match.group()[0] == "+" and re.search("[\"']", beside):
                continue
            for other in turned[match.group()]:
                self.add(*match.span(), other)
        for match in self.each(r"\+\+|--"):
            self.add(*match.span(), "--" if match.group() == "++" else "++")
        for match in self.each(r"(?<=\s)\?(?=\s)"):
            self.add(*match.span(), "&& false ?")
            self.add(*match.span(), "|| true ?")

    def conditions(self):
        whole = set()
        for match in self.each(r"\b(?:if|while) \("):
            opening = match.end() - 1
            end = closing(self.code, opening)
            start = max(opening, self.code.rfind("; ", opening, end)) + 1
            condition = self.code[start:end]
            # The turned comparison is the same fault.
            alone = re.search(r" [=!]= ", condition) and not re.search(r"&&|\|\||\?", condition)
            if not DECLARATION.match(condition) and not alone:
                self.add(start, end, " " * (start > opening + 1) + "!(" + self.text[start:end].strip() + ")")
                if condition.startswith("!") and not re.search(r"&&|\|\|", condition):
                    whole.add(start)
        for match in self.each(r"!(?=[\w(:*])"):
            if match.start() not in whole:
                self.add(*match.span(), "")

    def constants(self):
        other = {"0": "1", "1": "0", "true": "false", "false": "true"}
        for match in self.each(r"(?<![\w.'\"])(?:0|1|true|false)(?![\w.'])"):
            self.add(*match.span(), other[match.group()])

    def statements(self):
        kinds = ["scope"]  # of the blocks that are open
        begin = 0  # of the statement or head that is read
        brackets = 0
        for place, char in enumerate(self.code):
            if char in "([":
                brackets += 1
            elif char in ")]":
                brackets -= 1
            elif char == "{":
                kinds.append(self.kind_of_block(self.code[begin:place], kinds[-1]) + f" {brackets}")
                begin, brackets = place + 1, 0
            elif char == "}":
                brackets = int(kinds.pop().split()[-1]) if len(kinds) > 1 else 0
                begin = begin if brackets else place + 1
            elif char == ";" and brackets == 0:
                if not kinds[-1].startswith("scope") and self.code[begin : place + 1].count("}") == 0:
                    self.statement(begin, place, kinds)
                begin = place + 1

    @staticmethod
    def kind_of_block(head, around):
        before = head.split("(")[0]
        if re.search(r"\[[^\]]*\]\s*(?:\(|$|mutable|->|noexcept)", head):
            return "function"  # A lambda: what it returns is not known.
        if not around.startswith("scope"):
            return "block"
        if re.search(r"\b(?:namespace|class|struct|union|enum)\b[^()]*$", head) or "(" not in head:
            return "scope"
        return "predicate" if re.search(r"\bbool\s+[\w:<>]+\s*$", before) else "function"

    def statement(self, start, end, kinds):
        while match := CONTROL.match(self.code, start, end):
            start = match.end()
            if self.code[start : start + 1] == "(" and not match.group().endswith(":"):
                start = closing(self.code, start) + 1
        while start < end and self.code[start].isspace():
            start += 1
        statement = self.code[start:end]
        around = next(kind for kind in reversed(kinds) if not kind.startswith("block"))
        if match := re.match(r"return (?!true\b|false\b)", statement):
            if around.startswith("predicate"):
                self.add(start + match.end(), end, f"!({self.text[start + match.end() : end]})")
        elif statement in ("break", "continue"):
            self.add(start, end, "")
        elif not KEYWORDS.match(statement) and (CALL.match(statement) or ASSIGNMENT.match(statement)):
            # Room that is set aside beforehand is only speed.
            if not re.search(r"(?:\.|->)(?:reserve|shrink_to_fit)\(", statement):
                self.add(start, end, "")


def chosen(path, text, seed):
    """The faults of a file in the order in which they are planted. A changed line leaves the others in their order."""

    def order(fault):
        return hashlib.sha1(f"{seed} {fault.path} {fault.old} {fault.new}".encode()).digest()

    return sorted(Finder(path, text).find(), key=order)
