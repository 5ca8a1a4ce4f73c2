// Running a session's scripts on a world: console commands first, then the Python source. Shared by probes,
// stages and the start scripts (console_script, python_script), so that each runs its commands the same way.
//
// A console command goes to the world's first player controller (its output written to the log) or, without one,
// to the engine's Exec on the world. Python goes to the editor's Python plug-in as one command; without the
// plug-in the outcome says so in the engine's words and the session runs on. Game thread only.
#pragma once
#include "PieSmoke/PieSmokeSpec.h"

class UWorld;

namespace Tarnwick::PieSmoke
{
/** The outcome text when the Python plug-in is not loaded at all. */
inline constexpr const char* PythonPluginUnavailable = "IPythonScriptPlugin unavailable.";
/** The outcome text when the plug-in is loaded but Python is not available in this build. */
inline constexpr const char* PythonNotAvailable = "Python not available in this build.";

/** Runs Script on World (null: the engine's commands only); never fails the session. */
FScriptOutcome RunScripts(const FScriptBlock& Script, UWorld* World);
}
