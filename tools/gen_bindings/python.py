"""Writes the declarations for Python's ctypes."""

HEAD = '''# {made}
# The types, constants and functions of VekApiC.h, for ctypes. A returned text is bytes; a buffer written by the
# library is created with ctypes.create_string_buffer.
from ctypes import CFUNCTYPE, POINTER, Structure, c_bool, c_char, c_char_p, c_int, c_uint, c_void_p


class Handle(Structure):
    _fields_ = [("object", c_void_p)]

    def __bool__(self):
        return bool(self.object)


'''
# c_char_p would lose the address needed to free an automation string; a packet may contain NULs.
TYPES = {"void": "None", "bool": "c_bool", "int": "c_int", "unsigned": "c_uint", "address": "c_void_p",
         "text": "c_char_p", "packet": "c_void_p", "buffer": "POINTER(c_char)", "bstr": "c_void_p",
         "handle": "{}", "callback": "{}", "handle*": "POINTER({})", "table*": "POINTER({})"}


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


def table(declared):
    entries = "".join(f'        ("{entry.name}", {spell(entry.type)}),\n' for entry in declared.parts)
    return f"\n\nclass {declared.name}(Structure):\n    _fields_ = [\n{entries}    ]\n"


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
        *map(callback, header.callbacks),
        *map(table, header.tables),
        "\n\n# name: result, arguments\nPROTOTYPES = {\n",
        *map(function, header.functions),
        "}\n",
    ])
