"""Drives a machine through the flat interface of libORVYSupport.so.

Works in a script that the emulator runs with script-run and in a program of its own:

    import orvy

    orvy.load_plugin("Memory")
    space = orvy.create("MemorySpace", "memory")
    ram = orvy.create("Ram", "ram", size=0x10000)
    orvy.map(space, 0x40000000, 0x10000, ram)
    orvy.exec("memory-read obj=memory addr=0x40000000")

What fails raises orvy.Error; the reason stands on the error stream. Everything belongs to the one
thread that uses the module, and no other Python thread runs during a call.
"""

import ctypes
import enum
import os
import re
import struct
import sys
import traceback

_LIBRARY = "libORVYSupport.so"


class Error(Exception):
    """An operation of the library failed."""


class ExitReason(enum.IntEnum):
    """Why a run ended."""

    NORMAL = 0
    HALT = 3
    BREAK = 5
    BREAK_READ = 6
    BREAK_WRITE = 7


# Values

_FORMATS = {1: "q", 2: "Q", 3: "f", 4: "d", 5: "B", 6: "H", 7: "I", 8: "Q", 9: "b", 10: "h", 11: "i", 12: "q"}
_INVALID, _FLOAT, _DOUBLE, _U64, _I64, _OBJ, _IFACE_REF, _STRING = 0, 3, 4, 8, 12, 13, 15, 17


class _Propval(ctypes.Structure):
    """A tagged value. Its union of 24 bytes is declared as words: not every Python passes unions by
    value."""

    _fields_ = [
        ("Typ", ctypes.c_uint32),
        ("Word0", ctypes.c_uint64),
        ("Word1", ctypes.c_uint64),
        ("Word2", ctypes.c_uint64),
    ]


class _CreateArg(ctypes.Structure):
    _fields_ = [("Key", ctypes.c_char_p), ("Val", _Propval)]


class _IfaceRef(ctypes.Structure):
    _fields_ = [("Obj", ctypes.c_void_p), ("Iface", ctypes.c_void_p)]


assert ctypes.sizeof(_Propval) == 32 and ctypes.sizeof(_CreateArg) == 40


def _pack_number(typ, value):
    """The bits of a number of a type; an integer too large for it is cut to its width."""
    form = _FORMATS[typ]
    if typ in (_FLOAT, _DOUBLE):
        data = struct.pack("<" + form, value)
    else:
        data = (int(value) & (256 ** struct.calcsize("<" + form) - 1)).to_bytes(8, "little")
    return int.from_bytes(data.ljust(8, b"\0"), "little")


class _Packed:
    """A value for the library, with the bytes that it points to."""

    def __init__(self, typ, value):
        self.text = None
        if typ in _FORMATS:
            word = _pack_number(typ, value)
        elif typ == _OBJ:
            word = _handle(value) or 0
        elif typ == _STRING:
            self.text = ctypes.create_string_buffer(os.fsencode(value))
            word = ctypes.addressof(self.text)
        else:
            raise TypeError("values of this type cannot be set from Python")
        self.value = _Propval(typ, word)


def _unpack(value):
    if value.Typ in _FORMATS:
        data = value.Word0.to_bytes(8, "little")
        return struct.unpack_from("<" + _FORMATS[value.Typ], data)[0]
    if value.Typ == _OBJ:
        return _wrap(value.Word0)
    if value.Typ == _STRING:
        text = ctypes.c_char_p(value.Word0).value
        return None if text is None else os.fsdecode(text)
    if value.Typ == _IFACE_REF:
        if not value.Word0:
            return None
        name = _lib.orvy_nameForInterface(_IfaceRef(value.Word0, value.Word1))
        return _wrap(value.Word0), name.decode() if name else None
    raise TypeError("values of this type cannot be read from Python")


def _type_of_argument(value):
    if isinstance(value, Object):
        return _OBJ
    if isinstance(value, float):
        return _DOUBLE
    if isinstance(value, int):
        return _I64 if value < 0 else _U64
    return _STRING


# The library

_OBJECT = ctypes.c_void_p
_TEXT = ctypes.c_char_p
_U64_TYPE = ctypes.c_uint64

