"""abi.py INCLUDE COMPILER SOVERSION RECORD: what clients compile into their programs is what RECORD says: sizes, places
of members, order of virtual functions, values of constants, and what functions take and give.
abi.py INCLUDE COMPILER SOVERSION: prints the record, with how to write it anew in the first line.

Each line of the record stands by itself. When one is gone, programs that were built before break; a new one does them
no harm. castxml says what there is; COMPILER must agree on the sizes, and says what is passed as mere bytes."""

import os
import pathlib
import re
import shutil
import sys
import tempfile
import xml.etree.ElementTree

from support import output_of, report

HOW = "python3 tests/package/abi.py build/release/tests/package/installed/include g++ {} >abi/types.txt"
PROBE = """
#include <cstdio>
#include <type_traits>
template <class T>
void tell(const char* name) {
  constexpr bool bytes = std::is_trivially_copy_constructible_v<T> && std::is_trivially_move_constructible_v<T> &&
                         std::is_trivially_destructible_v<T>;
  std::printf("%s\\tsize %zu, align %zu\\t%s\\n", name, sizeof(T), alignof(T), bytes ? ", passed as bytes" : "");
}
int main() {
"""


class Declarations:
    """What the headers below a folder declare, as castxml tells it."""

    def __init__(self, include, compiler):
        headers = sorted(file.relative_to(include).as_posix() for file in pathlib.Path(include).rglob("*.h"))
        self.include = str(include)
        with tempfile.TemporaryDirectory() as folder:
            source, told = os.path.join(folder, "all.cpp"), os.path.join(folder, "all.xml")
            text = "".join(f"#include <{header}>\n" for header in headers)
            pathlib.Path(source).write_text(text)
            output_of("castxml", "--castxml-output=1", "-std=c++20", f"-I{include}", source, "-o", told)
            self.elements = {e.get("id"): e for e in xml.etree.ElementTree.parse(told).getroot()}
            mine = {e.get("id") for e in self.elements.values()
                    if e.tag == "File" and e.get("name").startswith(self.include)}
            self.own = [e for e in self.elements.values() if e.get("file") in mine and e.get("artificial") is None]
            self.compiled = self.told_by(compiler, folder, text)

    def told_by(self, compiler, folder, text):
        """Size and alignment, and how it is passed, of each class that clients can name; by its name."""
        names = [self.name(e) for e in self.own if e.tag in ("Class", "Struct", "Union") and self.is_public(e)]
        source, program = os.path.join(folder, "probe.cpp"), os.path.join(folder, "probe")
        pathlib.Path(source).write_text(
            text + PROBE + "".join(f'  tell<::{name}>("{name}");\n' for name in names) + "}\n")
        output_of(compiler, "-std=c++20", "-w", f"-I{self.include}", source, "-o", program)
        return {name: facts for name, *facts in (line.split("\t") for line in output_of(program).splitlines())}

    def is_public(self, element):
        if element.tag == "Namespace":
            return True
        named = element.get("name") and element.get("access", "public") == "public"
        return named and element.get("incomplete") is None and self.is_public(self.elements[element.get("context")])

    def name(self, element):
        """With the namespaces and classes around it."""
        own = {"Destructor": "~", "OperatorMethod": "operator", "OperatorFunction": "operator"}.get(element.tag, "")
        own += element.get("name") if element.tag != "Converter" else f"operator {self.type(element.get('returns'))}"
        around = self.elements[element.get("context")]
        outer = "" if around.get("name") == "::" else self.name(around)
        return f"{outer}::{own}".strip(":") if own else outer

    def type(self, identifier):
        """The type as it is spelled without the names that headers give it."""
        element = self.elements[identifier]
        inner = element.get("type")
        if element.tag in ("Typedef", "ElaboratedType"):
            return self.type(inner)
        if element.tag == "CvQualifiedType":
            return self.type(inner) + "".join(f" {word}" for word in ("const", "volatile") if element.get(word))
        if element.tag == "ArrayType":
            last = element.get("max")
            return f"{self.type(inner)}[{int(last) + 1 if last else ''}]"
        if element.tag == "FunctionType":
            return self.signature(element)
        marks = {"PointerType": "*", "ReferenceType": "&", "RValueReferenceType": "&&"}
        if element.tag in marks:
            return self.type(inner) + marks[element.tag]
        return element.get("name") if element.tag == "FundamentalType" else self.name(element)

    def signature(self, function):
        arguments = ["..." if e.tag == "Ellipsis" else self.type(e.get("type"))
                     for e in function if e.tag in ("Argument", "Ellipsis")]
        gives = self.type(function.get("returns")) if function.get("returns") else ""
        return f"{gives}({', '.join(arguments)}){' const' if function.get('const') else ''}"

    def lines(self):
        for element in self.own:
            if element.tag in DESCRIBE:
                yield from DESCRIBE[element.tag](self, element)

    def record(self, element):
        if element.get("incomplete"):
            return
        name = self.name(element)
        measured = f"size {int(element.get('size')) // 8}, align {int(element.get('align')) // 8}"
        compiled, passed = self.compiled.get(name, (measured, ""))
        if compiled != measured:
            sys.exit(f"{name}: {measured} for castxml, {compiled} for the compiler")
        members = [self.elements[key] for key in element.get("members", "").split()]
        slots = [e for e in members if e.get("virtual") and not e.get("overrides")]
        yield f"{name}: {measured}{passed}" + (f", {len(slots)} virtual functions" if slots else "")
        for base in element.iter("Base"):
            yield f"{name}: base {self.type(base.get('type'))} at {base.get('offset')}"
        for number, slot in enumerate(slots):
            own = self.name(slot).removeprefix(f"{name}::")
            yield f"{name}: virtual function {number} is {own}: {self.signature(slot)}"

    def field(self, element):
        public = element.get("access") == "public"  # what others are called is nobody's business
        where = f"{int(element.get('offset')) / 8:g}" + (f", {element.get('bits')} bits" if element.get("bits") else "")
        owner = self.name(self.elements[element.get("context")])
        yield f"{owner}: at {where} {self.type(element.get('type'))}{' ' + element.get('name') if public else ''}"

    def enumeration(self, element):
        name = self.name(element)
        if element.get("name"):
            yield f"{name}: enum of {self.type(element.get('type'))}"
        for value in element.iter("EnumValue"):
            yield f"{name}::{value.get('name')} = {value.get('init')}".removeprefix("::")

    def variable(self, element):
        value = f" = {element.get('init')}" if element.get("init") else ""
        yield f"{self.name(element)}: {self.type(element.get('type'))}{value}"

    def function(self, element):
        if element.get("inline") or element.get("deleted") or element.get("access") == "private":
            return  # no affair of programs that are built already
        if element.get("virtual") and not element.get("overrides"):
            return  # stands among the virtual functions
        static = ", static" if element.get("static") else ""
        yield f"{self.name(element)}: {self.signature(element)}{static}"


