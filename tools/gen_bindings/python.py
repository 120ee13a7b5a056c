"""Writes the declarations for Python's ctypes."""

HEAD = '''# {made}
# The types, constants and functions of VekApiC.h and VekSessionC.h, for ctypes. A returned text is bytes; a buffer
# written by the library is created with ctypes.create_string_buffer.
from ctypes import (
    CFUNCTYPE, POINTER, Structure, c_bool, c_char, c_char_p, c_int, c_int64, c_ssize_t, c_uint, c_uint64, c_void_p,
)


class Handle(Structure):
    _fields_ = [("object", c_void_p)]

    def __bool__(self) -> bool:
        return bool(self.object)


'''
# c_char_p would lose the address needed to free an automation string; a packet may contain NULs.
TYPES = {"void": "None", "bool": "c_bool", "int": "c_int", "unsigned": "c_uint", "address": "c_void_p",
         "text": "c_char_p", "packet": "c_void_p", "buffer": "POINTER(c_char)", "bstr": "c_void_p",
         "char": "c_char", "long": "c_int64", "ulong": "c_uint64", "size": "c_ssize_t", "int*": "POINTER(c_int)", "unsigned*": "POINTER(c_uint)",
         "ulong*": "POINTER(c_uint64)", "chars": "c_char * {}", "ulongs": "c_uint64 * {}",
         "handle": "{}", "callback": "{}", "handle*": "POINTER({})", "table*": "POINTER({})", "record*": "POINTER({})"}


def spell(type):
    return TYPES[type.kind].format(type.name)


def spell_all(parts):
    return [spell(part.type) for part in parts]


def comments(lines, indent=""):
    return "".join(f"{indent}# {line}".rstrip() + "\n" for line in lines)


def constant(named):
    return f"{named.name} = {named.type}" + (f"  # {' '.join(named.comment)}" if named.comment else "") + "\n"


def callback(declared):
    types = ", ".join([spell(declared.result), *spell_all(declared.parts)])
    return f"{comments(declared.comment)}{declared.name} = CFUNCTYPE({types})\n"


def entry(named):
    return f"{comments(named.comment, '        ')}        (\"{named.name}\", {spell(named.type)}),\n"


def struct(declared):
    entries = "".join(map(entry, declared.parts))
    lead = f"\n\n{comments(declared.comment)}class {declared.name}(Structure):\n"
    return f"{lead}    _fields_ = [\n{entries}    ]\n\n\n"


def callbacks_and_structs(header):
    """In an order in which each declaration follows those it uses."""
    waiting = [(part, callback) for part in header.callbacks]
    waiting += [(part, struct) for part in header.tables + header.records]
    while waiting:
        missing = {part.name for part, _ in waiting}
        ready = [w for w in waiting if not any(p.type.name in missing for p in w[0].parts)]
        yield from (write(part) for part, write in ready)
        waiting = [w for w in waiting if w not in ready]


def function(declared):
    types = ", ".join(spell_all(declared.parts))
    line = f'    "{declared.name}": ({spell(declared.result)}, [{types}]),\n'
    return comments(declared.comment, "    ") + line


def declarations(header, made):
    return "".join([
        HEAD.format(made=made),
        *(f"class {name}(Handle): pass\n" for name in header.handles),
        *("\n" + comments(group.comment) + "".join(map(constant, group.parts)) for group in header.constants),
        "\n",
        *callbacks_and_structs(header),
        "# name: result, arguments\nPROTOTYPES = {\n",
        *map(function, header.functions),
        "}\n",
    ])
