#!/usr/bin/env python3
"""The bindings have every function, record and constant of the C header, as it has them.

bindings.py COMPILER"""
import ctypes
import pathlib
import re
import subprocess
import sys
import tempfile

from pycparser import c_ast, c_parser

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "bindings/python"))
from ymdshow import _native  # noqa: E402

INTEGERS = ("int32_t", "uint32_t", "int64_t", "uint64_t", "uint8_t")


def c_type(node):
    """As text: "ymd_filter***", "char[64]"; of what is const only text tells it: "text*"."""
    if isinstance(node, c_ast.PtrDecl):
        if isinstance(node.type, c_ast.FuncDecl):
            return "callback"
        return c_type(node.type) + "*"
    if isinstance(node, c_ast.ArrayDecl):
        return f"{c_type(node.type)}[{node.dim.value}]"
    if "const" in node.quals and getattr(node.type, "names", None) == ["char"]:
        return "text"
    return " ".join(node.type.names) if isinstance(node.type, c_ast.IdentifierType) else node.type.name


def read_header():
    text = (ROOT / "include/ymdshow/ymdshow_c.h").read_text()
    text = re.sub(r"#include.*", "", text)
    text = "".join(f"typedef int {name};\n" for name in INTEGERS) + text
    text = subprocess.run([sys.argv[1], "-E", "-P", "-D__declspec(x)=", "-D__cdecl=", "-"], input=text,
                          capture_output=True, text=True, check=True).stdout
    functions, records, constants, callbacks = {}, {}, {}, {}
    for node in c_parser.CParser().parse(text).ext:
        kind = node.type
        if isinstance(kind, c_ast.FuncDecl):
            types = [c_type(p.type) for p in kind.args.params]
            functions[node.name] = (c_type(kind.type), [t for t in types if t != "void"])
        elif isinstance(kind, c_ast.PtrDecl) and isinstance(kind.type, c_ast.FuncDecl):
            callbacks[node.name] = [c_type(p.type) for p in kind.type.args.params]
        elif isinstance(kind, c_ast.Enum):
            for item in kind.values.enumerators:
                value = item.value
                minus = isinstance(value, c_ast.UnaryOp)
                number = int((value.expr if minus else value).value, 0)
                constants[item.name] = -number if minus else number
        elif isinstance(kind, c_ast.TypeDecl) and isinstance(kind.type, c_ast.Struct) and kind.type.decls:
            records[node.name] = [(d.name, c_type(d.type)) for d in kind.type.decls]
    return functions, records, constants, callbacks


def python_type(name, records, callbacks):
    """What ctypes calls it."""
    if name == "void":
        return None
    if match := re.fullmatch(r"char\[(\d+)\]", name):
        return ctypes.c_char * int(match[1])
    if name in callbacks or name in records:
        return getattr(_native, name)
    if name in ("void*", "uint8_t*", "char*") or re.fullmatch(r"ymd_(player|item|scheme)\*", name):
        return ctypes.c_void_p
    if name == "text*":
        return ctypes.c_char_p
    if name == "char***":
        return python_type("text***", records, callbacks)
    if name.endswith("*"):
        return ctypes.POINTER(python_type(name[:-1], records, callbacks))
    return {"ymd_result": ctypes.c_int32, "float": ctypes.c_float, "double": ctypes.c_double}.get(
        name) or getattr(ctypes, "c_" + name[:-2])


def csharp_type(name, records, callbacks):
    simple = {"ymd_result": "int", "int32_t": "int", "uint32_t": "uint", "int64_t": "long", "uint64_t": "ulong",
              "float": "float", "double": "double", "void": "void"}
    if name in simple:
        return simple[name]
    if name in callbacks:
        return "".join(part.capitalize() for part in name.split("_")[1:])
    if name.startswith("char[") or name == "text*":
        return "byte[]"
    if re.fullmatch(r"ymd_(player|item|scheme)\*", name):
        return name.split("_")[1][:-1].capitalize() + "Handle"
    if name.endswith("*") and name[:-1] in simple and name != "void*":
        return "out " + simple[name[:-1]]
    return "ref " + csharp_record(name[:-1]) if name[:-1] in records else (
        "out IntPtr" if name.endswith("**") and name != "text**" else "IntPtr")