DESCRIBE = {
    **dict.fromkeys(("Class", "Struct", "Union"), Declarations.record),
    "Field": Declarations.field,
    "Enumeration": Declarations.enumeration,
    "Variable": Declarations.variable,
    **dict.fromkeys(("Function", "OperatorFunction", "Method", "OperatorMethod", "Converter", "Constructor",
                     "Destructor"), Declarations.function),
}


def facts(include, compiler):
    def by_number(line):
        return re.sub(r"\d+", lambda number: number[0].zfill(20), line)

    return sorted(set(Declarations(include, compiler).lines()), key=by_number)


def check_the_check(compiler):
    """Small headers before and after a change that breaks programs."""
    for before, after in (
        ("struct A { int a; char b; };", "struct A { char b; int a; };"),
        ("struct A { int a; };", "struct A { unsigned a; };"),
        ("struct A { int a; };", "struct A { int a; int b; };"),
        ("struct A { int a; };", "struct A { int a; ~A(); };"),
        ("struct B {}; struct A : B { };", "struct B {}; struct A { };"),
        ("enum E : int { a = 1 };", "enum E : int { a = 2 };"),
        ("enum E : int { a = 1 };", "enum E : short { a = 1 };"),
        ("struct A { virtual void a(), b(); };", "struct A { virtual void b(), a(); };"),
        ("struct A { virtual void a(); };", "struct A { virtual void a(), b(); };"),
        ("int f(double);", "long f(double);"),
        ('extern "C" int f(double);', 'extern "C" int f(float);'),
        ("extern int a[3];", "extern int a[4];"),
        ("constexpr int a = 1;", "constexpr int a = 2;"),
    ):
        seen = []
        for text in (before, after):
            with tempfile.TemporaryDirectory() as folder:
                pathlib.Path(folder, "trial.h").write_text(text + "\n")
                seen.append(set(facts(folder, compiler)))
        if seen[0] <= seen[1]:
            sys.exit(f"{after} instead of {before} goes unnoticed")


def main(include, compiler, soversion, record=None):
    if not shutil.which("castxml"):
        print("there is no castxml", file=sys.stderr)
        sys.exit(77)
    now = [f"SOVERSION {soversion}", *facts(include, compiler)]
    if record is None:
        print("\n".join([f"# Made by: {HOW.format(soversion)}", *now]))
        return
    check_the_check(compiler)
    recorded = [line for line in pathlib.Path(record).read_text().splitlines() if not line.startswith("#")]
    failures = [f"gone: {line}" for line in recorded if line not in set(now)]
    if failures and recorded[0] == now[0]:
        failures.append("what is gone breaks programs that are built already: it needs a new SOVERSION")
    failures += [f"new:  {line}" for line in now if line not in set(recorded)]
    report([*failures, HOW.format(soversion)] if failures else [])


main(*sys.argv[1:])
