"""Writes the declarations for C#'s P/Invoke."""

from xml.sax.saxutils import escape

HEAD = """// {made}
// The types, constants and functions of VekApiC.h and VekSessionC.h. Texts are passed as bytes terminated by NUL
// (VekText.Put), or by address, as callbacks receive them; returned texts are addresses (VekText.Get). A buffer written
// by the library is an array.
using System;
using System.Runtime.InteropServices;

namespace VekApi
{{
"""
RESULTS = {"void": "void", "bool": "bool", "int": "int", "unsigned": "uint", "address": "IntPtr", "text": "IntPtr",
           "packet": "IntPtr", "bstr": "IntPtr", "handle": "{}", "callback": "{}", "char": "byte", "long": "long",
           "ulong": "ulong", "size": "IntPtr"}
# For a function's arguments.
ARGUMENTS = {**RESULTS, "text": "byte[]", "buffer": "byte[]", "handle*": "ref {}", "table*": "ref {}",
             "record*": "ref {}", "int*": "out int", "unsigned*": "IntPtr", "ulong*": "ulong[]"}
# For a callback's arguments, and the second form of text arguments.
BY_ADDRESS = {**ARGUMENTS, "text": "IntPtr", "buffer": "IntPtr"}
MEMBERS = {**BY_ADDRESS, "chars": "byte[]", "ulongs": "ulong[]"}
ONE_BYTE = "MarshalAs(UnmanagedType.I1)"
KEYWORDS = {"event", "out", "object", "string", "params", "lock", "base"}


def spell(type, spelling):
    return spelling[type.kind].format(type.name)


def parameter(part, spelling):
    mark = f"[{ONE_BYTE}] " if part.type.kind == "bool" else ""
    return f"{mark}{spell(part.type, spelling)} {name_of(part)}"


def name_of(part):
    return "@" + part.name if part.name in KEYWORDS else part.name


def parameters(declared, spelling):
    return ", ".join(parameter(part, spelling) for part in declared.parts)


def summary(lines, indent, name=""):
    """Everything public has one; what the header leaves to its name refers to the header."""
    if not lines and not name:
        return ""
    lines = lines or [f"{name}, as in the C interface."]
    if len(lines) == 1:
        return f"{indent}/// <summary>{escape(lines[0])}</summary>\n"
    inner = "".join(f"{indent}/// {escape(line)}".rstrip() + "\n" for line in lines)
    return f"{indent}/// <summary>\n{inner}{indent}/// </summary>\n"


def returns_bool(declared, indent):
    return f"{indent}[return: {ONE_BYTE}]\n" if declared.result.kind == "bool" else ""


def handle(name):
    return f"""    /// <summary>A handle, as in the C interface.</summary>
    public struct {name}
    {{
        /// <summary>The object's address; zero: none.</summary>
        public IntPtr Object;
    }}
"""


def callback(declared):
    lead = f"\n{summary(declared.comment, '    ')}{returns_bool(declared, '    ')}"
    result = spell(declared.result, RESULTS)
    return f"{lead}    public delegate {result} {declared.name}({parameters(declared, BY_ADDRESS)});\n"


def member(named):
    array = named.type.kind in ("chars", "ulongs")
    mark = f"[MarshalAs(UnmanagedType.ByValArray, SizeConst = {named.type.name})] " if array else ""
    return f"{summary(named.comment, ' ' * 8, named.type.name if named.type.kind == 'callback' else named.name)}        {mark}public {spell(named.type, MEMBERS)} {name_of(named)};\n"


def struct(declared):
    entries = "".join(map(member, declared.parts))
    lead = f"\n{summary(declared.comment, '    ', declared.name)}    [StructLayout(LayoutKind.Sequential)]\n"
    return f"{lead}    public struct {declared.name}\n    {{\n{entries}    }}\n"


def enumeration(group):
    """Always has a member 0, the default value."""
    none = "" if any(named.type == 0 for named in group.parts) else summary(["None."], " " * 8) + "        None = 0,\n"
    members = "".join(f"{summary(named.comment, ' ' * 8, named.name)}        {named.name.split('_')[1]} = {named.type},\n"
                      for named in group.parts)
    return f"\n{summary(group.comment, '    ')}    public enum Vek{group.name}\n    {{\n{none}{members}    }}\n"


def constant(named):
    return f"{summary(named.comment, ' ' * 8, named.name)}        public const int {named.name} = {named.type};\n"


def one_form(declared, spelling):
    lead = f"\n{summary(declared.comment, ' ' * 8, declared.name)}{returns_bool(declared, ' ' * 8)}        [DllImport(Library)]\n"
    result = spell(declared.result, RESULTS)
    return f"{lead}        public static extern {result} {declared.name}({parameters(declared, spelling)});\n"


def function(declared):
    takes_text = any(part.type.kind == "text" for part in declared.parts)
    forms = [ARGUMENTS] + [{**ARGUMENTS, "text": "IntPtr"}] * takes_text
    return "".join(one_form(declared, spelling) for spelling in forms)


def declarations(header, made):
    groups = (group.parts for group in header.constants)
    return "".join([
        HEAD.format(made=made),
        *map(handle, header.handles),
        *map(callback, header.callbacks),
        *map(struct, header.tables + header.records),
        *(enumeration(group) for group in header.constants if group.name),
        '\n    /// <summary>The functions and constants of the C interface.</summary>\n    public static partial class Vek\n    {\n        private const string Library = "vekapi";\n',
        *("\n" + "".join(map(constant, group)) for group in groups),
        *map(function, header.functions),
        "    }\n}\n",
    ])