def csharp_record(name):
    return "".join(part.capitalize() for part in name.split("_")[1:]) + "Record"


def read_csharp():
    text = re.sub(r"//.*", "", (ROOT / "bindings/csharp/YmdShow.cs").read_text())
    functions = {}
    for result, name, args in re.findall(r"static extern (\w+) (ymd_\w+)\(([^)]*)\);", text):
        functions[name] = (result, [re.sub(r"^\[[^]]+\]\s*", "", a.strip()).rsplit(" ", 1)[0]
                                    for a in args.split(",") if a.strip()])
    records = {}
    for name, body in re.findall(r"struct (\w+Record)\s*\{(.*?)\n\s*\}", text, re.S):
        records[name] = [(n, t) for t, n in re.findall(r"public ([\w\[\]]+) @?(\w+);", body)]
    constants = {n: int(v, 0) for n, v in re.findall(r"const int (YMD_\w+) = (-?\w+);", text)}
    callbacks = {n: [a.strip().rsplit(" ", 1)[0] for a in args.split(",")]
                 for n, args in re.findall(r"delegate void (\w+)\(([^)]*)\);", text)}
    return functions, records, constants, callbacks


def main():
    functions, records, constants, callbacks = read_header()
    wrong = []

    def same(what, here, header):
        if here != header:
            wrong.append(f"{what}: {here}, in the header {header}")

    def python(name):
        return python_type(name, records, callbacks)

    same("Python's functions", sorted(_native.FUNCTIONS), sorted(functions))
    same("Python's records", sorted(n for n, v in vars(_native).items() if isinstance(v, type) and
                                    issubclass(v, ctypes.Structure)), sorted(records))
    same("Python's constants", {n: v for n, v in vars(_native).items() if n.startswith("YMD_")}, constants)
    for name, (result, args) in functions.items():
        same(name, _native.FUNCTIONS.get(name), (python(result), [python(a) for a in args]))
    for name, fields in records.items():
        same(name, [tuple(f) for f in getattr(_native, name)._fields_], [(f, python(t)) for f, t in fields])
    for name, args in callbacks.items():
        same(name, list(getattr(_native, name)._argtypes_), [python(a) for a in args])

    def csharp(name):
        return csharp_type(name, records, callbacks)

    def member(name):
        return "IntPtr" if name.endswith("*") else csharp(name)

    theirs = read_csharp()
    same("C#'s functions", sorted(theirs[0]), sorted(functions))
    same("C#'s records", sorted(theirs[1]), sorted(map(csharp_record, records)))
    same("C#'s constants", theirs[2], constants)
    for name, (result, args) in functions.items():
        # A text goes in as bytes; what is created comes out as a number, of which a handle is made.
        same("C#: " + name, theirs[0].get(name), (member(result), [csharp(a) for a in args]))
    for name, fields in records.items():
        same("C#: " + name, theirs[1].get(csharp_record(name)), [(f, member(t)) for f, t in fields])
    for name, args in callbacks.items():
        same("C#: " + name, theirs[3].get(csharp(name)), [member(a) for a in args])
    with tempfile.TemporaryDirectory() as place:
        run = subprocess.run(["mcs", "-warnaserror", "-target:library", f"-out:{place}/YmdShow.dll",
                              ROOT / "bindings/csharp/YmdShow.cs"], capture_output=True, text=True)
        examples = subprocess.run(["mcs", f"-r:{place}/YmdShow.dll", f"-out:{place}/play.exe",
                                   ROOT / "bindings/csharp/Play.cs"], capture_output=True, text=True)
        for made in (run, examples):
            if made.returncode != 0:
                wrong.append(made.stdout + made.stderr)
    raise SystemExit("\n".join(wrong) or 0)


if __name__ == "__main__":
    main()
