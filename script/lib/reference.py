#!/usr/bin/env python3
"""Prints docs/reference.md: what src/api/zorvanlib.idl says of every interface, member and constant.

  script/lib/reference.py >docs/reference.md

A comment stands before what it describes. Its paragraphs are text, or lists: a term, two spaces or more, its meaning,
with further lines indented. A term that is a result of a call is also listed under Errors.
"""
import re
from collections import namedtuple
from pathlib import Path

IDL = (Path(__file__).parents[2] / "src/api/zorvanlib.idl").read_text()
NOTE = r"(?:/\*((?:(?!\*/).)*)\*/\s*)?"
CODES = {"S_FALSE": "1", "E_INVALIDARG": "0x80070057", "E_HANDLE": "0x80070006", "E_FAIL": "0x80004005",
         "E_NOINTERFACE": "0x80004002", "E_POINTER": "0x80004003", "E_OUTOFMEMORY": "0x8007000E",
         "DISP_E_OVERFLOW": "0x8002000A", "DISP_E_TYPEMISMATCH": "0x80020005"}
Member = namedtuple("Member", "name id kinds signature value note")


def found(pattern, text):
    return re.findall(pattern, text, re.DOTALL)


def paragraphs(note):
    """Each is a text, or a list of terms and meanings."""
    lines = [re.sub(r"^\s*\* ?", "", line).rstrip() for line in (note or "").strip().splitlines()]
    for part in re.split(r"\n{2,}", "\n".join(lines).strip()):
        terms = re.findall(r"^ {0,2}(\S(?:.*?\S)??) {2,}(\S.*(?:\n {3,}.*)*)$", part, re.MULTILINE)
        if terms:
            before = part[:re.search(r"^ {0,2}\S(?:.*?\S)?? {2,}\S", part, re.MULTILINE).start()].strip()
            if before:
                yield " ".join(before.split())
            yield [(term, " ".join(meaning.split())) for term, meaning in terms]
        elif part:
            yield " ".join(part.split())


def type_of(type, stars):
    return type.replace("VirtualSerialDevicePtr", "IVirtualSerialDevice*") + stars


def member(note, id, kind, name, parameters):
    shown, value = [], ""
    for attributes, type, stars, parameter in found(r"\[([^\]]*)\]\s*((?:unsigned )?\w+(?:\(\w+\))?)\s+(\**)(\w+)", parameters):
        default = found(r"defaultvalue\((.*?)\)", attributes)
        text = f"{type_of(type, stars)} {parameter}" + (f" = {default[0]}" if default else "")
        if "retval" in attributes or kind == "propput":
            value = type_of(type, stars[:-1] if "retval" in attributes else stars)
        else:
            shown.append(f"[{text}]" if "optional" in attributes or default else text)
    signature = name if kind and not shown else f"{name}({', '.join(shown)})"
    return Member(name, id, [{"propget": "get", "propput": "put"}.get(kind, "method")], signature, value,
                  list(paragraphs(note)))


def members(body):
    all = {}
    for note, id, attributes, name, parameters in found(
            NOTE + r"\[id\((-?\d+)\)((?:[^\]])*)\]\s*HRESULT (\w+)\(((?:[^;])*)\);", body):
        kind = (found(r"propget|propput", attributes) or [""])[0]
        new = member(note, id, kind, name, parameters)
        old = all.get(id)
        all[id] = new if not old else old._replace(kinds=sorted(old.kinds + new.kinds), note=old.note + new.note)
    return list(all.values())


INTERFACES = [(name, list(paragraphs(note)), members(body)) for note, name, body in
              found(NOTE + r"\[[^\]]*\]\s*interface (\w+) : \w+\s*\{(.*?)\n    \};", IDL)]
ENUMERATIONS = [(name, list(paragraphs(note)), found(r"(\w+) = (\d+),?\s*/\*\s*(.*?)\s*\*/", body)) for note, name, body in
                found(NOTE + r"typedef \[[^\]]*\] enum (\w+)\s*\{(.*?)\}", IDL)]
NAMES = {m.name for _, _, all in INTERFACES for m in all} | {n for n, _, _ in INTERFACES + ENUMERATIONS} | {
    c for _, _, all in ENUMERATIONS for c, _, _ in all} | set(CODES)


def text(words):
    """Names that are no English words are set as code; a backslash is itself."""
    parts = re.split(r"(`[^`]*`)", words)
    for i in range(0, len(parts), 2):
        parts[i] = re.sub(r"\b\w*[a-z_]\w*[A-Z]\w*\b|\b[A-Z]+_\w+\b", lambda m: f"`{m[0]}`" if m[0] in NAMES else m[0],
                          parts[i].replace("\\", "\\\\").replace("|", "\\|"))
    return "".join(parts)


def has_lists(note):
    return not all(isinstance(part, str) for part in note)


def summary(note):
    """All of it, or the first sentence of what stands below at length."""
    return re.match(r".*?[.:](?= [A-Z]|$)|.*", note[0])[0] if has_lists(note) else " ".join(note)


def is_result(term):
    return term in CODES or term.startswith("0x8")


def print_parts(parts):
    for part in parts:
        if isinstance(part, str):
            print(text(part) + "\n")
        else:
            for term, meaning in part:
                print(f"- `{term}`: {text(meaning)}" if term != "other" else f"- any other: {text(meaning)}")
            print()


def print_interface(name, note, all):
    print(f"## {name}\n")
    print_parts(note)
    print("| Member | DISPID | Kind | Value | |\n|---|---|---|---|---|")
    for m in all:
        print(f"| `{m.signature}` | {m.id} | {', '.join(m.kinds)} | {f'`{m.value}` ' if m.value else ''}|"
              f" {text(summary(m.note))} |")
    print()
    for m in all:
        if has_lists(m.note):
            print(f"### {name}: {m.name}\n")
            print_parts(m.note)


def print_enumeration(name, note, all):
    print(f"## {name}\n")
    print_parts(note)
    print("| Constant | Value | |\n|---|---|---|")
    for constant, value, meaning in all:
        print(f"| `{constant}` | {value} | {text(' '.join(meaning.split()))} |")
    print()


def errors():
    all = {}
    for _, shared, list_of_members in INTERFACES:
        for names, note in [(None, shared)] + [(m.name, m.note) for m in list_of_members]:
            for term, meaning in (pair for part in note if isinstance(part, list) for pair in part):
                if is_result(term):
                    whose = f"`{names}`" if names else ", ".join(f"`{m.name}`" for m in list_of_members)
                    all.setdefault(CODES.get(term, term), []).append(f"{whose}: {text(meaning)}")
    return all


def print_errors():
    names = {code: name for name, code in CODES.items()}
    print("## Errors\n")
    print("| Result | Name | When |\n|---|---|---|")
    for code, meanings in sorted(errors().items()):
        name = names.get(code, "")
        print(f"| {code} | {f'`{name}` ' if name else ''}| {'; '.join(meanings)} |")


head = list(paragraphs(found(r"^/\*(.*?)\*/", IDL)[0]))
print("# Reference\n")
print("Every interface, member and constant of the type library `zorvanlibLib` 3.0, made from the interface definition,")
print("`zorvanlib.idl`. How to use them is in the [guide](guide.md). In the tables, *Value* is what a property holds or a")
print("method returns; parameters in square brackets may be left out.\n")
print_parts([part for part in head if isinstance(part, list)])
for interface in INTERFACES:
    print_interface(*interface)
for enumeration in ENUMERATIONS:
    print_enumeration(*enumeration)
print_errors()
