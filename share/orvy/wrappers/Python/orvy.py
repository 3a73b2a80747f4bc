"""Drives a machine through the flat interface of libORVYSupport.so.

Works in a script that the emulator runs with script-run and in a program of its own:

    import orvy

    orvy.load_plugin("Memory")
    space = orvy.create("MemorySpace", "memory")
    ram = orvy.create("Ram", "ram", size=0x10000)
    orvy.map(space, 0x40000000, 0x10000, ram)
    orvy.exec("memory-read obj=memory addr=0x40000000")

What fails raises orvy.Error with the reason, which also stands on the error stream. Everything
belongs to the one thread that uses the module, and no other Python thread runs during a call.
"""

import ctypes
import enum
import fractions
import math
import os
import re
import struct
import sys
import traceback
import typing

_LIBRARY = "libORVYSupport.so"


class Error(Exception):
    """An operation of the library failed. The text ends with what the library said of it."""


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


class _BreakInfo(ctypes.Structure):
    _fields_ = [
        ("Id", ctypes.c_uint64),
        ("Hits", ctypes.c_uint64),
        ("Ignore", ctypes.c_uint64),
        ("Length", ctypes.c_uint64),
        ("Asked", ctypes.c_char_p),
        ("Condition", ctypes.c_char_p),
        ("Cpu", ctypes.c_char_p),
        ("Kind", ctypes.c_uint32),
        ("Places", ctypes.c_uint32),
        ("IsEnabled", ctypes.c_uint8),
        ("IsOnce", ctypes.c_uint8),
    ]


class _StopInfo(ctypes.Structure):
    _fields_ = [
        ("Kind", ctypes.c_uint32),
        ("BreakId", ctypes.c_uint64),
        ("Pc", ctypes.c_uint64),
        ("Seconds", ctypes.c_double),
        ("Cpu", ctypes.c_char_p),
        ("Word", ctypes.c_char_p),
        ("Text", ctypes.c_char_p),
    ]


assert ctypes.sizeof(_BreakInfo) == 72 and ctypes.sizeof(_StopInfo) == 56
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
    "orvy_tryConfigDirs": (ctypes.c_int, []),
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
    "orvy_connectionFault": (_TEXT, [_OBJECT, _TEXT, _OBJECT, _TEXT]),
    "orvy_setTimeSource": (None, [_OBJECT, _OBJECT]),
    "orvy_memoryMap": (ctypes.c_uint32, [_OBJECT, _U64_TYPE, _U64_TYPE, _OBJECT, _U64_TYPE]),
    "orvy_loadImageAndStartAddr": (ctypes.c_int, [_OBJECT, _TEXT, ctypes.POINTER(_U64_TYPE)]),
    "orvy_isCpu": (ctypes.c_int, [_OBJECT]),
    "orvy_isMemory": (ctypes.c_int, [_OBJECT]),
    "orvy_isMachine": (ctypes.c_int, [_OBJECT]),
    "orvy_isQualifiedAs": (ctypes.c_int, [_OBJECT, ctypes.c_uint]),
    "orvy_isExternal": (ctypes.c_int, [_OBJECT]),
    "orvy_cpuReset": (None, [_OBJECT, ctypes.c_int]),
    "orvy_cpuSetPc": (None, [_OBJECT, _U64_TYPE]),
    "orvy_simRunUntil": (ctypes.c_uint32, [_U64_TYPE]),
    "orvy_simIsRunning": (ctypes.c_uint8, []),
    "orvy_simGetTime": (_U64_TYPE, []),
    "orvy_breakSet": (_U64_TYPE, [_OBJECT, _TEXT, _TEXT]),
    "orvy_watchSet": (_U64_TYPE, [_OBJECT, _TEXT, ctypes.c_uint32, _U64_TYPE, _TEXT]),
    "orvy_breakDelete": (ctypes.c_int, [_U64_TYPE]),
    "orvy_breakEnable": (ctypes.c_int, [_U64_TYPE, ctypes.c_int]),
    "orvy_breakSetOnce": (ctypes.c_int, [_U64_TYPE, ctypes.c_int]),
    "orvy_breakSetIgnore": (ctypes.c_int, [_U64_TYPE, _U64_TYPE]),
    "orvy_breakSetCondition": (ctypes.c_int, [_U64_TYPE, _TEXT]),
    "orvy_breakSetCpu": (ctypes.c_int, [_U64_TYPE, _OBJECT]),
    "orvy_breakGet": (ctypes.c_int, [_U64_TYPE, ctypes.POINTER(_BreakInfo)]),
    "orvy_breakGetPlace": (_TEXT, [_U64_TYPE, ctypes.c_uint32, ctypes.POINTER(_U64_TYPE)]),
    "orvy_breakNext": (_U64_TYPE, [_U64_TYPE]),
    "orvy_stopConclude": (None, [_OBJECT, ctypes.c_uint32, ctypes.POINTER(_StopInfo)]),
    "orvy_stopGetLast": (ctypes.c_int, [ctypes.POINTER(_StopInfo)]),
    "orvy_errorMark": (_U64_TYPE, []),
    "orvy_errorsSince": (ctypes.c_size_t, [_U64_TYPE, ctypes.c_char_p, ctypes.c_size_t]),
    "orvy_execCommand": (ctypes.c_int, [_TEXT]),
    "orvy_addPythonCommand": (ctypes.py_object, [ctypes.c_void_p, ctypes.py_object]),
}


