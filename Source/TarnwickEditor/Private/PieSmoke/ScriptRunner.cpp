#include "PieSmoke/ScriptRunner.h"

#include "TarnwickLog.h"

namespace Tarnwick::PieSmoke
{
namespace
{
void RunConsoleCommand(UWorld* World, const std::string& Command)
{
	(void)World;
	// The host has no console command executor yet; say so instead of pretending the command ran.
	TW_LOG(LogTarnwick, Warning, "console command '%s' not run: this editor has no console command executor", Command.c_str());
}

FScriptOutcome RunPython(const std::string& Source)
{
	(void)Source;
	FScriptOutcome Outcome;
	Outcome.bPythonOk = false;
	Outcome.PythonOutput = PythonPluginUnavailable;
	return Outcome;
}
}

FScriptOutcome RunScripts(const FScriptBlock& Script, UWorld* World)
{
	int32 Count = 0;
	for (const std::string& Command : Script.Console)
	{
		if (Command.empty()) continue;
		RunConsoleCommand(World, Command);
		++Count;
	}
	FScriptOutcome Outcome;
	if (!Script.Python.empty()) Outcome = RunPython(Script.Python);
	Outcome.ConsoleCommandCount = Count;
	return Outcome;
}
}
