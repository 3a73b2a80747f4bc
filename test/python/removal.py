"""A command holds its function while it is there, and not longer."""

import ctypes
import sys

import orvy

library = ctypes.PyDLL("libORVYSupport.so")
library.orvy_removePythonCommand.argtypes = [ctypes.py_object]
library.orvy_removePythonCommand.restype = None


class Function:
    def __call__(self, *words):
        print("called", words)

    def __del__(self):
        print("freed")


class RemovesItself(Function):
    def __call__(self, *words):
        library.orvy_removePythonCommand(self)
        try:
            orvy.exec("once again")
        except orvy.Error as error:
            print(error)
        print("still here", words)


def add(name, function):
    print("added", library.orvy_addPythonCommand(None, ctypes.py_object((name, function, {}))))


library.orvy_addPythonCommand.restype = ctypes.py_object
function = Function()
held = sys.getrefcount(function)
for name in "one", "two":
    add(name, function)
print("more references", sys.getrefcount(function) - held)
library.orvy_removePythonCommand(function)
library.orvy_removePythonCommand(function)
print("more references", sys.getrefcount(function) - held)
orvy.exec("one x")
library.orvy_removePythonCommand("nobody's")

function = Function()
add("three", function)
orvy.exec("three x")
library.orvy_removePythonCommand(function)
function = None
print("not there any longer")

add("once", RemovesItself())
orvy.exec("once y")
orvy.add_command("shouts", lambda *words: words[1])
try:
    orvy.exec("shouts z")
except orvy.Error as error:
    print(error)


def again(*words):
    print("again", words)
    if words == ("a",):
        orvy.exec("again b c")


orvy.add_command("again", again)
orvy.exec("again a")