_libc = ctypes.PyDLL(None)


def _flush_python():
    """Hands on what Python has printed. A stream that is not there or is closed has nothing, and what
    cannot be written is the business of those who print."""
    for stream in (sys.stdout, sys.stderr):
        try:
            stream.flush()
        except (AttributeError, ValueError, OSError):
            pass


def _in_order(function):
    """The function, with its output after what Python has printed before. Any function may print: what
    a model does when it is asked for a property is not known here."""

    def call(*arguments):
        _flush_python()
        try:
            return function(*arguments)
        finally:
            _libc.fflush(None)

    return call


class _Library:
    """The functions of the library."""

    def __init__(self, library):
        for name, (result, arguments) in _FUNCTIONS.items():
            function = getattr(library, name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, _in_order(function))


def _open():
    """The library of this process, or else that of the tree in which this file lies. PyDLL keeps the
    lock of the interpreter during a call, as commands may call Python."""
    try:
        return ctypes.PyDLL(_LIBRARY, mode=os.RTLD_NOW | os.RTLD_NOLOAD)
    except OSError:
        return ctypes.PyDLL(os.path.join(_root(), "lib", _LIBRARY), mode=os.RTLD_NOW)


def _root():
    """The root of the installation, or of the build tree: this file is in share/orvy/wrappers/Python."""
    return os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), *[os.pardir] * 4))


def _start():
    """Brings the library up, where that has not been done."""
    if _lib.orvy_objectForName(b"sim"):
        return
    _lib.orvy_initPathSupport(os.fsencode(os.path.join(_root(), "lib", "orvy")))
    mark = _lib.orvy_errorMark()
    if _lib.orvy_tryConfigDirs() != 0:
        raise ImportError(f"{_reason(mark)}; set HOME to a directory in which it can be made")
    _lib.orvy_initSupportLib()


# Failures

_REASON_LIMIT = 1 << 14
_COLOUR = re.compile("\033\\[[0-9;]*m")
_CONSEQUENCE = re.compile(r"(^|\n)\S*[0-9]+: error: command '[^\n]*' failed$")  # after the reason itself


def _reason(mark):
    """What the library has reported as errors since a mark."""
    text = ctypes.create_string_buffer(_REASON_LIMIT)
    _lib.orvy_errorsSince(mark, text, _REASON_LIMIT)
    return _CONSEQUENCE.sub("", _COLOUR.sub("", text.value.decode(errors="replace")).strip())


def _failure(what, mark):
    """The exception for a failed call, with the reason that was reported since the mark."""
    reason = _reason(mark)
    return Error(f"{what}: {reason}" if reason else what)


def _call(what, function, *arguments):
    """Calls a function without a result, which tells a failure as an error only."""
    mark = _lib.orvy_errorMark()
    function(*arguments)
    if _lib.orvy_errorMark() != mark:
        raise _failure(what, mark)


_lib = _Library(_open())
_start()


# Objects


