#include "PieSmoke/ScriptRunner.h"

#include "Engine.h"
#include "PythonScriptPlugin.h"
#include "World.h"

namespace Tarnwick::PieSmoke
{
namespace
{
void RunConsoleCommand(UWorld* World, const std::string& Command)
{
	APlayerController* Controller = World ? World->GetFirstPlayerController() : nullptr;
	if (Controller)
	{
		Controller->ConsoleCommand(Command, true);
		return;
	}
	// Without a player (the editor world, a world still loading) the engine runs it on the world itself.
	if (GEngine) GEngine->Exec(World, Command, *GLog);
}

FScriptOutcome RunPython(const std::string& Source)
{
	FScriptOutcome Outcome;
	IPythonScriptPlugin* Python = IPythonScriptPlugin::Get();
	if (!Python)
	{
		Outcome.PythonOutput = PythonPluginUnavailable;
		return Outcome;
	}
	if (!Python->IsPythonAvailable())
	{
		Outcome.PythonOutput = PythonNotAvailable;
		return Outcome;
	}
	FPythonCommandEx Command;
	Command.Command = Source;
	Command.ExecutionMode = EPythonCommandExecutionMode::ExecuteFile;
	Outcome.bPythonOk = Python->ExecPythonCommandEx(Command);
	Outcome.PythonOutput = Command.CommandResult;
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
