"""The rules by which scripts/mutate makes breaks, and the choice among what they make.

A break is named by its file, the text of its line (with a number if the file has several such lines) and what stands
there instead, so that it stays the same break wherever its line moves. Which ones are tried is decided by that name,
not by a count: a line that changes has other breaks, and all others stay as they were.
"""
import hashlib
import re
from typing import NamedTuple

SEED = "ipseccfg"


class Mutation(NamedTuple):
    file: str
    first: int  # the lines that are replaced, counted from 0
    count: int
    name: str
    replacement: str  # with the first line's indentation

    def applied_to(self, text):
        lines = text.split("\n")
        lines[self.first : self.first + self.count] = [self.replacement]
        return "\n".join(lines)


# What is looked for in a line whose texts and comments are blotted out, and what stands there instead; \1 and \2 are taken
# from the line itself.
RULES = [
    # comparisons and their boundaries
    (r" == ", " != "),
    (r" != ", " == "),
    (r" < ", " <= "),
    (r" <= ", " < "),
    (r" > ", " >= "),
    (r" >= ", " > "),
    # logic
    (r" && ", " || "),
    (r" \|\| ", " && "),
    (r"(?<![\w!])!(?=[\w(])", ""),
    (r"\b(if|while) \((.+)\)(?= \{$|$)", r"\1 (!(\2))"),
    (r" \? ([^?:]+|[^?]+?::[^?:]+) : ([^?]+)(?=[;)])", r" ? \2 : \1"),
    (r"\btrue\b", "false"),
    (r"\bfalse\b", "true"),
    # arithmetic and bits
    (r"(?<!\") \+ (?!\")", " - "),
    (r" - ", " + "),
    (r"(?<=\w) \* (?=\w)", " / "),
    (r" \+= ", " -= "),
    (r" -= ", " += "),
    (r"\+\+", "--"),
    (r"(?<=\w) \| (?=\w)", " & "),
    (r"(?<=\w) & (?=\w)", " | "),
    (r"(?<=\w) >> (?=\w)", " << "),
    # neighbours in the standard library
    (r"\bstd::min\b", "std::max"),
    (r"\bstd::max\b", "std::min"),
    (r"\bstd::all_of\b", "std::any_of"),
    (r"\bpush_back\(", "push_front("),
    (r"\.front\(\)", ".back()"),
    (r"\.back\(\)", ".front()"),
    (r"\.find\(", ".rfind("),
    (r"\.rfind\(", ".find("),
    (r"\.rbegin\(\)", ".begin()"),
    # results
    (r"\breturn (?!(?:false|true|0|nullptr|std::nullopt|std::string\(\));)[^{}]+;$", "return {};"),
    (r"\bcontinue;", "break;"),
]
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+)(?=U?(?![\w.']))")
LITERAL = re.compile(r'R"\(.*?\)"|"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])+\'')
TOKEN = re.compile(LITERAL.pattern + r"|//.*")
NO_CODE = re.compile(r"\s*(#|//|using |namespace |template |static_assert|extern |class |struct |friend |virtual |$)")
# A call, an assignment or a jump, whole on its line. A declaration is none: it has a blank before its name.
STATEMENT = re.compile(r"\s+(?:(?:delete |\+\+)?[\w:.\->*&\[\]<>]+(?:\(.*\)| [-+|&]?= .+)?|throw .+|static_cast<void>.+);$")


def blotted(line):
    """The line with its texts and comments made unrecognizable, as long as before but for comments at its end."""
    return TOKEN.sub(lambda m: " " * len(m[0]) if m[0].startswith("//") else '"' + "_" * (len(m[0]) - 2) + '"', line).rstrip()


def changes_of_line(line, code):
    for pattern, replacement in RULES:
        for match in re.finditer(pattern, code):
            text = replacement
            for group in range(1, match.re.groups + 1):
                text = text.replace(f"\\{group}", line[match.start(group) : match.end(group)])
            yield line[: match.start()] + text + line[match.end() :]
    for match in NUMBER.finditer(code):
        number = int(match[1], 0)
        # One more or less matters at a boundary; of a size or a time that was chosen nobody could tell.
        number += 1 if number < 100 or match[1].startswith("0x") else number
        yield line[: match.start()] + (f"0x{number:X}" if match[1].startswith("0x") else str(number)) + line[match.end() :]
    for match in LITERAL.finditer(line[: len(code)]):
        text = "'X'" if match[0].startswith("'") else match[0][:-1] + 'X"'
        if match[0].startswith("R"):
            text = match[0][:-2] + 'X)"'
        yield line[: match.start()] + text + line[match.end() :]


def is_statement(codes, number):
    """Whether a whole statement stands on the line, and none that began on a line before goes on."""
    before = next((code for code in reversed(codes[:number]) if code.strip()), "")
    balanced = codes[number].count("(") == codes[number].count(")")
    return balanced and before.endswith((";", "{", "}", ")", ":", "else")) and STATEMENT.match(codes[number])


def changes_of(lines, statements):
    """(first line, count of lines, what stands there instead) of every change that a rule makes."""
    codes = [blotted(line) for line in lines]
    compiled = True
    for number, (line, code) in enumerate(zip(lines, codes)):
        if line.startswith(("#else", "#endif")):
            compiled = line.startswith("#endif")  # the other branch is for other systems
        if NO_CODE.match(line) or not compiled:
            continue
        for change in changes_of_line(line, code):
            yield number, 1, change
        if not statements or not is_statement(codes, number):
            continue
        indentation = line[: len(line) - len(line.lstrip())]
        yield number, 1, indentation + ";"
        following = lines[number + 1]
        if following.startswith(indentation) and is_statement(codes, number + 1) and "return" not in following + line:
            yield number, 2, f"{following} {line.strip()}"


def mutations_of(file, text):
    lines = text.split("\n")
    known = set()
    for first, count, replacement in changes_of(lines, statements=file.endswith(".cpp")):
        line = " ".join(part.strip() for part in lines[first : first + count])
        nth = [part.strip() for part in lines[: first + 1]].count(lines[first].strip())
        name = f"{file} | {line}{f' #{nth}' if nth > 1 else ''} | {replacement.strip()}"
        if name not in known:
            known.add(name)
            yield Mutation(file, first, count, name, replacement)


def is_chosen(mutation, percent):
    return int(hashlib.sha256(f"{SEED} {mutation.name}".encode()).hexdigest(), 16) % 1000 < percent * 10
