// The embedded CPython interpreter behind the simulated editor's Python plug-in. One interpreter per process,
// started on first use (or by Start) and kept until the process ends; every command runs in fresh globals, on
// the game thread, with sys.stdout and sys.stderr captured. A build without Python has the same functions, and
// they answer that there is no interpreter.
#pragma once
#include "PythonScriptPlugin.h"

#include <string>

namespace Tarnwick::Sim::Python
{
/** Whether this build embeds an interpreter. */
bool IsAvailable();
/** Starts the interpreter unless it runs already; false with the reason when it cannot (then never retried). */
bool Start(std::string* OutError = nullptr);
bool IsStarted();
/** Runs Command.Command in its execution mode and fills in the result (see FPythonCommandEx); true unless it raised. */
bool Run(FPythonCommandEx& Command);
}