class Object:
    """An object of the machine: the one that has the name. After a checkpoint was restored it stands for
    the restored object of that name. If there is none left, its use raises Error."""

    __slots__ = ("_handle", "_name")

    def __init__(self, handle):
        self._handle = handle
        self._name = _lib.orvy_nameForObject(handle)

    @property
    def handle(self):
        """The address of the object, which may change when a checkpoint is restored."""
        if not self.exists:
            raise Error(f"the object '{self.name}' is gone")
        return self._handle

    @property
    def exists(self):
        """Whether there is an object of that name."""
        if self._name is None:
            return False
        if _lib.orvy_nameForObject(self._handle) != self._name:
            self._handle = _lib.orvy_objectForName(self._name)
        return bool(self._handle)

    @property
    def name(self):
        return None if self._name is None else os.fsdecode(self._name)

    def __eq__(self, other):
        return isinstance(other, Object) and self._name == other._name

    def __hash__(self):
        return hash(self._name)

    def __repr__(self):
        return f"<orvy.Object {self.name}>"


def _wrap(handle):
    return Object(handle) if handle else None


def _handle(obj):
    """The address of an object that is given itself or by its name; None stands for none."""
    if obj is None:
        return None
    if isinstance(obj, str):
        obj = find(obj)
    if isinstance(obj, Object):
        return obj.handle
    raise TypeError(f"{obj!r} is not an object of the machine")


def _address(value):
    """An address or a length, which must not be cut in silence."""
    if not 0 <= value < 1 << 64:
        raise Error(f"{value:#x} is not an address or a length: they are of 64 bits")
    return value


_MEMBER = re.compile(r"([^\[\]]+)(?:\[([0-9]{1,9})\])?")


def _split(member):
    """The bare name and the index of a property or interface."""
    found = _MEMBER.fullmatch(member)
    if not found:
        raise Error(f"'{member}' is not the name of a property or interface")
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
    mark = _lib.orvy_errorMark()
    handle = _lib.orvy_createObject(cls.encode(), name.encode(), listed)
    if not handle:
        raise _failure(f"cannot create '{name}' of class '{cls}'", mark)
    return Object(handle)


def dispose(obj):
    """Disposes an object."""
    _call(f"cannot dispose {obj!r}", _lib.orvy_disposeObject, _handle(obj))


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
    _call(f"cannot set '{prop}' of {obj!r}", _lib.orvy_setValue, handle, name, packed.value, index)


def write(obj, prop, value):
    """The same as the simulated software would write it, with its side effects."""
    handle, name, index, typ = _element(obj, prop)
    packed = _Packed(typ, value)
    _call(f"cannot write '{prop}' of {obj!r}", _lib.orvy_writeValue, handle, name, packed.value, index)


def connect(obj, prop, other, iface):
    """Connects a reference property to an interface of another object."""
    _split(prop), _split(iface)  # a malformed index must not reach the library
    arguments = _handle(obj), prop.encode(), _handle(other), iface.encode()
    what = f"cannot connect '{prop}' of {obj!r} to '{iface}' of {other!r}"
    fault = _lib.orvy_connectionFault(*arguments)
    if fault:
        raise Error(f"{what}: {os.fsdecode(fault)}")
    mark = _lib.orvy_errorMark()
    if _lib.orvy_connect(*arguments) != 0:
        raise _failure(what, mark)


_CLOCK = 6  # the qualifier of clocks


def set_time_source(obj, source):
    """Has an object follow the time of a processor, machine or clock."""
    handle, clock = _handle(obj), _handle(source)
    if not handle or _lib.orvy_isExternal(handle):
        raise Error(f"{obj!r} cannot follow a time source")
    if not (_lib.orvy_isCpu(clock) or _lib.orvy_isMachine(clock) or _lib.orvy_isQualifiedAs(clock, _CLOCK)):
        raise Error(f"{source!r} is not a processor, machine or clock")
    _lib.orvy_setTimeSource(handle, clock)


# Machine


def load_plugin(name):
    """Loads a plug-in by name or path; one that is loaded already stays."""
    mark = _lib.orvy_errorMark()
    if _lib.orvy_loadPlugin(os.fsencode(name)) not in (0, 1):
        raise _failure(f"cannot load the plug-in '{name}'", mark)


def map(space, addr, length, device):  # pylint: disable=redefined-builtin
    """Maps a device into a memory space."""
    mark = _lib.orvy_errorMark()
    if _lib.orvy_memoryMap(_handle(space), _address(addr), _address(length), _handle(device), 0) != 0:
        raise _failure(f"cannot map {device!r} at {addr:#x}", mark)