_FUNCTIONS = {
    "orvy_initPathSupport": (None, [_TEXT]),
    "orvy_initConfigDirs": (None, []),
    "orvy_initSupportLib": (None, []),
    "orvy_loadPlugin": (ctypes.c_int, [_TEXT]),
    "orvy_createObject": (_OBJECT, [_TEXT, _TEXT, ctypes.POINTER(_CreateArg)]),
    "orvy_objectForName": (_OBJECT, [_TEXT]),
    "orvy_nameForObject": (_TEXT, [_OBJECT]),
    "orvy_nameForInterface": (_TEXT, [_IfaceRef]),
    "orvy_disposeObject": (None, [_OBJECT]),
    "orvy_getPropType": (ctypes.c_uint32, [_OBJECT, _TEXT]),
    "orvy_getPropDynLength": (ctypes.c_int, [_OBJECT, _TEXT]),
    "orvy_getValue": (_Propval, [_OBJECT, _TEXT, ctypes.c_int]),
    "orvy_readValue": (_Propval, [_OBJECT, _TEXT, ctypes.c_int]),
    "orvy_setValue": (None, [_OBJECT, _TEXT, _Propval, ctypes.c_int]),
    "orvy_writeValue": (None, [_OBJECT, _TEXT, _Propval, ctypes.c_int]),
    "orvy_connect": (ctypes.c_int, [_OBJECT, _TEXT, _OBJECT, _TEXT]),
    "orvy_setTimeSource": (None, [_OBJECT, _OBJECT]),
    "orvy_memoryMap": (ctypes.c_uint32, [_OBJECT, _U64_TYPE, _U64_TYPE, _OBJECT, _U64_TYPE]),
    "orvy_loadImageAndStartAddr": (ctypes.c_int, [_OBJECT, _TEXT, ctypes.POINTER(_U64_TYPE)]),
    "orvy_isCpu": (ctypes.c_int, [_OBJECT]),
    "orvy_cpuReset": (None, [_OBJECT, ctypes.c_int]),
    "orvy_cpuSetPc": (None, [_OBJECT, _U64_TYPE]),
    "orvy_simRunSecs": (ctypes.c_uint32, [ctypes.c_double]),
    "orvy_simGetTime": (_U64_TYPE, []),
    "orvy_execCommand": (ctypes.c_int, [_TEXT]),
    "orvy_addPythonCommand": (ctypes.py_object, [ctypes.c_void_p, ctypes.py_object]),
}


def _open():
    """The library of this process, and whether it was there already. PyDLL keeps the lock of the
    interpreter during a call, as commands may call Python."""
    try:
        return ctypes.PyDLL(_LIBRARY, mode=os.RTLD_NOW | os.RTLD_NOLOAD), True
    except OSError:
        return ctypes.PyDLL(os.path.join(_root(), "lib", _LIBRARY), mode=os.RTLD_NOW), False


def _root():
    """The root of the installation, or of the build tree: this file is in share/orvy/wrappers/Python."""
    return os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), *[os.pardir] * 4))


def _load():
    library, is_running = _open()
    for name, (result, arguments) in _FUNCTIONS.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    if not is_running:
        library.orvy_initPathSupport(os.fsencode(os.path.join(_root(), "lib", "orvy")))
        library.orvy_initConfigDirs()
        library.orvy_initSupportLib()
    return library


_lib = _load()
_libc = ctypes.PyDLL(None)


class _Output:
    """Keeps the output of Python and that of the library in order."""

    def __enter__(self):
        sys.stdout.flush()

    def __exit__(self, *_):
        _libc.fflush(None)


# Objects


class Object:
    """An object of the machine. One that was disposed fails like one that has no properties."""

    __slots__ = ("handle",)

    def __init__(self, handle):
        self.handle = handle

    @property
    def name(self):
        text = _lib.orvy_nameForObject(self.handle)
        return text.decode() if text else None

    def __eq__(self, other):
        return isinstance(other, Object) and self.handle == other.handle

    def __hash__(self):
        return hash(self.handle)

    def __repr__(self):
        return f"<orvy.Object {self.name}>"


def _wrap(handle):
    return Object(handle) if handle else None


def _handle(obj):
    """The address of an object that is given itself or by its name; None stands for none."""
    if obj is None or isinstance(obj, Object):
        return obj.handle if obj else None
    if isinstance(obj, str):
        return find(obj).handle
    raise TypeError(f"{obj!r} is no object of the machine")


_MEMBER = re.compile(r"([^\[\]]+)(?:\[([0-9]{1,9})\])?")


def _split(member):
    """The bare name and the index of a property or interface."""
    found = _MEMBER.fullmatch(member)
    if not found:
        raise Error(f"'{member}' is no name of a property or interface")
    return found[1].encode(), int(found[2] or 0)


def _element(obj, prop):
    """The arguments that name an element of a property, which exists, and its type."""
    handle = _handle(obj)
    name, index = _split(prop)
    typ = _lib.orvy_getPropType(handle, name)
    if typ == _INVALID or index >= max(_lib.orvy_getPropDynLength(handle, name), 1):
        raise Error(f"there is no property '{prop}' in {obj!r}")
    return handle, name, index, typ


