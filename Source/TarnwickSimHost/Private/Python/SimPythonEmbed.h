// Shared by the interpreter and the `unreal` module: CPython's API and the module's entry point. Included only
// in a build with Python.
#pragma once
#define PY_SSIZE_T_CLEAN
#include <Python.h>

#include <string>

namespace Tarnwick::Sim::Python
{
/** Creates the `unreal` module (registered as a built-in module before the interpreter starts). */
PyObject* CreateUnrealModule();
/** The text of a Python object's str(), UTF-8; "" (and the error cleared) when it has none. */
std::string ToUtf8(PyObject* Object);
}