def load_image(memory, path):
    """Loads an image into a memory or memory space and returns its start address."""
    handle = _handle(memory)
    if not _lib.orvy_isMemory(handle):
        raise Error(f"cannot load '{path}': {memory!r} is not a memory or memory space")
    start = _U64_TYPE()
    mark = _lib.orvy_errorMark()
    if _lib.orvy_loadImageAndStartAddr(handle, os.fsencode(path), start) != 0:
        raise _failure(f"cannot load '{path}'", mark)
    return start.value


def reset(cpu, pc):
    """Resets a processor, which is to start at an address."""
    handle = _handle(cpu)
    if not _lib.orvy_isCpu(handle):
        raise Error(f"{cpu!r} is not a processor")
    _lib.orvy_cpuReset(handle, 0)
    _lib.orvy_cpuSetPc(handle, _address(pc))


_NANOS = 10**9
_END_OF_TIME = (1 << 63) - 1


class _Reached:
    """The time up to which runs were asked for. The simulator knows only the start of the quantum in
    which it is."""

    secs = fractions.Fraction(0)

    @classmethod
    def get(cls):
        """In seconds; that of the simulator if something else has moved it since."""
        now = _lib.orvy_simGetTime()
        quantum = _lib.orvy_getValue(_lib.orvy_objectForName(b"sim"), b"quanta", 0).Word0
        if not now <= round(cls.secs * _NANOS) <= now + quantum:
            cls.secs = fractions.Fraction(now, _NANOS)
        return cls.secs


def run(seconds):
    """Runs the machine for a time of its own. Returns the ExitReason; last_stop() tells more. The machine runs in whole quanta:
    the processors stand at the end of the one in which the time lies, and the rest counts for the next
    run, so that runs add up."""
    if not (math.isfinite(seconds) and seconds >= 0):
        raise Error(f"cannot run for {seconds} s: the time must be finite and not negative")
    if _lib.orvy_simIsRunning():
        raise Error("cannot run: a run is in progress")
    end = _Reached.get() + fractions.Fraction(seconds)
    if end * _NANOS > _END_OF_TIME:
        raise Error(f"cannot run for {seconds} s: simulated time ends after {_END_OF_TIME / _NANOS:g} s")
    reason = ExitReason(_lib.orvy_simRunUntil(round(end * _NANOS)))
    _lib.orvy_stopConclude(_lib.orvy_objectForName(b"sim"), reason, None)
    if reason == ExitReason.NORMAL:
        _Reached.secs = end  # a run that was stopped is not there, which the next one finds out
    return reason


def time():
    """The simulated time in seconds: where the last run was to end, or where it stopped."""
    return float(_Reached.get())


# Break and watch points


class Stop(typing.NamedTuple):
    """Why, where and when a run ended."""

    reason: str  # "break", "watch", "halt", "time", "steps", "interrupt" or "stop"
    cpu: typing.Optional[str]  # name of the processor concerned
    pc: int
    seconds: float  # simulated time
    break_id: int  # 0 if it was not a break point
    text: str  # as the prompt shows it


def last_stop():
    """How the latest run ended; None if there was none."""
    info = _StopInfo()
    if _lib.orvy_stopGetLast(info) != 0:
        return None
    return Stop(_text(info.Word), _text(info.Cpu), info.Pc, info.Seconds, info.BreakId, _text(info.Text))


def _text(data):
    return None if data is None else os.fsdecode(data)


def _data(text):
    return None if text is None else os.fsencode(text)


