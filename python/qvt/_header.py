"""Reads the prototypes of the C interface from its header, include/qvt/qvt.h.

Used to write _prototypes.py and, in the tests, to check that the bindings
agree with the header, so that the two cannot drift apart.
"""
import re
from typing import List, Tuple

# The C types of the interface and the names the bindings give them.
C_TYPES = {
    "void": "None",
    "int": "c_int",
    "unsigned": "c_uint",
    "unsigned long": "c_ulong",
    "size_t": "c_size_t",
    "double": "c_double",
    "const char*": "c_char_p",
    "const void*": "c_void_p",
    "void*": "c_void_p",
    "QVT_Headset*": "HEADSET",
    "QVT_Channel*": "CHANNEL",
    "QVT_Source*": "SOURCE",
    "QVT_ProcessingStage*": "STAGE",
    "QVT_MessageCallback": "MESSAGE_CALLBACK",
    "QVT_SampleCallback": "SAMPLE_CALLBACK",
    "QVT_ProcessingStageFunction": "STAGE_FUNCTION",
    "double*": "DOUBLE_POINTER",
    "unsigned long*": "ULONG_POINTER",
    "unsigned long long*": "ULONGLONG_POINTER",
    "QVT_Channel* const*": "CHANNEL_ARRAY",
    "QVT_AlarmRecord*": "ALARM_RECORD_POINTER",
}

_DECLARATION = re.compile(r"QVT_API\s+([^;]*?)\s*\b(\w+)\s*\(([^)]*)\)\s*;", re.S)


def _type_of(text: str) -> str:
    """The type part of a declaration fragment, with the pointer glued on."""
    text = " ".join(text.replace("*", " * ").split())
    return text.replace(" *", "*")


def _argument_type(argument: str) -> str:
    """The type of one parameter, its name dropped when it has one."""
    words = _type_of(argument)
    if words in C_TYPES:
        return words
    return words.rsplit(" ", 1)[0]


def prototypes(header_text: str) -> List[Tuple[str, str, List[str]]]:
    """[(name, result type, [argument types])] in header order, C type names."""
    found = []
    for result, name, arguments in _DECLARATION.findall(header_text):
        arguments = " ".join(arguments.split())
        types = []
        if arguments and arguments != "void":
            types = [_argument_type(argument) for argument in arguments.split(",")]
        found.append((name, _type_of(result), types))
    return found


def render(header_text: str) -> str:
    """The text of _prototypes.py for this header."""
    lines = [
        '"""Prototypes of the C interface, written by `python -m qvt._header HEADER`."""',
        "# Generated from include/qvt/qvt.h; a test fails when the two disagree.",
        "PROTOTYPES = (",
    ]
    for name, result, arguments in prototypes(header_text):
        names = ", ".join(repr(C_TYPES[t]) for t in arguments)
        if len(arguments) == 1:
            names += ","
        lines.append(f"    ({name!r}, {C_TYPES[result]!r}, ({names})),")
    lines.append(")")
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    import sys

    with open(sys.argv[1], encoding="utf-8") as header:
        sys.stdout.write(render(header.read()))