def find(name):
    """The object of a name."""
    handle = _lib.orvy_objectForName(name.encode())
    if not handle:
        raise Error(f"there is no object '{name}'")
    return Object(handle)


def create(cls, name, **arguments):
    """Creates an object of a class, with creation arguments."""
    packed = [(key, _Packed(_type_of_argument(value), value)) for key, value in arguments.items()]
    listed = (_CreateArg * (len(packed) + 1))(*[(key.encode(), each.value) for key, each in packed])
    handle = _lib.orvy_createObject(cls.encode(), name.encode(), listed)
    if not handle:
        raise Error(f"cannot create '{name}' of class '{cls}'")
    return Object(handle)


def dispose(obj):
    """Disposes an object."""
    _lib.orvy_disposeObject(_handle(obj))


def get(obj, prop):
    """The value of a property, or of an element as in "regs[3]", as a tool sees it: a number, a
    string, an Object, or for a reference the object and the name of its interface."""
    handle, name, index, _ = _element(obj, prop)
    return _unpack(_lib.orvy_getValue(handle, name, index))


def read(obj, prop):
    """The same as the simulated software would read it, with its side effects."""
    handle, name, index, _ = _element(obj, prop)
    return _unpack(_lib.orvy_readValue(handle, name, index))


def set(obj, prop, value):  # pylint: disable=redefined-builtin
    """Sets a number, a string or an object without side effects."""
    handle, name, index, typ = _element(obj, prop)
    packed = _Packed(typ, value)
    _lib.orvy_setValue(handle, name, packed.value, index)


def write(obj, prop, value):
    """The same as the simulated software would write it, with its side effects."""
    handle, name, index, typ = _element(obj, prop)
    packed = _Packed(typ, value)
    _lib.orvy_writeValue(handle, name, packed.value, index)


def connect(obj, prop, other, iface):
    """Connects a reference property to an interface of another object."""
    _split(prop), _split(iface)  # a malformed index must not reach the library
    if _lib.orvy_connect(_handle(obj), prop.encode(), _handle(other), iface.encode()) != 0:
        raise Error(f"cannot connect '{prop}' of {obj!r} to '{iface}' of {other!r}")


def set_time_source(obj, source):
    """Has an object follow the time of a processor, machine or clock."""
    _lib.orvy_setTimeSource(_handle(obj), _handle(source))


# Machine


def load_plugin(name):
    """Loads a plug-in by name or path; one that is loaded already stays."""
    if _lib.orvy_loadPlugin(os.fsencode(name)) not in (0, 1):
        raise Error(f"cannot load the plug-in '{name}'")


def map(space, addr, length, device):  # pylint: disable=redefined-builtin
    """Maps a device into a memory space."""
    if _lib.orvy_memoryMap(_handle(space), addr, length, _handle(device), 0) != 0:
        raise Error(f"cannot map {device!r} at {addr:#x}")


def load_image(memory, path):
    """Loads an image and returns its start address."""
    start = _U64_TYPE()
    if _lib.orvy_loadImageAndStartAddr(_handle(memory), os.fsencode(path), start) != 0:
        raise Error(f"cannot load '{path}'")
    return start.value


def reset(cpu, pc):
    """Resets a processor, which is to start at an address."""
    handle = _handle(cpu)
    if not _lib.orvy_isCpu(handle):
        raise Error(f"{cpu!r} is no processor")
    _lib.orvy_cpuReset(handle, 0)
    _lib.orvy_cpuSetPc(handle, pc)


def run(seconds):
    """Runs the machine for a time of its own. Returns the ExitReason."""
    with _Output():
        return ExitReason(_lib.orvy_simRunSecs(seconds))


def time():
    """The simulated time in seconds."""
    return _lib.orvy_simGetTime() / 1e9


# Commands


def exec(text):  # pylint: disable=redefined-builtin
    """Runs commands, one a line. Raises Error at the first that fails."""
    with _Output():
        failed = _lib.orvy_execCommand(os.fsencode(text)) != 0
    if failed:
        raise Error(f"a command failed: {text}")


def add_command(name, function):
    """Makes a command that calls a function with the words of the command line. An integer that it
    returns other than 0 fails the command, and so does an exception, which is printed."""

    def call(*words, **options):
        try:
            return function(*words, **options)
        except Exception:  # whatever it is, the caller is not Python
            traceback.print_exc()
            return 1

    _lib.orvy_addPythonCommand(None, (name, call, {}))