class Break:
    """A break or watch point, by its number. Its use raises Error when it has gone."""

    KINDS = ("code", "write", "change", "read", "access", "polled")

    def __init__(self, number):
        self.id = number

    def _info(self):
        info = _BreakInfo()
        self._done(_lib.orvy_breakGet(self.id, info))
        return info

    def _done(self, result):
        if result != 0:
            raise Error(f"there is no break point {self.id}")

    @property
    def exists(self):
        return _lib.orvy_breakGet(self.id, _BreakInfo()) == 0

    @property
    def kind(self):
        """'code', or what is watched for: 'write', 'change', 'read', 'access', 'polled'."""
        return self.KINDS[self._info().Kind]

    @property
    def what(self):
        """The place or expression as it was given."""
        return _text(self._info().Asked)

    @property
    def places(self):
        """Pairs of address and text of where it waits."""
        found = []
        for index in range(self._info().Places):
            address = _U64_TYPE()
            text = _lib.orvy_breakGetPlace(self.id, index, address)
            found.append((address.value, _text(text)))
        return found

    @property
    def hits(self):
        return self._info().Hits

    @property
    def enabled(self):
        return bool(self._info().IsEnabled)

    @enabled.setter
    def enabled(self, value):
        self._done(_lib.orvy_breakEnable(self.id, bool(value)))

    @property
    def once(self):
        """Whether it goes when it has stopped a run."""
        return bool(self._info().IsOnce)

    @once.setter
    def once(self, value):
        self._done(_lib.orvy_breakSetOnce(self.id, bool(value)))

    @property
    def ignore(self):
        """How many further hits do not stop."""
        return self._info().Ignore

    @ignore.setter
    def ignore(self, count):
        if not 0 <= count < 1 << 64:
            raise Error(f"{count} is not a number of hits")
        self._done(_lib.orvy_breakSetIgnore(self.id, count))

    @property
    def condition(self):
        return _text(self._info().Condition)

    @condition.setter
    def condition(self, text):
        mark = _lib.orvy_errorMark()
        if _lib.orvy_breakSetCondition(self.id, _data(text)) != 0:
            raise _failure(f"cannot change the condition of break point {self.id}", mark)

    @property
    def cpu(self):
        """Name of the only processor that counts; None for all. Takes the processor itself too."""
        return _text(self._info().Cpu)

    @cpu.setter
    def cpu(self, cpu):
        mark = _lib.orvy_errorMark()
        if _lib.orvy_breakSetCpu(self.id, _handle(cpu)) != 0:
            raise _failure(f"cannot change the processor of break point {self.id}", mark)

    def delete(self):
        self._done(_lib.orvy_breakDelete(self.id))

    def __eq__(self, other):
        return isinstance(other, Break) and self.id == other.id

    def __hash__(self):
        return hash(self.id)

    def __repr__(self):
        return f"<break point {self.id} at {self.what}>" if self.exists else f"<no break point {self.id}>"


def _new_break(number, what, mark, options):
    if number == 0:
        raise _failure(f"cannot stop at '{what}'", mark)
    made = Break(number)
    for name, value in options.items():
        setattr(made, name, value)
    return made


def set_break(place=None, condition=None, *, cpu=None, **options):
    """Sets a break point at a function, "main.c:41", "*0x40001234"; at the present place without. Names
    are those of the program of cpu, the selected processor if omitted. Options are properties of
    Break: once, ignore, enabled, cpu."""
    mark = _lib.orvy_errorMark()
    number = _lib.orvy_breakSet(_handle(cpu), _data(place), _data(condition))
    return _new_break(number, place, mark, options)


def set_watch(what, kind="change", *, length=0, condition=None, cpu=None, **options):
    """Sets a watch point for a kind of access, "write", "change", "read" or "access", to a variable, or
    to length bytes at an address. Otherwise as set_break. Registers and properties can be watched for
    changes, by the commands that run and step alone."""
    if kind not in Break.KINDS[1:5]:
        raise Error(f"'{kind}' is not a kind of watch point")
    mark = _lib.orvy_errorMark()
    number = _lib.orvy_watchSet(_handle(cpu), _data(str(what)), Break.KINDS.index(kind), length, _data(condition))
    return _new_break(number, what, mark, options)


def breaks():
    """All break and watch points."""
    found, number = [], _lib.orvy_breakNext(0)
    while number:
        found.append(Break(number))
        number = _lib.orvy_breakNext(number)
    return found


# Commands


def exec(text):  # pylint: disable=redefined-builtin
    """Runs commands, one a line. Raises Error at the first that fails."""
    mark = _lib.orvy_errorMark()
    if _lib.orvy_execCommand(os.fsencode(text)) != 0:
        raise _failure(f"a command failed: {text}", mark)


def add_command(name, function):
    """Makes a command that calls a function with the words of the command line. An integer that it
    returns other than 0 fails the command, and so does an exception, which is printed."""

    def call(*words, **options):
        try:
            return function(*words, **options)
        except Exception:  # whatever it is, the caller is not Python
            traceback.print_exc()
            return 1
        finally:
            _flush_python()

    _call(f"cannot add the command '{name}'", _lib.orvy_addPythonCommand, None, (name, call, {}))
